#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "common/Platform.h"
#include "providers/machine/MachineFile.h"
#include "support/FileEdit.h"
#include "support/Paths.h"
#include "support/TestEngine.h"

namespace Test {

constexpr const char* kExamples[] = {"caldra", "oskent", "r8810lqe"};
constexpr const char* kCaptured[] = {"captured-server-a.json", "captured-server-b.json"};

/// Names the instances of a table test after its rows.
inline constexpr auto kNameOfRow = [](const auto& row) { return std::string(row.param.name); };
/// The same where the parameters are names.
inline constexpr auto kNameItself = [](const auto& row) { return std::string(row.param); };

inline constexpr auto kNameOfCaptured = [](const auto& row) {
  return std::string(row.param[16] == 'a' ? "ServerA" : "ServerB");
};

/// "a|b" as a list; the rows of tables write theirs so. An empty text is an empty list.
inline std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t end; !text.empty() && start <= text.size(); start = end + 1) {
    end = std::min(text.find('|', start), text.size());
    parts.push_back(text.substr(start, end - start));
  }
  return parts;
}

/// "a=1|b=2" as names with their values, in this order.
inline std::vector<std::pair<std::string, std::string>> SplitPairs(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const std::string& part : Split(text)) {
    const std::size_t equals = part.find('=');
    pairs.emplace_back(part.substr(0, equals), part.substr(equals + 1));
  }
  return pairs;
}

/// Such a text as settings below `path`.
inline SDK::SettingMap SettingsBelow(const std::string& path, const std::string& text) {
  SDK::SettingMap settings;
  for (const auto& [name, value] : SplitPairs(text)) settings[path + name] = value;
  return settings;
}

inline std::string ExampleMachine(const std::string& name) {
  return SourceFolder() + "/examples/machines/" + name + "-server.json";
}

/// A fixture whose server takes every write and keeps a record of it: a restore is then what it
/// prints and what it sends.
class RestoreTest : public EngineTest {
 protected:
  RestoreTest() {
    SetServer("CALDRA_PLATFORM", "CALDRA", "C4120CAL");
    engine->Set("/SMBIOS/Type0/BIOSVersion", "ABCDEF.01");
    engine->Set("/BMC/INFO/BOOT_AREA_VERSION", "1");
    engine->Set("/BMC/INFO/VERSION", "2");
  }

  /// Makes the server one of the example machines.
  void Load(const std::string& name) {
    const Machine::MachineImage machine = Machine::LoadMachine(ExampleMachine(name));
    engine->tree = machine.nodes;
    engine->platform = machine.platform;
    Platform::PlatformImpl::inst = nullptr;
  }

  /// Adds a menu of settings to the BIOS, below its parent.
  void Menu(const std::string& path,
            const std::vector<std::pair<std::string, std::string>>& settings = {}) {
    const std::string parent = path.substr(0, path.rfind('/'));
    engine->tree[parent].kind = NODE_MENU;
    engine->tree[parent].values.push_back(path);
    engine->tree[path].kind = NODE_MENU;
    for (const auto& [name, value] : settings) {
      engine->tree[path].values.push_back(path + "/" + name);
      engine->Set(path + "/" + name, value);
    }
  }

  /// What a save of the server writes.
  std::string Saved(int mode) {
    OpenSaveRestore().Save(Options(PathOf("saved.ini"), mode));
    return ReadText(PathOf("saved.ini"));
  }

  /// Restores a text whose [SYSTEM] is not compared. \return what is printed.
  std::string Restore(const std::string& text, int mode, bool skipBootOrder = false) {
    WriteText(PathOf("x.ini"), text);
    SDK::SavenRestoreOptions options = Options(PathOf("x.ini"), mode);
    options.skipSystemCheck = true;
    options.skipBootOrder = skipBootOrder;
    engine->writes.clear();
    ::testing::internal::CaptureStdout();
    try {
      OpenSaveRestore().Restore(options);
    } catch (...) {
      ::testing::internal::GetCapturedStdout();
      throw;
    }
    return ::testing::internal::GetCapturedStdout();
  }

  /// The code with which the restore of a text ends, or 0.
  int CodeOfRestore(const std::string& text, int mode) {
    return CodeOf([&] { Restore(text, mode); });
  }

  /// All that was sent in batches of this form ("batch(false,false)", "password()").
  [[nodiscard]] SDK::SettingMap Batch(const std::string& how) const {
    SDK::SettingMap all;
    for (const auto& write : engine->writes) {
      if (write.how == how) all.insert(write.settings.begin(), write.settings.end());
    }
    return all;
  }
  [[nodiscard]] SDK::SettingMap BmcBatch() const { return Batch("batch(false,false)"); }
  [[nodiscard]] SDK::SettingMap BiosBatch() const { return Batch("password()"); }
};

}  // namespace Test
