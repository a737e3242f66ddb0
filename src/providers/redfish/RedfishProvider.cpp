#include "providers/redfish/RedfishProvider.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/ExtendedInfo.h"
#include "providers/redfish/Writer.h"
#include "query/NodeTree.h"

namespace Redfish {
namespace {

constexpr const char* kPasswordPath = "/BIOS/AdminPw";
constexpr const char* kNoPasswordCheck =
    "this server cannot check one over Redfish; restore without a password, or clear it in the "
    "setup first";

_XNode Menu(std::vector<std::string> children) {
  _XNode node;
  node.kind = NODE_MENU;
  node.values = std::move(children);
  return node;
}

_XNode Value(const std::string& text) {
  _XNode node;
  if (text.find('\0') == std::string::npos) node.values = {text};
  return node;
}

bool IsAtOrBelow(const std::string& path, const std::string& root) {
  return path == root || Query::IsBelow(path, root);
}

}  // namespace

/// What a batch comes to.
struct Batch {
  Changes changes;
  SDK::SettingMap bootOrder;
  std::vector<SDK::WriteNote> notes;
};

const RedfishProvider::Part RedfishProvider::kParts[] = {
    {kSetupRoot, &RedfishProvider::LoadSetup},
    {kBootOrderPath, &RedfishProvider::LoadBootOrder},
    {"/SMBIOS/Type0", &RedfishProvider::LoadSystem},
    {"/BMC/INFO", &RedfishProvider::LoadManager},
};

RedfishProvider::RedfishProvider(const Endpoint& endpoint, const Credentials& credentials,
                                 const std::string& system)
    : service_(endpoint, credentials, system) {
  nodes_["/BIOS"] = Menu({kSetupRoot});
  // By this the module knows a BIOS whose menus all hang below "Advanced".
  nodes_["/BIOS/UEFI231Aware"] = Value("True");
}

void RedfishProvider::Load(const std::string& path) {
  for (const Part& part : kParts) {
    if (!IsAtOrBelow(path, part.root) && !Query::IsBelow(part.root, path)) continue;
    if (std::ranges::find(loaded_, part.root) != loaded_.end()) continue;
    (this->*part.load)();
    loaded_.emplace_back(part.root);
  }
}

void RedfishProvider::Unload(const char* root) {
  std::erase(loaded_, root);
  std::erase_if(nodes_, [&](const auto& node) { return IsAtOrBelow(node.first, root); });
}

void RedfishProvider::LoadSetup() {
  const json attributes = At(service_.Bios().content, {"Attributes"});
  SetupTree tree = BuildSetupTree(attributes, service_.Registry());
  nodes_.merge(tree.nodes);
  attributes_ = std::move(tree.attributes);
}

void RedfishProvider::LoadBootOrder() {
  bootOrder_ = ReadBootOrder(service_);
  if (bootOrder_.empty()) return;
  std::vector<std::string> positions;
  for (const BootEntry& entry : bootOrder_) {
    positions.push_back(std::string(kBootOrderPath) + "[" + std::to_string(positions.size() + 1) +
                        "]");
    nodes_[positions.back()] = Value(entry.name);
  }
  nodes_[kBootOrderPath].values = std::move(positions);
}

void RedfishProvider::LoadSystem() {
  const std::string version = TextAt(service_.System().content, {"BiosVersion"});
  if (!version.empty()) nodes_["/SMBIOS/Type0/BIOSVersion"] = Value(OneLine(version));
}

void RedfishProvider::LoadManager() {
  const json& managedBy = At(service_.System().content, {"Links", "ManagedBy"});
  std::string path;
  if (managedBy.is_array() && !managedBy.empty()) {
    path = PathOfLink(TextAt(managedBy.front(), {"@odata.id"}));
  }
  if (path.empty()) {
    const std::string collection = LinkAt(service_.Root().content, {"Managers"});
    if (collection.empty()) return;
    const std::vector<std::string> managers = service_.Members(collection);
    if (managers.empty()) return;
    path = managers.front();
  }
  const Resource* manager = service_.Find(path);
  if (manager == nullptr) return;
  const std::string version = OneLine(TextAt(manager->content, {"FirmwareVersion"}));
  if (!version.empty()) nodes_["/BMC/INFO/VERSION"] = Value(version);
}

void RedfishProvider::Read(const std::string& path, NodeMap& results) {
  const bool asksChildren = path.ends_with(Query::kChildrenSuffix);
  Load(asksChildren ? path.substr(0, path.size() - Query::kChildrenSuffix.size()) : path);
  Query::ReadNodes(nodes_, path, results);
}

void RedfishProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  const auto check = settings.find(kPasswordPath);
  if (check == settings.end()) return Apply(settings);
  // The password twice, with a hyphen between.
  if (check->second != "-") ErrorManager::Raise(ErrorManager::PasswordRefused, kNoPasswordCheck);
  SDK::SettingMap others = settings;
  others.erase(kPasswordPath);
  Apply(others);
}

void RedfishProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                      const std::string& password) {
  if (!password.empty()) ErrorManager::Raise(ErrorManager::PasswordRefused, kNoPasswordCheck);
  Apply(settings);
}

void RedfishProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) {
    for (const auto& [name, value] : settings) {
      if (!value.empty()) ErrorManager::Raise(ErrorManager::PasswordRefused, kNoPasswordCheck);
    }
    return;
  }
  SDK::SettingMap batch;
  for (const auto& [name, value] : settings) batch.emplace(path + "/" + name, value);
  Apply(batch);
}

void RedfishProvider::CheckUnchanged(const std::string& path, const std::string& value) {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) {
    if (value.empty()) return;  // what a save wrote for a setting that this server lacks
    ErrorManager::Raise(ErrorManager::NoSuchNode, path);
  }
  const std::vector<std::string>& values = node->second.values;
  if (values.empty() ? value.empty() : values.front() == value) return;
  ErrorManager::Raise(ErrorManager::ReadOnlyNode, path, value);
}

void RedfishProvider::SortOut(const std::string& path, const std::string& value, Batch& batch) {
  Load(path);
  if (Query::IsBelow(path, kBootOrderPath) && nodes_.contains(path)) {
    batch.bootOrder.emplace(path, value);
    return;
  }
  const auto found = attributes_.find(path);
  if (found == attributes_.end()) return CheckUnchanged(path, value);
  const Attribute& attribute = found->second;
  const std::vector<std::string>& present = nodes_.at(path).values;
  if (!present.empty() && present.front() == value) return;
  const auto refuse = [&](const char* reason) {
    batch.notes.push_back({path, SDK::WriteNote::Fate::Refused, reason});
  };
  if (attribute.isReadOnly) return refuse("it is read-only");
  std::optional<json> converted = ToJson(attribute, value);
  if (!converted) return refuse(ExpectationOf(attribute));
  batch.changes.emplace(attribute.name, Change{path, std::move(*converted)});
}

void RedfishProvider::Apply(const SDK::SettingMap& settings) {
  Batch batch;
  for (const auto& [path, value] : settings) SortOut(path, value, batch);
  const std::vector<BootEntry> order = Reordered(bootOrder_, batch.bootOrder);
  const bool moves =
      !std::ranges::equal(order, bootOrder_, {}, &BootEntry::reference, &BootEntry::reference);
  const std::size_t notesBefore = notes_.size();
  std::ranges::move(batch.notes, std::back_inserter(notes_));
  if (!batch.changes.empty()) {
    Writer writer(service_);
    Unload(kSetupRoot);
    try {
      writer.Write(std::move(batch.changes));
    } catch (...) {
      std::ranges::copy(writer.Notes(), std::back_inserter(notes_));
      throw;
    }
    std::ranges::copy(writer.Notes(), std::back_inserter(notes_));
  }
  if (moves) {
    Unload(kBootOrderPath);
    std::ranges::move(WriteBootOrder(service_, order), std::back_inserter(notes_));
  }
  const auto isRefused = [](const SDK::WriteNote& note) {
    return note.fate == SDK::WriteNote::Fate::Refused;
  };
  const auto begin = notes_.begin() + static_cast<std::ptrdiff_t>(notesBefore);
  const auto first = std::find_if(begin, notes_.end(), isRefused);
  if (first == notes_.end()) return;
  ErrorManager::Raise(ErrorManager::WritesRefused,
                      std::to_string(std::count_if(begin, notes_.end(), isRefused)),
                      std::to_string(settings.size()), first->path, first->reason);
}

std::vector<SDK::WriteNote> RedfishProvider::TakeWriteNotes() {
  return std::exchange(notes_, {});
}

std::vector<SDK::BootMessage> RedfishProvider::BootMessages() {
  Load(kSetupRoot);
  std::map<std::string, std::string> pathOf;
  for (const auto& [path, attribute] : attributes_) pathOf.emplace(attribute.name, path);
  const json& bios = service_.Bios().content;
  std::vector<SDK::BootMessage> all;
  const std::string time = OneLine(TextAt(bios, {"@Redfish.Settings", "Time"}));
  for (const Message& message : MessagesIn(At(bios, {"@Redfish.Settings", "Messages"}))) {
    std::string about;
    for (const std::string& name : message.about) {
      if (const auto path = pathOf.find(name); path != pathOf.end()) about = path->second;
    }
    all.push_back({about, time, message.text, message.isFault, false});
  }
  const std::string settings = Service::SettingsPath(bios);
  const Resource* pending = settings.empty() ? nullptr : service_.Find(settings);
  if (pending == nullptr) return all;
  const json& present = At(bios, {"Attributes"});
  for (const auto& [name, value] : At(pending->content, {"Attributes"}).items()) {
    const auto path = pathOf.find(name);
    if (path == pathOf.end() || At(present, {name.c_str()}) == value) continue;
    all.push_back(
        {path->second, "", "\"" + ToText(value) + "\" waits for the next boot", true, true});
  }
  return all;
}

}  // namespace Redfish
