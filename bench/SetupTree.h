#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "query/QueryProvider.h"
#include "query/XNode.h"

/// What the measures share: a generated machine of any size, and files to save it to.
namespace Bench {

/// A BIOS setup tree with `settings` settings of four options each: twenty to a menu, the menus in
/// groups below the top-level menu "Main", as many groups as a group has menus.
[[nodiscard]] NodeMap MakeSetupTree(std::size_t settings);

/// A back end over a tree in memory. It takes every write and keeps only their number, so that each
/// restore of a file finds the same machine.
class MemoryProvider final : public SDK::QueryProvider {
 public:
  explicit MemoryProvider(NodeMap tree) : tree_(std::move(tree)) {}

  void Read(const std::string& path, NodeMap& results) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override { return "CALDRA_PLATFORM"; }

  /// How many settings have been written, the checks of the password left out.
  [[nodiscard]] std::size_t Written() const { return written_; }

 private:
  NodeMap tree_;
  std::size_t written_ = 0;
};

/// Makes a machine with this tree the one that the process talks to, as long as it lives.
class MountedMachine {
 public:
  explicit MountedMachine(NodeMap tree);
  MountedMachine(const MountedMachine&) = delete;
  MountedMachine& operator=(const MountedMachine&) = delete;
  ~MountedMachine();

  [[nodiscard]] const MemoryProvider& Provider() const { return *provider_; }

 private:
  std::shared_ptr<MemoryProvider> provider_;
};

/// The path of a file in a folder of its own in memory, so that no disk is measured. The folder
/// goes with the object.
class ScratchFile {
 public:
  /// \throws std::system_error  when the folder cannot be made.
  explicit ScratchFile(const std::string& name);
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile();

  [[nodiscard]] const std::string& Path() const { return path_; }

  /// What is in the file. \throws std::system_error
  [[nodiscard]] std::string Text() const;

  /// Replaces what is in the file, with one `fwrite`. \throws std::system_error
  void SetText(std::string_view text) const;

 private:
  std::string folder_;
  std::string path_;
};

/// Saves the BIOS settings of the mounted machine.
void SaveBios(const std::string& path);

/// Restores the BIOS settings from the file at `path`, without comparing [SYSTEM].
void RestoreBios(const std::string& path);

/// The text of the file that a save of a tree with `settings` settings makes.
[[nodiscard]] std::string SavedText(std::size_t settings);

}  // namespace Bench
