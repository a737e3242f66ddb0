#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plan/Mounts.h"

// What a back end shows to a program that opens targets by their names, as the tool does: a row for
// each kind of target. A back end is built in, or a loadable module with `saverestore_module_1` as
// its one exported function.

namespace Targets {

/// An option that reaches targets of a kind, such as "--cacert FILE".
struct Option {
  const char* name;   ///< with its dashes
  const char* value;  ///< what the help calls the value; empty for a flag, which has none
  const char* help;
  std::span<const char* const> choices = {};  ///< the values that it takes; empty: any
  bool isRepeatable = false;
};

/// The options that were given, with their values in the order of the command line.
class GivenOptions {
 public:
  void Add(const std::string& name, const std::string& value) { values_[name].push_back(value); }
  [[nodiscard]] bool Has(std::string_view name) const { return values_.contains(name); }
  /// All values of a repeatable option.
  [[nodiscard]] std::vector<std::string> ValuesOf(std::string_view name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? std::vector<std::string>() : found->second;
  }
  /// The value of an option; empty when it is not given.
  [[nodiscard]] std::string ValueOf(std::string_view name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? std::string() : found->second.back();
  }

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> values_;
};

/// The program that opens a target, as the kinds of target see it. It outlives what it opens.
class Frontend {
 public:
  Frontend() = default;
  Frontend(const Frontend&) = delete;
  Frontend& operator=(const Frontend&) = delete;
  virtual ~Frontend() = default;

  /// Reads the password of the target's `user` from where the command line says, else asks for it.
  /// Without a user nobody is asked, and it is empty when the command line says nothing. The caller
  /// wipes it. \throws what ends the command: it cannot be read, or is longer than `longest` bytes.
  virtual void ReadPassword(const std::string& user, std::size_t longest,
                            std::string& out) const = 0;
  /// Reads another secret from the first line of `file`. \throws as ReadPassword.
  virtual void ReadSecret(const std::string& file, std::size_t longest, std::string& out) const = 0;
  /// \throws  when the person has asked to stop. Not a ResultStatus: no read swallows it.
  virtual void ThrowIfInterrupted() const = 0;
  /// True when the person has asked a second time: whoever waits for an answer stops waiting.
  [[nodiscard]] virtual bool IsHurried() const = 0;
  /// Opens a target of another kind, as a part of this one.
  /// \throws  what opening it throws; Planning::Failure when its kind is not installed.
  [[nodiscard]] virtual Planning::Mounts Open(const std::string& target) const = 0;
};

/// What is to be opened.
struct OpenRequest {
  std::string place;  ///< what stands behind the ":"
  GivenOptions options;
  std::optional<std::chrono::seconds> patience;  ///< how long to wait for a sign of life
  const Frontend& frontend;
};

/// One kind of target.
struct TargetRow {
  const char* name;     ///< what stands before the ":"; the module NAME.so has it
  const char* form;     ///< how it is written behind --target; without ":" it takes no place
  const char* summary;  ///< one line
  std::span<const Option> options;
  /// \throws Planning::Failure  usage: the place or an option is malformed.
  /// \throws ResultStatus       what reaching it and logging in throw.
  Planning::Mounts (*open)(const OpenRequest& request);
};

/// What a module hands over; it lives as long as the process.
struct Module {
  const TargetRow* rows;
  std::size_t count;
};

}  // namespace Targets

/// The entry of a module; the number is that of this interface. The rows live as long as the
/// process.
extern "C" __attribute__((visibility("default"))) const Targets::Module* saverestore_module_1();
