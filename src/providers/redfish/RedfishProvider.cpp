#include "providers/redfish/RedfishProvider.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "common/Logger.h"
#include "providers/redfish/Batch.h"
#include "query/NodeTree.h"

namespace Redfish {
namespace {

/// What the next boot changes: parts of their own, of no path.
constexpr const char* kNextSetup = "next setup";
constexpr const char* kNextOrder = "next order";

_XNode MenuNode(std::vector<std::string> children) {
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

/// What finds the resources of the BIOS half.
std::vector<Service::Walk> BiosWalks(Service& service) {
  return {[&service] { static_cast<void>(service.Find(service.RegistryCollection())); },
          [&service] { static_cast<void>(service.RegistryText()); },
          [&service] {
            const std::string path = service.BiosSettings();
            if (!path.empty()) static_cast<void>(service.Find(path));
          },
          [&service] { static_cast<void>(ReadNextBootOrder(service, ReadBootOrder(service))); }};
}

}  // namespace

const RedfishProvider::Part RedfishProvider::kParts[] = {
    {kSetupRoot, &RedfishProvider::LoadSetup},
    {kBootOrderPath, &RedfishProvider::LoadBootOrder},
    {"/SMBIOS/Type0", &RedfishProvider::LoadSystem},
};

RedfishProvider::RedfishProvider(const Endpoint& endpoint, const Credentials& credentials,
                                 const std::string& system)
    : service_(endpoint, credentials, system), bmc_(service_) {
  nodes_["/BIOS"] = MenuNode({kSetupRoot});
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
  const bool isOrder = std::string_view(root) == kBootOrderPath;
  std::erase(loaded_, isOrder ? kNextOrder : kNextSetup);
  std::erase_if(nodes_, [&](const auto& node) { return IsAtOrBelow(node.first, root); });
}

void RedfishProvider::LoadSetup() {
  const json attributes = At(service_.Bios().content, {"Attributes"});
  SetupTree tree = BuildSetupTree(attributes, service_.Registry());
  dependencies_ = std::move(tree.dependencies);
  if (const std::string& missing = service_.MissingRegistry(); missing != missedRegistry_) {
    missedRegistry_ = missing;
    LOGGER::Logger::CreateInstance()->Log(
        LOGGER::Warning, __FILE__, "LoadSetup", __LINE__,
        "the server names the attribute registry %s and does not give it: all settings stand under "
        "the names of their attributes, without options",
        missing.c_str());
  }
  nodes_.merge(tree.nodes);
  attributes_ = std::move(tree.attributes);
}

void RedfishProvider::LoadBootOrder() {
  bootOrder_ = ReadBootOrder(service_);
  if (bootOrder_.empty()) return;
  std::vector<std::string> positions;
  for (const BootEntry& entry : bootOrder_) {
    positions.push_back(PathOfPosition(positions.size()));
    nodes_[positions.back()] = Value(entry.name);
  }
  nodes_[kBootOrderPath].values = std::move(positions);
}

void RedfishProvider::LoadNextOrder() {
  if (std::ranges::find(loaded_, kNextOrder) != loaded_.end()) return;
  Load(kBootOrderPath);
  std::erase_if(waiting_,
                [](const auto& entry) { return IsAtOrBelow(entry.first, kBootOrderPath); });
  nextOrder_ = ReadNextBootOrder(service_, bootOrder_);
  for (std::size_t index = 0; index < std::min(nextOrder_.size(), bootOrder_.size()); ++index) {
    if (nextOrder_[index].reference == bootOrder_[index].reference) continue;
    waiting_[PathOfPosition(index)] = nextOrder_[index].name;
  }
  loaded_.emplace_back(kNextOrder);
}

void RedfishProvider::LoadNextSetup() {
  if (std::ranges::find(loaded_, kNextSetup) != loaded_.end()) return;
  Load(kSetupRoot);
  std::erase_if(waiting_, [](const auto& entry) { return IsAtOrBelow(entry.first, kSetupRoot); });
  const std::string path = service_.BiosSettings();
  const Resource* settings = path.empty() ? nullptr : service_.Find(path);
  static const json nothing;
  const json& next = settings == nullptr ? nothing : At(settings->content, {"Attributes"});
  const json& present = At(service_.Bios().content, {"Attributes"});
  for (const auto& [place, attribute] : attributes_) {
    const json& value = AtMembers(next, attribute.members);
    if (value.is_null() || value == AtMembers(present, attribute.members)) continue;
    waiting_[place] = ToText(value);
  }
  loaded_.emplace_back(kNextSetup);
}

void RedfishProvider::LoadWaiting() {
  if (!service_.BiosPath().empty()) LoadNextSetup();
  LoadNextOrder();
}

void RedfishProvider::LoadSystem() {
  const std::string version = TextAt(service_.System().content, {"BiosVersion"});
  if (!version.empty()) nodes_["/SMBIOS/Type0/BIOSVersion"] = Value(OneLine(version));
}

void RedfishProvider::Read(const std::string& path, NodeMap& results) {
  if (BmcSettings::IsOwn(path)) return bmc_.Read(path, results);
  const bool asksChildren = path.ends_with(Query::kChildrenSuffix);
  Load(asksChildren ? path.substr(0, path.size() - Query::kChildrenSuffix.size()) : path);
  if (isAhead_ && IsAtOrBelow(path, "/BIOS")) LoadWaiting();
  Query::ReadNodes(nodes_, path, results);
  if (!isAhead_) return;
  for (const auto& [place, value] : waiting_) {
    const auto node = results.find(place);
    if (node != results.end()) node->second.values = {value};
  }
}

/// What the module reads at its start is the manager's and the system's.
void RedfishProvider::Expect(const std::vector<std::string>& trees) {
  std::vector<Service::Walk> walks;
  for (const std::string& tree : trees) {
    if (tree == "BMC") std::ranges::copy(bmc_.Walks(), std::back_inserter(walks));
    if (tree == "BIOS") std::ranges::copy(BiosWalks(service_), std::back_inserter(walks));
  }
  service_.Expect(std::move(walks));
}

void RedfishProvider::Refresh() {
  Unload(kSetupRoot);
  Unload(kBootOrderPath);
  service_.ForgetValues();
  bmc_.Refresh();
}

std::vector<SDK::WriteNote> RedfishProvider::TakeWriteNotes() {
  return std::exchange(notes_, {});
}

std::vector<SDK::BootMessage> RedfishProvider::BootMessages() {
  Load(kSetupRoot);
  std::map<std::string, std::string> pathOf;
  for (const auto& [path, attribute] : attributes_) pathOf.emplace(attribute.Name(), path);
  const json& bios = service_.Bios().content;
  std::vector<SDK::BootMessage> all;
  const std::string time = OneLine(TextAt(bios, {"@Redfish.Settings", "Time"}));
  const json& said = At(bios, {"@Redfish.Settings", "Messages"});
  for (const Message& message : service_.WithTexts(MessagesIn(said))) {
    std::string about;
    for (const std::string& name : message.about) {
      if (const auto path = pathOf.find(name); path != pathOf.end()) about = path->second;
    }
    all.push_back({about, time, message.text, message.isFault, false, ""});
  }
  LoadWaiting();
  for (const auto& [path, value] : waiting_) {
    all.push_back({path, "", "\"" + value + "\" waits for the boot", true, true, value});
  }
  return all;
}

}  // namespace Redfish
