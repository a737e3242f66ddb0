#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"
#include "query/QueryProvider.h"

/// What the tests of the query layer, the module and the tool share: an engine that answers from
/// a tree and records its calls, one that fails when told to, and a module whose operations can be
/// called.
namespace Test {

/// A back end over a tree in memory. It keeps what it is asked and stores what is written.
class FakeProvider : public SDK::QueryProvider {
 public:
  /// One write as it came in.
  struct Written {
    std::string how;  ///< "batch(true,false)", "password(<text>)" or "group(<path>)"
    SDK::SettingMap settings;
  };

  NodeMap tree;
  std::string platform;
  std::vector<std::string> reads;
  std::vector<Written> writes;

  /// Adds a setting.
  void Set(const std::string& path, std::string value) { tree[path].values = {std::move(value)}; }
  /// Adds a node with these values; for a menu or a collection its children.
  void SetList(const std::string& path, std::vector<std::string> values, int kind = 0);
  /// How often `path` was read.
  [[nodiscard]] int Reads(std::string_view path) const;

  void Read(const std::string& path, NodeMap& results) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override { return platform; }

 private:
  void Record(std::string how, const SDK::SettingMap& settings, const std::string& below);
};

/// Passes every call on to another back end, but fails the n-th read or write with `code`.
class FailingProvider : public SDK::QueryProvider {
 public:
  FailingProvider(std::shared_ptr<SDK::QueryProvider> inner, int failAt, int code)
      : inner_(std::move(inner)), failAt_(failAt), code_(code) {}

  /// How many reads and writes have come in.
  [[nodiscard]] int Calls() const { return calls_; }
  /// True when the call that has failed was a write.
  [[nodiscard]] bool HasFailedWrite() const { return hasFailedWrite_; }

  void Read(const std::string& path, NodeMap& results) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override { return inner_->PlatformName(); }

 private:
  void Count(bool isWrite);

  std::shared_ptr<SDK::QueryProvider> inner_;
  int failAt_;
  int code_;
  int calls_ = 0;
  bool hasFailedWrite_ = false;
};

/// The module with its protected operations and members open.
class OpenSaveRestore : public SDK::SaveRestore {
 public:
  using SaveRestore::biosPassword;
  using SaveRestore::biosSetMap;
  using SaveRestore::bmcModule;
  using SaveRestore::bmcSetMap;
  using SaveRestore::convertIntToString;
  using SaveRestore::DefineSections;
  using SaveRestore::ExecuteBaseQuery;
  using SaveRestore::ExecuteBiosSetMapQuery;
  using SaveRestore::ExecuteBmcQuery;
  using SaveRestore::ExecuteCalcQuery;
  using SaveRestore::ExecuteCountQuery;
  using SaveRestore::ExecuteGetQuery;
  using SaveRestore::ExecuteSetLanAlertQuery;
  using SaveRestore::ExecuteSetMapQuery;
  using SaveRestore::ExecuteSetPefFilterQuery;
  using SaveRestore::ExecuteSetQuery;
  using SaveRestore::FillBiosMapSetQuery;
  using SaveRestore::FindIntFromString;
  using SaveRestore::GetStringPlaceInList;
  using SaveRestore::IsNeedToSaveRestore;
  using SaveRestore::isScfFile;
  using SaveRestore::lanFailOver;
  using SaveRestore::passwordCommitPlatform;
  using SaveRestore::platformId;
  using SaveRestore::ProcessXQuery;
  using SaveRestore::productName;
  using SaveRestore::readCache;
  using SaveRestore::readCacheEnabled;
  using SaveRestore::RestoreBMCBootOrder;
  using SaveRestore::RestoreBootOrder;
  using SaveRestore::SaveBiosConfiguration;
  using SaveRestore::SaveFile;
  using SaveRestore::Search;
  using SaveRestore::sections;
  using SaveRestore::skipBootOrder;
  using SaveRestore::StringToUpper;
  using SaveRestore::WriteData;
  using SaveRestore::WriteOneData;
  using SaveRestore::WriteSectionName;
};

/// A fixture with a fresh engine for each test and a folder of its own for files.
class EngineTest : public ::testing::Test {
 protected:
  EngineTest();
  ~EngineTest() override;

  /// Mounts `provider` for the three trees, and forgets the platform of an earlier engine.
  static void Mount(const std::shared_ptr<SDK::QueryProvider>& provider);

  /// Makes the server one of this platform, product and board.
  void SetServer(const std::string& platform, const std::string& product,
                 const std::string& board = "");

  /// The path of a file in the test's own folder.
  [[nodiscard]] std::string PathOf(const std::string& name) const {
    return (folder_ / name).string();
  }

  std::shared_ptr<FakeProvider> engine = std::make_shared<FakeProvider>();

 private:
  std::filesystem::path folder_;
};

/// The options record for a file and a mode.
SDK::SavenRestoreOptions Options(const std::string& fileName, int mode);

/// A whole file as a text; fails the test when it cannot be read.
std::string ReadText(const std::string& path);

/// Writes a text into a file.
void WriteText(const std::string& path, std::string_view text);

/// The number of open file descriptors of this process.
std::size_t OpenDescriptors();

/// The code of the `ResultStatus` that `action` throws, or 0. Checks that its message is the
/// catalogue's, and its detail and command kind are those of the catalogue.
template <typename Action>
int CodeOf(Action action) {
  try {
    action();
  } catch (const ResultStatus& failure) {
    EXPECT_FALSE(failure.message().empty());
    EXPECT_EQ(failure.detail(), "");
    EXPECT_EQ(failure.command(), failure.getval() == 1040 || failure.getval() == 1041
                                     ? XCOMMAND_FILE
                                     : XCOMMAND_QUERY);
    return failure.getval();
  }
  return 0;
}

}  // namespace Test
