#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "query/QueryProvider.h"

namespace SDK {

/// The process-wide query director: hands every query to the provider that is mounted for the tree
/// which the first token of its path names.
///
/// A path of a tree without a provider is the `ResultStatus` NotMounted. Failures of providers pass
/// unchanged.
class XDirectorImpl {
 public:
  static XDirectorImpl* CreateInstance();

  /// Mounts `provider` for `tree` ("BMC", "BIOS", "SMBIOS", ...) in the place of an earlier one.
  /// One provider may be mounted for several trees.
  void Mount(const std::string& tree, std::shared_ptr<QueryProvider> provider);

  /// Unmounts everything; providers that nobody else holds are destroyed.
  void UnmountAll();

  /// The provider mounted for `tree`. \throws ResultStatus  NotMounted, naming `path`.
  [[nodiscard]] QueryProvider& ProviderOf(std::string_view tree, const std::string& path) const;

  /// The platform name: that of the BMC's provider, or else the first that another one knows;
  /// empty when none does.
  [[nodiscard]] std::string PlatformName() const;

  /// Reads the nodes at `path` into `results` (`QueryProvider::Read`).
  void ProcessXQuery(std::string path, NodeMap& results);

  /// Applies a batch (`QueryProvider::Write`): each provider gets the pairs of its trees as one
  /// batch. A pair of a tree without a provider is refused before anything is written. An empty
  /// batch goes to the provider for "BIOS" or "BMC", as `isBios` says: it ends what groups began.
  void ProcessXQuery(SettingMap settings, bool isBios, bool reserved);

  /// Applies a batch authorised by a password (`QueryProvider::WriteAuthorised`).
  void ProcessXQuery(SettingMap settings, std::string password);

  /// Applies the group of named settings under each path (`QueryProvider::WriteGroup`).
  void ProcessXQuery(std::map<std::string, SettingMap> groups);

 private:
  XDirectorImpl() = default;
  [[nodiscard]] std::map<QueryProvider*, SettingMap> SplitByProvider(
      const SettingMap& settings) const;

  std::map<std::string, std::shared_ptr<QueryProvider>, std::less<>> mounts_;
};

}  // namespace SDK
