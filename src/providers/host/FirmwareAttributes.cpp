#include "providers/host/FirmwareAttributes.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "providers/host/KernelFile.h"
#include "providers/host/Names.h"

namespace Host {
namespace {

namespace fs = std::filesystem;
using Fate = SDK::WriteNote::Fate;

constexpr const char* kMenu = "/BIOS/Advanced";

/// What drivers keep beside their settings: controls of the driver itself.
constexpr auto kControls =
    std::to_array<std::string_view>({"pending_reboot", "reset_bios", "save_settings"});

/// The folders in `folder`, in byte order of their names. One that is missing has none.
std::vector<fs::path> FoldersIn(const fs::path& folder) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (fs::is_directory(entry->path(), unknown)) folders.push_back(entry->path());
  }
  if (IsDenied(error.value())) RaiseUnread(folder, error.value());
  std::ranges::sort(folders);
  return folders;
}

std::optional<std::int64_t> NumberIn(std::string_view text) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::string Trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

/// The choices of an enumeration. Drivers put ";" or "," between them; a text with a ";" in it was
/// split at that one, and its commas belong to the choices.
std::map<std::string, std::string> Choices(std::string_view text) {
  const char separator = text.find(';') == std::string_view::npos ? ',' : ';';
  std::map<std::string, std::string> choices;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string choice = Trimmed(text.substr(0, end));
    if (!choice.empty() && IsPlainText(choice)) choices.emplace(choice, choice);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return choices;
}

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

/// Where a driver takes the administrator password: the folder that says so of itself, or else the
/// one with the usual name.
fs::path AdminFolder(const fs::path& driver) {
  for (const fs::path& folder : FoldersIn(driver / "authentication")) {
    if (TextOrNothing(folder / "role") == "bios-admin") return folder;
  }
  return driver / "authentication/Admin";
}

/// Lets a driver know the administrator password while this exists.
class Authorisation {
 public:
  Authorisation(const fs::path& driver, const std::string& password)
      : file_(AdminFolder(driver) / "current_password") {
    std::string line;
    const Common::WipeOnExit wipe(line);
    line.reserve(password.size() + 1);  // no growing, no stray copy
    line.append(password).append("\n");
    if (const int error = WriteBytes(file_, line); error != 0) {
      const int cleared = WriteBytes(file_, "\n");  // it may have been taken in part
      static_cast<void>(cleared);
      ErrorManager::Raise(ErrorManager::WriteFailed, file_.string(), Words(error));
    }
  }
  Authorisation(const Authorisation&) = delete;
  Authorisation& operator=(const Authorisation&) = delete;
  ~Authorisation() {
    if (isOpen_) static_cast<void>(WriteBytes(file_, "\n"));
  }

  /// Has the driver forget the password. \throws ResultStatus  WriteFailed: it did not.
  void End() {
    isOpen_ = false;
    if (const int error = WriteBytes(file_, "\n"); error != 0) {
      ErrorManager::Raise(ErrorManager::WriteFailed, file_.string(),
                          Words(error) + "; the driver still holds the password");
    }
  }

 private:
  fs::path file_;
  bool isOpen_ = true;
};

/// Has a driver that can do so save many writes in one go. Firmware of this kind takes 48 single
/// saves until somebody enters its setup; after a save of many it takes no other until a restart,
/// which is why a few writes stay single.
class BulkSave {
 public:
  BulkSave(const fs::path& driver, std::size_t writes)
      : file_(driver / "attributes/save_settings") {
    constexpr std::size_t kMostSingleSaves = 40;
    isOpen_ = writes > kMostSingleSaves && ReadText(file_).text == "single" &&
              WriteBytes(file_, "bulk\n") == 0;
  }
  BulkSave(const BulkSave&) = delete;
  BulkSave& operator=(const BulkSave&) = delete;
  ~BulkSave() {
    if (isOpen_) static_cast<void>(WriteBytes(file_, "single\n"));
  }

  /// Saves what was written. \return 0 or an errno
  int End() {
    if (!isOpen_) return 0;
    const int error = WriteBytes(file_, "save\n");
    isOpen_ = error != 0;
    return error;
  }

 private:
  fs::path file_;
  bool isOpen_ = false;
};

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
  Driver driver{folder, std::string(kMenu) + "/" + CleanName(folder.filename().string()), {}};
  driver.needsPassword = TextOrNothing(AdminFolder(folder) / "is_enabled") == "1";
  const std::vector<std::string> unique = UniqueNames(names);
  for (std::size_t index = 0; index < found.size(); ++index) {
    driver.settings.push_back(driver.menu + "/" + unique[index]);
    attributes_.emplace(driver.settings.back(), std::move(found[index]));
  }
  drivers_.push_back(std::move(driver));
}

FirmwareAttributes::Attribute FirmwareAttributes::ReadAttribute(const fs::path& folder) {
  const auto text = [&](const char* file) { return TextOrNothing(folder / file); };
  Attribute attribute;
  attribute.folder = folder;
  // The access rights say what the driver takes, also to root, who could open any file.
  std::error_code error;
  const fs::perms rights = fs::status(folder / "current_value", error).permissions();
  constexpr fs::perms kWrite = fs::perms::owner_write | fs::perms::group_write;
  attribute.isWritable = !error && (rights & kWrite) != fs::perms::none;

  const std::string type = text("type");
  attribute.node.options = Choices(text("possible_values"));
  const bool isNumber =
      type == "integer" || (type.empty() && !text("min_value").empty());  // some name no type
  if (isNumber) {
    attribute.type = Type::Integer;
    attribute.low = NumberIn(text("min_value"));
    attribute.high = NumberIn(text("max_value"));
    attribute.step = NumberIn(text("scalar_increment")).value_or(1);
    attribute.node.options.clear();
  } else if (type == "enumeration" || (type.empty() && !attribute.node.options.empty())) {
    attribute.type = Type::Enumeration;
  } else {
    attribute.low = NumberIn(text("min_length"));
    attribute.high = NumberIn(text("max_length"));
    attribute.node.options.clear();
  }

  KernelText value = ReadText(folder / "current_value");
  if (IsDenied(value.error) && (rights & fs::perms::owner_read) != fs::perms::none) {
    RaiseUnread(folder / "current_value", value.error);
  }
  attribute.node.flag = value.error != 0 || !IsPlainText(value.text);
  if (!attribute.node.flag) attribute.node.values = {std::move(value.text)};
  return attribute;
}

