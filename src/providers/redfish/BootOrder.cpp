#include "providers/redfish/BootOrder.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/ExtendedInfo.h"

namespace Redfish {
namespace {

/// The references of a system's order.
std::vector<std::string> ReferencesOf(const json& system) {
  std::vector<std::string> references;
  for (const json& reference : At(system, {"Boot", "BootOrder"})) {
    if (reference.is_string()) references.push_back(reference.get<std::string>());
  }
  return references;
}

/// Puts the members that are likely to be named first: a member's address mostly ends in the
/// reference. \return those.
std::vector<std::string> SortLikelyFirst(std::vector<std::string>& members,
                                         const std::set<std::string>& wanted) {
  const auto end = std::stable_partition(
      members.begin(), members.end(),
      [&](const std::string& path) { return wanted.contains(path.substr(path.rfind('/') + 1)); });
  return {members.begin(), end};
}

/// The display texts of the boot options that `wanted` refers to.
std::map<std::string, std::string> NamesOf(Service& service, std::set<std::string> wanted) {
  std::map<std::string, std::string> names;
  const std::string collection = LinkAt(service.System().content, {"Boot", "BootOptions"});
  if (collection.empty()) return names;
  std::vector<std::string> members = service.ExpandedMembers(collection);
  service.FetchTogether(SortLikelyFirst(members, wanted));
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

std::vector<BootEntry> EntriesOf(Service& service, const std::vector<std::string>& references) {
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

std::string PathOfPosition(std::size_t index) {
  return std::string(kBootOrderPath) + "[" + std::to_string(index + 1) + "]";
}

std::vector<BootEntry> ReadBootOrder(Service& service) {
  return EntriesOf(service, ReferencesOf(service.System().content));
}

std::vector<BootEntry> ReadNextBootOrder(Service& service, const std::vector<BootEntry>& present) {
  const std::string path = service.SystemSettings();
  const Resource* settings = path.empty() ? nullptr : service.Find(path);
  if (settings == nullptr) return present;
  const std::vector<std::string> next = ReferencesOf(settings->content);
  if (next.empty()) return present;
  std::vector<BootEntry> order;
  for (const std::string& reference : next) {
    const auto known = std::ranges::find(present, reference, &BootEntry::reference);
    if (known == present.end()) return EntriesOf(service, next);
    order.push_back(*known);
  }
  return order;
}

std::vector<BootEntry> Reordered(const std::vector<BootEntry>& order,
                                 const SDK::SettingMap& settings) {
  std::vector<BootEntry> wanted = order;
  std::set<std::string> placed;
  for (std::size_t index = 0; index < order.size(); ++index) {
    const std::string path = PathOfPosition(index);
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

json BootProperty(const std::vector<BootEntry>& order) {
  json references = json::array();
  for (const BootEntry& entry : order) references.push_back(entry.reference);
  return {{"BootOrder", std::move(references)}};
}

std::vector<SDK::WriteNote> NotesOnBootOrder(Service& service, const std::vector<BootEntry>& order,
                                             const HttpAnswer& answer) {
  using Fate = SDK::WriteNote::Fate;
  const std::string path = PathOfPosition(0);
  if (!answer.IsSuccess()) return {{path, Fate::Refused, service.ReasonIn(answer)}};
  service.Forget(service.SystemPath());
  const auto isIt = [&](const std::vector<BootEntry>& other) {
    return std::ranges::equal(order, other, {}, &BootEntry::reference, &BootEntry::reference);
  };
  const std::vector<BootEntry> present = ReadBootOrder(service);
  if (isIt(ReadNextBootOrder(service, present))) {
    if (isIt(present)) return {};
    return {{path, Fate::Pending, ""}};
  }
  return {{path, Fate::Ignored, "the server keeps its order"}};
}

std::vector<SDK::WriteNote> WriteBootOrder(Service& service, const std::vector<BootEntry>& order) {
  const std::string settings = service.SystemSettings();
  const std::string path = settings.empty() ? service.SystemPath() : settings;
  json body = {{"Boot", BootProperty(order)}};
  if (!settings.empty()) service.AddApplyTime(service.System().content, path, body);
  return NotesOnBootOrder(service, order, service.Patch(path, body));
}

}  // namespace Redfish
