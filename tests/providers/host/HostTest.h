#pragma once

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "providers/host/HostProvider.h"
#include "support/FakeHost.h"
#include "support/TestEngine.h"

namespace Test {

/// Runs another program. \return its exit status; 0 when all is well
inline int RunShell(const std::string& command) {
  return std::system(command.c_str());  // NOLINT(cert-env33-c): commands of the tests' own
}

/// A machine in directories with one driver, and the provider over it.
class HostTest : public EngineTest {
 protected:
  static constexpr const char* kDriver = "board";
  static constexpr const char* kMenu = "/BIOS/Advanced/board";

  FakeHost host{PathOf("")};
  FakeDriver driver;
  std::shared_ptr<Host::HostProvider> provider = Open();

  [[nodiscard]] std::shared_ptr<Host::HostProvider> Open() {
    Host::HostRoots roots{host.Sysfs(), host.Efivarfs(), {}};
    roots.write = [this](const auto& file, auto bytes) { return driver.Write(file, bytes); };
    return std::make_shared<Host::HostProvider>(roots);
  }

  [[nodiscard]] static std::string At(const std::string& name) {
    return std::string(kMenu) + "/" + name;
  }

  void Set(const std::string& name, const std::string& value,
           std::map<std::string, std::string> files = {}) {
    files["current_value"] = value;
    host.SetAttribute(kDriver, name, files);
  }

  void SetEnumeration(const std::string& name, const std::string& value,
                      const std::string& choices) {
    Set(name, value, {{"type", "enumeration"}, {"possible_values", choices}});
  }

  [[nodiscard]] NodeMap Read(const std::string& path) const {
    NodeMap nodes;
    provider->Read(path, nodes);
    return nodes;
  }

  [[nodiscard]] std::string Value(const std::string& path) const {
    const NodeMap nodes = Read(path);
    return nodes.at(path).values.empty() ? "" : nodes.at(path).values.front();
  }

  /// The failure of an action, its code and message; "0" when it has none.
  template <typename Action>
  static std::string MessageOf(Action action) {
    try {
      action();
    } catch (const ResultStatus& failure) {
      return std::to_string(failure.getval()) + " " + failure.message();
    }
    return "0";
  }

  /// Writes settings of the driver, by name. \return as `MessageOf`
  std::string Write(const SDK::SettingMap& values, const std::string& password = "") {
    SDK::SettingMap batch;
    for (const auto& [name, value] : values) batch[At(name)] = value;
    return MessageOf([&] { provider->WriteAuthorised(batch, password); });
  }

  /// What the provider says of each write: the setting's name to fate and reason.
  [[nodiscard]] std::map<std::string, std::string> TakeNotes() const {
    constexpr const char* kFates[] = {"pending", "refused", "ignored"};
    std::map<std::string, std::string> texts;
    for (const SDK::WriteNote& note : provider->TakeWriteNotes()) {
      texts[note.path.substr(note.path.rfind('/') + 1)] =
          std::string(kFates[static_cast<int>(note.fate)]) + ": " + note.reason;
    }
    return texts;
  }
};

}  // namespace Test
