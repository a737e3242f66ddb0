#include "providers/redfish/BmcResources.h"

#include <algorithm>
#include <charconv>

#include "common/ErrorManager.h"
#include "common/Logger.h"

namespace Redfish {
namespace {

/// A module counts more than that of nothing.
constexpr std::size_t kMostInstances = 254;

/// The destinations that the files have, as long as the service takes subscriptions at all.
constexpr std::size_t kTraps = 2;

/// The users that the files have.
constexpr std::uint8_t kUsers = 5;

/// The number that an id is; 0 when it is none that counts.
std::uint8_t NumberIn(const std::string& id) {
  std::uint8_t number = 0;
  const char* end = id.data() + id.size();
  const auto [stop, error] = std::from_chars(id.data(), end, number);
  const bool isNumber = error == std::errc() && stop == end && !id.starts_with('0');
  return isNumber && number <= kMostInstances ? number : std::uint8_t{0};
}

/// Ids in the order in which people count: 2 stands before 10.
bool IsBefore(const std::string& one, const std::string& other) {
  const std::uint8_t first = NumberIn(one);
  const std::uint8_t second = NumberIn(other);
  if ((first == 0) != (second == 0)) return first != 0;
  return first != second ? first < second : one < other;
}

bool IsEnabled(const json& interface) {
  const std::string state = TextAt(interface, {"Status", "State"});
  return At(interface, {"InterfaceEnabled"}) != json(false) && state != "Disabled" &&
         state != "Absent";
}

bool Sends(const json& subscription, Holder holder) {
  const std::string protocol = TextAt(subscription, {"Protocol"});
  if (holder == Holder::Mail) return protocol == "SMTP";
  return TextAt(subscription, {"SubscriptionType"}) == "SNMPTrap" || protocol.starts_with("SNMP");
}

std::vector<std::uint8_t> CountFrom(std::uint8_t first, std::size_t count) {
  std::vector<std::uint8_t> numbers;
  for (std::size_t index = 0; index < std::min(count, kMostInstances); ++index) {
    numbers.push_back(static_cast<std::uint8_t>(first + index));
  }
  return numbers;
}

std::string IdOf(const json& content, const std::string& path) {
  const std::string id = TextAt(content, {"Id"});
  return id.empty() ? path.substr(path.rfind('/') + 1) : id;
}

}  // namespace

const json& BmcResources::ContentOf(const std::string& path) {
  static const json none;
  if (path.empty()) return none;
  known_.insert(path);
  const Resource* resource = service_.Find(path);
  return resource == nullptr ? none : resource->content;
}

std::string BmcResources::LinkOf(const std::string& path, const char* name) {
  return LinkAt(ContentOf(path), {name});
}

std::vector<std::string> BmcResources::MembersOf(const std::string& collection) {
  if (collection.empty()) return {};
  known_.insert(collection);
  try {
    return service_.ExpandedMembers(collection);
  } catch (const ResultStatus& failure) {
    if (failure.getval() != ErrorManager::BadAnswer) throw;
    if (service_.Find(collection) == nullptr) return {};  // a link that leads nowhere
    throw;
  }
}

std::vector<std::string> BmcResources::FetchedMembersOf(const std::string& collection) {
  std::vector<std::string> members = MembersOf(collection);
  service_.FetchTogether(members);
  return members;
}

std::string BmcResources::ManagerPath() {
  for (const json& link : At(service_.System().content, {"Links", "ManagedBy"})) {
    if (std::string path = PathOfLink(TextAt(link, {"@odata.id"})); !path.empty()) return path;
  }
  const std::string collection = LinkAt(service_.Root().content, {"Managers"});
  if (collection.empty()) return {};
  const std::vector<std::string> managers = service_.Members(collection);
  return managers.empty() ? "" : managers.front();
}

std::string BmcResources::AccountCollection() {
  const std::string service = LinkAt(service_.Root().content, {"AccountService"});
  return service.empty() ? "" : LinkOf(service, "Accounts");
}

std::vector<BmcResources::Numbered> BmcResources::Accounts() {
  struct Known {
    std::string id;
    std::string path;
  };
  std::vector<Known> accounts;
  for (std::string& path : FetchedMembersOf(AccountCollection())) {
    const json& content = ContentOf(path);
    if (content.is_null()) continue;
    std::string id = IdOf(content, path);
    accounts.push_back({std::move(id), std::move(path)});
  }
  std::ranges::stable_sort(accounts, IsBefore, &Known::id);
  const bool haveNumbers = std::ranges::none_of(
      accounts, [](const Known& account) { return NumberIn(account.id) == 0; });
  std::vector<Numbered> numbered;
  std::vector<std::string> paths;
  for (const Known& account : accounts) {
    if (numbered.size() == kMostInstances) break;
    const auto place = static_cast<std::uint8_t>(numbered.size() + 1);
    numbered.push_back({haveNumbers ? NumberIn(account.id) : place, account.path});
    paths.push_back(account.path);
  }
  if (!haveNumbers) TellNumbers("user", paths);
  return numbered;
}

std::string BmcResources::Account(std::uint8_t user) {
  for (const Numbered& account : Accounts()) {
    if (account.number == user) return account.path;
  }
  return {};
}

bool BmcResources::MakesAccounts() {
  const std::string collection = AccountCollection();
  if (collection.empty()) return false;
  const std::string& allow = service_.Get(collection).allow;
  return allow.empty() || allow.find("POST") != std::string::npos;
}

bool BmcResources::CanMake(std::uint8_t user) {
  return user != 0 && user <= kUsers && Account(user).empty() && MakesAccounts();
}

std::vector<std::string> BmcResources::Interfaces() {
  std::vector<std::string> enabled;
  for (std::string& path : FetchedMembersOf(LinkOf(ManagerPath(), "EthernetInterfaces"))) {
    const json& content = ContentOf(path);
    if (!content.is_null() && IsEnabled(content)) enabled.push_back(std::move(path));
  }
  TellNumbers("LAN channel", enabled);
  return enabled;
}

std::string BmcResources::SubscriptionCollection() {
  const std::string service = LinkAt(service_.Root().content, {"EventService"});
  return service.empty() ? "" : LinkOf(service, "Subscriptions");
}

std::vector<std::string> BmcResources::Subscriptions(Holder holder) {
  std::vector<std::string> wanted;
  for (std::string& path : FetchedMembersOf(SubscriptionCollection())) {
    if (Sends(ContentOf(path), holder)) wanted.push_back(std::move(path));
  }
  return wanted;
}

std::string BmcResources::FirstSerial() {
  for (const std::string& path : MembersOf(LinkOf(ManagerPath(), "SerialInterfaces"))) {
    const json& content = ContentOf(path);
    if (!content.is_null() && IsEnabled(content)) return path;
  }
  return {};
}

std::vector<std::uint8_t> BmcResources::InstancesOf(char letter) {
  std::vector<std::uint8_t> users;
  switch (letter) {
    case 'C':
      return CountFrom(1, Interfaces().size());
    case 'D':
      return CountFrom(0, SubscriptionCollection().empty() ? 0 : kTraps);
    default:
      for (const Numbered& account : Accounts()) users.push_back(account.number);
      return users;
  }
}

std::string BmcResources::PathOf(Holder holder, const Query::Indexes& indexes) {
  const auto nthOf = [](const std::vector<std::string>& paths, std::size_t index) {
    return index < paths.size() ? paths[index] : std::string();
  };
  switch (holder) {
    case Holder::Manager:
      return ManagerPath();
    case Holder::System:
      return service_.SystemPath();
    case Holder::Account:
      return Account(Query::ValueOf(indexes, 'U'));
    case Holder::Interface:
      return nthOf(Interfaces(), std::max<std::size_t>(Query::ValueOf(indexes, 'C'), 1) - 1);
    case Holder::Protocol:
      return LinkOf(ManagerPath(), "NetworkProtocol");
    case Holder::Serial:
      return FirstSerial();
    case Holder::Events:
      return LinkAt(service_.Root().content, {"EventService"});
    case Holder::Trap:
    case Holder::Mail:
      return nthOf(Subscriptions(holder), Query::ValueOf(indexes, 'D'));
  }
  return {};
}

/// Which of the server's own names has which number, once.
void BmcResources::TellNumbers(const char* kind, const std::vector<std::string>& paths) {
  if (service_.IsLooking() || !told_.insert(kind).second) return;
  for (std::size_t index = 0; index < paths.size(); ++index) {
    const std::string number = std::to_string(index + 1);
    LOGGER::Logger::CreateInstance()->Log(LOGGER::Info, __FILE__, "TellNumbers", __LINE__,
                                          "%s %s of this server is %s", kind, number.c_str(),
                                          paths[index].c_str());
  }
}

std::vector<Service::Walk> BmcResources::Walks() {
  return {[this] { ContentOf(ManagerPath()); },
          [this] { static_cast<void>(Accounts()); },
          [this] { static_cast<void>(Interfaces()); },
          [this] { static_cast<void>(Subscriptions(Holder::Trap)); },
          [this] { ContentOf(PathOf(Holder::Protocol, {})); },
          [this] { static_cast<void>(FirstSerial()); }};
}

void BmcResources::Forget() {
  for (const std::string& path : known_) service_.Forget(path);
  known_.clear();
}

}  // namespace Redfish
