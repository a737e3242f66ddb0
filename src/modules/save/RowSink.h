#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace SDK {

/// One key of a configuration: what a walk over the machine produces and a sink keeps.
struct Row {
  std::string key;
  std::string value;
  std::string comment;  ///< as written behind the value; empty without one
  std::string path;     ///< the query path that the value came from
};

/// Where the walks send what they find, section by section.
class RowSink {
 public:
  RowSink() = default;
  RowSink(const RowSink&) = delete;
  RowSink& operator=(const RowSink&) = delete;
  virtual ~RowSink() = default;

  /// Begins a section; `name` carries its brackets.
  virtual void BeginSection(const std::string& name) = 0;
  /// Adds a row to the section that was begun last.
  virtual void Write(const Row& row) = 0;
};

/// Writes the rows into an INI file. The file stays the caller's.
class IniRowSink final : public RowSink {
 public:
  using SectionObserver = std::function<void(const std::string& name)>;

  explicit IniRowSink(FILE* file, SectionObserver observer = {});
  void BeginSection(const std::string& name) override;
  void Write(const Row& row) override;

 private:
  FILE* file_;
  SectionObserver observer_;
  std::string line_;     ///< the last one; kept for its memory
  std::string comment_;  ///< the last one
  std::string commentText_;
};

/// A text configuration file that is being written: the warning that every one begins with, then
/// the rows that it is given.
class IniFile {
 public:
  /// Creates the file for its owner alone, or empties it. \throws ResultStatus  1041.
  explicit IniFile(const char* path, IniRowSink::SectionObserver observer = {});

  [[nodiscard]] RowSink& Rows() { return rows_; }

  /// Closes the file and makes sure that everything has been written. \throws ResultStatus  1041.
  void Finish();

 private:
  struct Close {
    void operator()(FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  std::vector<char> buffer_;  ///< of the file; outlives it
  std::unique_ptr<FILE, Close> file_;
  IniRowSink rows_;
};

}  // namespace SDK
