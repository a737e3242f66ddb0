#include "providers/redfish/BootOrder.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/ExtendedInfo.h"

namespace Redfish {
namespace {

std::string PathAt(std::size_t index) {
  return std::string(kBootOrderPath) + "[" + std::to_string(index + 1) + "]";
}

/// The references of a system's order.
std::vector<std::string> ReferencesOf(const json& system) {
  std::vector<std::string> references;
  for (const json& reference : At(system, {"Boot", "BootOrder"})) {
    if (reference.is_string()) references.push_back(reference.get<std::string>());
  }
  return references;
}

/// Puts the members that are likely to be named first: a member's address mostly ends in the
/// reference.
void SortLikelyFirst(std::vector<std::string>& members, const std::set<std::string>& wanted) {
  std::stable_partition(members.begin(), members.end(), [&](const std::string& path) {
    return wanted.contains(path.substr(path.rfind('/') + 1));
  });
}

/// The display texts of the boot options that `wanted` refers to.
std::map<std::string, std::string> NamesOf(Service& service, std::set<std::string> wanted) {
  std::map<std::string, std::string> names;
  const std::string collection = LinkAt(service.System().content, {"Boot", "BootOptions"});
  if (collection.empty()) return names;
  std::vector<std::string> members = service.ExpandedMembers(collection);
  SortLikelyFirst(members, wanted);
  for (const std::string& path : members) {
    if (wanted.empty()) break;
    const Resource* option = service.Find(path);
    if (option == nullptr) continue;
    const std::string reference = TextAt(option->content, {"BootOptionReference"});
    if (wanted.erase(reference) == 0) continue;
    names[reference] = OneLine(TextAt(option->content, {"DisplayName"}));
  }
  return names;
}

std::string RefusalIn(const HttpAnswer& answer) {
  for (const Message& message : MessagesOf(answer.body)) {
    if (message.isFault && !message.text.empty()) return message.text;
  }
  return "the server refuses it, status " + std::to_string(answer.status);
}

}  // namespace

void MakeNamesUnique(std::vector<BootEntry>& entries) {
  std::map<std::string, int> uses;
  for (const BootEntry& entry : entries) ++uses[entry.name];
  std::set<std::string> taken;
  for (BootEntry& entry : entries) {
    if (uses[entry.name] > 1) entry.name += " (" + entry.reference + ")";
    while (!taken.insert(entry.name).second) entry.name += " (" + entry.reference + ")";
  }
}

std::vector<BootEntry> ReadBootOrder(Service& service) {
  const std::vector<std::string> references = ReferencesOf(service.System().content);
  std::vector<BootEntry> order;
  if (references.empty()) return order;
  const auto names = NamesOf(service, {references.begin(), references.end()});
  for (const std::string& reference : references) {
    const auto name = names.find(reference);
    const bool isNamed = name != names.end() && !name->second.empty();
    order.push_back({reference, isNamed ? name->second : OneLine(reference)});
  }
  MakeNamesUnique(order);
  return order;
}

std::vector<BootEntry> Reordered(const std::vector<BootEntry>& order,
                                 const SDK::SettingMap& settings) {
  std::vector<BootEntry> wanted = order;
  std::set<std::string> placed;
  for (std::size_t index = 0; index < order.size(); ++index) {
    const std::string path = PathAt(index);
    if (const auto write = settings.find(path); write != settings.end()) {
      const auto entry = std::ranges::find(order, write->second, &BootEntry::name);
      if (entry == order.end()) {
        ErrorManager::Raise(ErrorManager::ValueRefused, path, write->second,
                            "this server has no such boot option");
      }
      wanted[index] = *entry;
    }
    if (!placed.insert(wanted[index].reference).second) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, wanted[index].name,
                          "it would stand in the order twice");
    }
  }
  return wanted;
}

std::vector<SDK::WriteNote> WriteBootOrder(Service& service, const std::vector<BootEntry>& order) {
  using Fate = SDK::WriteNote::Fate;
  std::vector<std::string> references;
  references.reserve(order.size());
  for (const BootEntry& entry : order) references.push_back(entry.reference);
  const std::string settings = Service::SettingsPath(service.System().content);
  const std::string path = settings.empty() ? service.SystemPath() : settings;
  const HttpAnswer answer =
      service.Patch(path, {{"Boot", {{"BootOrder", references}}}}, service.Get(path).etag);
  if (!answer.IsSuccess()) return {{PathAt(0), Fate::Refused, RefusalIn(answer)}};
  service.Forget(service.SystemPath());
  if (ReferencesOf(service.System().content) == references) return {};
  if (!settings.empty() && ReferencesOf(service.Get(settings).content) == references) {
    return {{PathAt(0), Fate::Pending, ""}};
  }
  return {{PathAt(0), Fate::Ignored, "the server keeps its order"}};
}

}  // namespace Redfish
