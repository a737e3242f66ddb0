#include "providers/host/FirmwareAttributes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/host/DriverPassword.h"
#include "providers/host/DriverWriter.h"
#include "providers/host/Names.h"

namespace Host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMenu = "/BIOS/Advanced";

/// What drivers keep beside their settings: controls of the driver itself.
constexpr auto kControls =
    std::to_array<std::string_view>({"debug_cmd", "pending_reboot", "reset_bios", "save_settings"});

/// What stands in a path for a display name.
std::string PathPart(const std::string& label) {
  std::string part;
  for (const char character : label) {
    if (character == '/') {
      part += "%2F";
    } else {
      part += character;
    }
  }
  return part;
}

/// Shows people the terms of an attribute that nobody can work out here.
void ShowOpenTerms(Attribute& attribute, const ValueOf& valueOf) {
  std::string open = CleanName(attribute.unread);
  for (const Term& term : attribute.terms) {
    if (!Holds(term, valueOf)) open += (open.empty() ? "" : " ") + CleanName(term.text);
  }
  if (!open.empty()) attribute.node.remark = "depends on others: " + open;
}

}  // namespace

FirmwareAttributes::FirmwareAttributes(const fs::path& folder) {
  for (const fs::path& driver : FoldersIn(folder)) AddDriver(driver);
}

void FirmwareAttributes::AddDriver(const fs::path& folder) {
  std::vector<Named> names;
  std::vector<Attribute> found;
  for (const fs::path& attribute : FoldersIn(folder / "attributes")) {
    const std::string own = attribute.filename().string();
    if (std::ranges::find(kControls, own) != kControls.end()) continue;
    const std::string label = CleanName(TextOrNothing(attribute / "display_name"));
    names.push_back({PathPart(label), CleanName(own)});
    found.push_back(ReadAttribute(attribute));
  }
  if (found.empty()) return;
  Driver driver;
  driver.folder = folder;
  driver.menu = std::string(kMenu) + "/" + CleanName(folder.filename().string());
  driver.needsPassword = NeedsPassword(folder);
  const std::vector<std::string> unique = UniqueNames(names);
  for (std::size_t index = 0; index < found.size(); ++index) {
    driver.settings.push_back(driver.menu + "/" + unique[index]);
    driver.byName.emplace(found[index].OwnName(), driver.settings.back());
    attributes_.emplace(driver.settings.back(), std::move(found[index]));
  }
  for (const std::string& path : driver.settings) {
    ShowOpenTerms(attributes_.at(path), ValuesOf(driver));
  }
  drivers_.push_back(std::move(driver));
}

ValueOf FirmwareAttributes::ValuesOf(const Driver& driver) const {
  return [this, &driver](const std::string& name) -> std::optional<std::string> {
    const auto found = driver.byName.find(name);
    if (found == driver.byName.end()) return std::nullopt;
    return attributes_.at(found->second).Value();
  };
}

bool FirmwareAttributes::AddTo(NodeMap& nodes) const {
  if (drivers_.empty()) return false;
  _XNode& top = nodes[kMenu];
  top.kind = NODE_MENU;
  for (const Driver& driver : drivers_) {
    top.values.push_back(driver.menu);
    nodes[driver.menu].kind = NODE_MENU;
    nodes[driver.menu].values = driver.settings;
  }
  for (const auto& [path, attribute] : attributes_) nodes[path] = attribute.node;
  return true;
}

bool FirmwareAttributes::HasValue(const std::string& path, const std::string& value) const {
  const Attribute& attribute = attributes_.at(path);
  return !attribute.node.values.empty() && SameValue(attribute, attribute.Value(), value);
}

void FirmwareAttributes::Check(const std::string& path, const std::string& value) const {
  const Attribute& attribute = attributes_.at(path);
  if (attribute.node.limits->isReadOnly) return;  // it is refused alone, whatever the value
  if (const std::string reason = Objection(attribute, value); !reason.empty()) {
    ErrorManager::Raise(ErrorManager::ValueRefused, path, value, reason);
  }
  if (faccessat(AT_FDCWD, attribute.ValueFile().c_str(), W_OK, AT_EACCESS) != 0) {
    RaiseUnread(attribute.ValueFile(), errno == EROFS ? EACCES : errno);
  }
}

std::string FirmwareAttributes::PasswordObjection(const std::string& password) const {
  bool isNeeded = false;
  for (const Driver& driver : drivers_) {
    if (!driver.needsPassword) continue;
    isNeeded = true;
    if (password.empty()) return "this machine asks for one";
    std::string objection = Host::PasswordObjection(driver.folder, password);
    if (!objection.empty()) return objection;
  }
  return isNeeded || password.empty() ? "" : "none is set on this machine";
}

void FirmwareAttributes::Write(const SDK::SettingMap& settings, const std::string& password,
                               const KernelWriter& write,
                               std::vector<SDK::WriteNote>& notes) const {
  for (const Driver& driver : drivers_) {
    std::vector<Change> changes;
    for (const std::string& path : driver.settings) {
      const auto wanted = settings.find(path);
      if (wanted == settings.end()) continue;
      const Attribute& attribute = attributes_.at(path);
      if (attribute.node.limits->isReadOnly) {
        notes.push_back({path, SDK::WriteNote::Fate::Refused, "it is read-only"});
      } else {
        changes.push_back({path, &attribute, wanted->second});
      }
    }
    ArrangeByTerms(changes, ValuesOf(driver), notes);
    if (changes.empty()) continue;
    WriteToDriver(driver.folder, changes, driver.needsPassword ? &password : nullptr, write, notes);
  }
}

}  // namespace Host