bool FirmwareAttributes::AddTo(NodeMap& nodes) const {
  if (drivers_.empty()) return false;
  _XNode& top = nodes[kMenu];
  top.kind = NODE_MENU;
  for (const Driver& driver : drivers_) {
    top.values.push_back(driver.menu);
    nodes[driver.menu] = {NODE_MENU, driver.settings, {}, false};
  }
  for (const auto& [path, attribute] : attributes_) nodes[path] = attribute.node;
  return true;
}

bool FirmwareAttributes::NeedsPassword() const {
  return std::ranges::any_of(drivers_, &Driver::needsPassword);
}

std::string FirmwareAttributes::Objection(const Attribute& attribute, const std::string& value) {
  if (!IsPlainText(value)) return "it is not UTF-8 text in one line";
  const auto bounds = [&](const std::string& what) {
    std::string reason = "it must be " + what;
    if (attribute.low) reason += ", at least " + std::to_string(*attribute.low);
    if (attribute.high) reason += ", at most " + std::to_string(*attribute.high);
    if (attribute.step > 1) reason += ", in steps of " + std::to_string(attribute.step);
    return reason;
  };
  const auto isWithin = [&](std::int64_t number) {
    return number >= attribute.low.value_or(number) && number <= attribute.high.value_or(number);
  };
  switch (attribute.type) {
    case Type::Enumeration:
      if (attribute.node.options.empty() || attribute.node.options.contains(value)) return {};
      return "it is not among the options";
    case Type::Integer: {
      const std::optional<std::int64_t> number = NumberIn(value);
      if (!number || !isWithin(*number)) return bounds("a number");
      // Without overflow: both remainders are smaller than the step.
      const std::int64_t step = std::max<std::int64_t>(attribute.step, 1);
      return (*number % step - attribute.low.value_or(0) % step) % step == 0 ? ""
                                                                             : bounds("a number");
    }
    case Type::Text:
      break;
  }
  const bool fits = isWithin(static_cast<std::int64_t>(value.size()));
  return fits ? "" : bounds("a text with a length in bytes of");
}

void FirmwareAttributes::Check(const std::string& path, const std::string& value) const {
  const Attribute& attribute = attributes_.at(path);
  if (const std::string reason = Objection(attribute, value); !reason.empty()) {
    ErrorManager::Raise(ErrorManager::ValueRefused, path, value, reason);
  }
  const fs::path file = ValueFileOf(path);
  if (attribute.isWritable && access(file.c_str(), W_OK) != 0) {
    RaiseUnread(file, errno == EROFS ? EACCES : errno);
  }
}

void FirmwareAttributes::Write(const SDK::SettingMap& settings, const std::string& password,
                               std::vector<SDK::WriteNote>& notes) const {
  for (const Driver& driver : drivers_) {
    SDK::SettingMap changes;
    for (const std::string& path : driver.settings) {
      const auto wanted = settings.find(path);
      if (wanted == settings.end()) continue;
      if (attributes_.at(path).isWritable) {
        changes.insert(*wanted);
      } else {
        notes.push_back({path, Fate::Refused, "it is read-only"});
      }
    }
    if (!changes.empty()) WriteDriver(driver, changes, password, notes);
  }
}

void FirmwareAttributes::WriteDriver(const Driver& driver, const SDK::SettingMap& settings,
                                     const std::string& password,
                                     std::vector<SDK::WriteNote>& notes) const {
  std::optional<Authorisation> authorisation;
  if (driver.needsPassword) authorisation.emplace(driver.folder, password);
  BulkSave bulk(driver.folder, settings.size());
  std::vector<std::string> taken;
  bool isProven = !authorisation;
  for (const auto& [path, value] : settings) {
    const int error = WriteBytes(ValueFileOf(path), value + "\n");
    if (!isProven && IsDenied(error)) {
      ErrorManager::Raise(ErrorManager::PasswordRefused,
                          "the firmware denied the write of " + path + " with it");
    }
    isProven = isProven || error == 0;
    if (error == 0) {
      taken.push_back(path);
    } else {
      notes.push_back({path, Fate::Refused, Words(error)});
    }
  }
  const int unsaved = taken.empty() ? 0 : bulk.End();
  const bool isPending = ReadText(driver.folder / "attributes/pending_reboot").text == "1";
  for (const std::string& path : taken) {
    if (unsaved != 0) {
      notes.push_back({path, Fate::Refused, "it was not saved: " + Words(unsaved)});
    } else if (isPending) {
      notes.push_back({path, Fate::Pending, "the firmware waits for a restart"});
    } else if (ReadText(ValueFileOf(path)).text != settings.at(path)) {
      notes.push_back({path, Fate::Ignored, "the firmware kept its value"});
    }
  }
  if (authorisation) authorisation->End();
}

fs::path FirmwareAttributes::ValueFileOf(const std::string& path) const {
  return attributes_.at(path).folder / "current_value";
}

}  // namespace Host
