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

/// A machine in directories, and the provider over it.
class HostTest : public EngineTest {
 protected:
  using Notes = std::vector<SDK::WriteNote>;

  FakeHost host{PathOf("")};
  std::shared_ptr<Host::HostProvider> provider =
      std::make_shared<Host::HostProvider>(Host::HostRoots{host.Sysfs(), host.Efivarfs()});

  void SetEnumeration(const std::string& name, const std::string& value,
                      const std::string& choices) {
    host.SetAttribute(kDriver, name,
                      {{"type", "enumeration"},
                       {"current_value", value},
                       {"default_value", value},
                       {"display_name", name},
                       {"possible_values", choices}});
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

  /// Reads a whole provider, what it says of each write: path to fate and reason.
  [[nodiscard]] std::map<std::string, std::string> TakeNotes() const {
    constexpr const char* kFates[] = {"pending", "refused", "ignored"};
    std::map<std::string, std::string> texts;
    for (const SDK::WriteNote& note : provider->TakeWriteNotes()) {
      texts[note.path] = std::string(kFates[static_cast<int>(note.fate)]) + ": " + note.reason;
    }
    return texts;
  }

  static constexpr const char* kDriver = "board";
  static constexpr const char* kMenu = "/BIOS/Advanced/board";
};

}  // namespace Test
