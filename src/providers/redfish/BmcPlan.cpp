#include "providers/redfish/BmcPlan.h"

#include <arpa/inet.h>

#include <algorithm>
#include <set>
#include <utility>

#include "providers/redfish/BmcCodec.h"
#include "query/BmcRules.h"

namespace Redfish {
namespace {

using Foreseen = SDK::WriteForesight::Kind;

constexpr const char* kSeveralValues =
    "the server has one value for all channels, and the file has several";
constexpr const char* kNotAnInstance = "the server does not have it";
constexpr const char* kNobody = "neither the file nor the server has this user";
constexpr const char* kRoleOfNobody =
    "it is no role of the standard, and nobody can log in with this account";
constexpr const char* kNoSuchRole = "it must be one of USER, OPERATOR, ADMIN";

/// A value that means that nobody knew one.
bool SaysNothing(const BmcRow& row, const std::string& value) {
  return value.empty() || (TakesEmpty(row) && value == kNotTold);
}

bool IsRow(const BmcRow& row, std::string_view pointer) {
  return row.holder == Holder::Account && row.pointer == pointer;
}

const BmcChange* ChangeOf(const BmcGroup& group, std::string_view pointer) {
  const auto change = std::ranges::find_if(
      group.changes, [&](const BmcChange& one) { return IsRow(*one.row, pointer); });
  return change == group.changes.end() ? nullptr : &*change;
}

std::string UserPath(unsigned user, const char* leaf) {
  return "/BMC/USER[" + std::to_string(user) + "]/" + leaf;
}

std::string RawWord(const std::string& text) {
  std::string raw;
  return Query::TakeWord(text, raw).empty() ? raw : std::string();
}

/// The addresses by which an interface can be reached.
std::set<std::string> AddressesOf(const json& interface) {
  std::set<std::string> addresses;
  for (const auto& [name, family] :
       {std::pair{"IPv4Addresses", AF_INET}, std::pair{"IPv4StaticAddresses", AF_INET},
        std::pair{"IPv6Addresses", AF_INET6}, std::pair{"IPv6StaticAddresses", AF_INET6}}) {
    for (const json& address : At(interface, {name})) {
      addresses.insert(Query::CanonicalAddress(family, TextAt(address, {"Address"})));
    }
  }
  addresses.erase("");
  return addresses;
}

/// The stage of what is on no account and no interface.
BmcStage StageOfHolder(Holder holder) {
  switch (holder) {
    case Holder::Protocol:
      return BmcStage::Protocol;
    case Holder::Events:
    case Holder::Serial:
    case Holder::Trap:
    case Holder::Mail:
      return BmcStage::Alerts;
    default:
      return BmcStage::Server;
  }
}

/// Why a change ends the session's way to the BMC, or makes it too weak to go back; empty when it
/// does neither.
std::string HowItLocksOut(const BmcGroup& group, const BmcChange& change) {
  if (group.stage == BmcStage::OwnInterface && IsOfAddress(*change.row)) {
    return "the session goes to this interface; the BMC may get another address with it";
  }
  if (group.stage != BmcStage::OwnAccount) return {};
  if (IsRow(*change.row, kUserName)) return Query::kRenamesOwn;
  if (IsRow(*change.row, kIsEnabled) && change.wanted != kEnable) return Query::kDisablesOwn;
  if (change.row->codec == BmcCodec::Role && change.wanted != "ADMIN") return Query::kWeakensOwn;
  return {};
}

}  // namespace

BmcPlan::BmcPlan(BmcTree& tree, const SDK::SettingMap& settings, const SDK::SettingMap& passwords)
    : tree_(tree), settings_(settings), passwords_(passwords) {
  for (const auto& [path, value] : settings) Add(path, value);
  for (const auto& [key, wishes] : wishes_) Merge(wishes);
  for (BmcGroup& group : groups_) {
    if (group.holder == Holder::Account) SortOutAccount(group);
  }
  for (const auto& [user, wanted] : newUsers_) SortOutNewUser(user, wanted);
  std::erase_if(groups_, [](const BmcGroup& group) { return group.changes.empty(); });
  for (BmcGroup& group : groups_) group.stage = StageOf(group);
  std::ranges::stable_sort(groups_, {}, &BmcGroup::stage);
}

void BmcPlan::Keep(const std::string& path, Foreseen kind, std::string reason) {
  kept_.push_back({path, SDK::WriteNote::Fate::Skipped, kind, std::move(reason)});
}

void BmcPlan::Refuse(const std::string& path, std::string reason) {
  kept_.push_back({path, SDK::WriteNote::Fate::Refused, Foreseen::CannotTake, std::move(reason)});
  ++count_;
}

void BmcPlan::Add(const std::string& path, const std::string& value) {
  std::optional<BmcTree::Found> found = tree_.Find(path);
  if (!found) {
    if (!value.empty() && value != kNotTold) Keep(path, Foreseen::Absent, Query::kNoSuchSetting);
    return;
  }
  const BmcRow& row = *found->row;
  const bool isSubscription =
      row.access == BmcAccess::Replaced && !tree_.Resources().SubscriptionCollection().empty();
  if (found->resource.empty() && !isSubscription) {
    if (SaysNothing(row, value)) return;
    if (row.holder == Holder::Account) {
      newUsers_[Query::ValueOf(found->indexes, 'U')].emplace(path, value);
    } else if (row.holder == Holder::Interface) {
      Refuse(path, kNotAnInstance);
    } else {
      Keep(path, Foreseen::Absent, Query::kNoSuchSetting);
    }
    return;
  }
  if (!found->resource.empty() && !HasProperty(row, tree_.Of().Get(found->resource).content)) {
    if (!SaysNothing(row, value)) Keep(path, Foreseen::Absent, Query::kNoSuchSetting);
    return;
  }
  AddTo({path, CanonicalText(row, value), std::move(*found)});
}

void BmcPlan::AddTo(Wish wish) {
  const BmcRow& row = *wish.found.row;
  const std::optional<std::string> present = tree_.Text(wish.found);
  const bool saysNothing = SaysNothing(row, wish.value);
  wish.isChange = present != wish.value && (present || !saysNothing);
  if (wish.isChange) {
    if (std::string why = WhyKept(wish); !why.empty()) {
      return Keep(wish.path, Foreseen::Keeps, std::move(why));
    }
    if (row.access == BmcAccess::ReadOnly) return Refuse(wish.path, "it is read-only");
    json change = json::object();
    const json content =
        wish.found.resource.empty() ? json::object() : tree_.Of().Get(wish.found.resource).content;
    std::string fault =
        row.codec == BmcCodec::Role ? std::string() : AddChange(row, wish.value, content, change);
    const bool isUnset = row.access == BmcAccess::Replaced && wish.value == UnsetDestination(row);
    if (!fault.empty() && !isUnset) {
      faults_.push_back({wish.path, SDK::WriteNote::Fate::Refused, std::move(fault)});
      return;
    }
  }
  if (saysNothing && !wish.isChange) return;
  const Key key{row.holder, wish.found.resource, Query::ValueOf(wish.found.indexes, 'D'),
                row.pointer, row.parameter};
  wishes_[key].push_back(std::move(wish));
}

/// Why the server keeps what it has, whatever the value; empty when it does not.
std::string BmcPlan::WhyKept(const Wish& wish) const {
  const BmcRow& row = *wish.found.row;
  if (TakesEmpty(row) && wish.value == kNotTold) return Query::kNotInFile;
  if (wish.value.empty() && !TakesEmpty(row)) return Query::kEmptyKeeps;
  if (wish.value.empty() && IsRow(row, kUserName)) {
    const auto status = settings_.find(UserPath(Query::ValueOf(wish.found.indexes, 'U'), "STATUS"));
    if (status != settings_.end() && status->second.empty()) return Query::kUserNotInFile;
  }
  return row.access == BmcAccess::Kept ? Query::kOwnAddresses : "";
}

BmcGroup& BmcPlan::GroupOf(const Wish& wish) {
  const BmcRow& row = *wish.found.row;
  const bool isSubscription = row.access == BmcAccess::Replaced;
  const std::string resource = isSubscription ? std::string() : wish.found.resource;
  const auto group = std::ranges::find_if(groups_, [&](const BmcGroup& one) {
    return one.holder == row.holder && one.resource == resource;
  });
  if (group != groups_.end()) return *group;
  const unsigned user =
      row.holder == Holder::Account ? Query::ValueOf(wish.found.indexes, 'U') : 0U;
  return groups_.emplace_back(BmcGroup{row.holder, resource, BmcStage::Server, {}, user});
}

/// Makes one change of what the batch wants of one property.
void BmcPlan::Merge(const std::vector<Wish>& wishes) {
  std::set<std::string> wanted;
  std::vector<std::string> paths;
  for (const Wish& wish : wishes) {
    wanted.insert(wish.value);
    if (wish.isChange) paths.push_back(wish.path);
  }
  if (paths.empty()) return;
  if (wanted.size() > 1) {
    for (const std::string& path : paths) Refuse(path, kSeveralValues);
    return;
  }
  const Wish& first = wishes.front();
  count_ += paths.size();
  GroupOf(first).changes.push_back({std::move(paths), *wanted.begin(), first.found.row});
}

bool BmcPlan::IsOwnAccount(const BmcGroup& group) {
  const std::string& user = tree_.Of().User();
  if (group.resource.empty() || user.empty()) return false;
  return TextAt(tree_.Of().Get(group.resource).content, {"UserName"}) == user;
}

/// What an account is after the changes, and which of them it cannot have.
void BmcPlan::SortOutAccount(BmcGroup& group) {
  const json& content = tree_.Of().Get(group.resource).content;
  const BmcChange* name = ChangeOf(group, kUserName);
  const BmcChange* status = ChangeOf(group, kIsEnabled);
  const bool isOpen = At(content, {"Enabled"}) != json(false);
  const bool isEnabled = status == nullptr ? isOpen : status->wanted == kEnable;
  group.name = name == nullptr ? TextAt(content, {"UserName"}) : RawWord(name->wanted);
  const auto refuseAll = [&](std::string_view pointer, const char* reason, bool isKept) {
    for (const BmcChange& change : group.changes) {
      if (!IsRow(*change.row, pointer)) continue;
      count_ -= change.paths.size();
      for (const std::string& path : change.paths) {
        if (isKept) {
          Keep(path, Foreseen::Keeps, reason);
        } else {
          Refuse(path, reason);
        }
      }
    }
    std::erase_if(group.changes,
                  [&](const BmcChange& change) { return IsRow(*change.row, pointer); });
  };
  if (name != nullptr && group.name.empty() && (isEnabled || IsOwnAccount(group))) {
    refuseAll(kUserName, IsOwnAccount(group) ? Query::kOwnName : Query::kNamelessAccount, false);
    group.name = TextAt(content, {"UserName"});
  }
  group.willBeOpen = isEnabled && !group.name.empty();
  const BmcChange* role = ChangeOf(group, kRole);
  if (role != nullptr && WordFor(*role->row, role->wanted) == nullptr) {
    refuseAll(kRole, group.willBeOpen ? kNoSuchRole : kRoleOfNobody, !group.willBeOpen);
  }
  if (!group.willBeOpen) return;
  status = ChangeOf(group, kIsEnabled);
  name = ChangeOf(group, kUserName);
  if (status != nullptr) {
    group.opening = status->paths.front();
  } else if (name != nullptr) {
    group.opening = name->paths.front();
  }
}

/// Why an account is not made; empty when it can be.
std::string BmcPlan::WhyNoNewUser(const BmcGroup& group, const std::string& role) {
  if (tree_.Resources().AccountCollection().empty()) return kNotAnInstance;
  if (!tree_.Resources().MakesAccounts()) return "the server makes no accounts";
  if (!passwords_.contains(group.name)) {
    return "the server makes this account only with a password, which --user-password-file gives";
  }
  return role.empty() ? "a new account needs USER, OPERATOR or ADMIN as its privilege" : "";
}

/// An account that the server does not have, of a file that does.
void BmcPlan::SortOutNewUser(std::uint8_t user, const SDK::SettingMap& settings) {
  BmcGroup group{Holder::Account, "", BmcStage::Account, {}, user};
  std::string role;
  for (const auto& [path, value] : settings) {
    const BmcTree::Found found = *tree_.Find(path);
    const std::string wanted = CanonicalText(*found.row, value);
    if (IsRow(*found.row, kUserName)) group.name = RawWord(wanted);
    if (found.row->codec == BmcCodec::Role && WordFor(*found.row, wanted) != nullptr) role = wanted;
    group.changes.push_back({{path}, wanted, found.row});
  }
  const std::string reason = group.name.empty() ? kNobody : WhyNoNewUser(group, role);
  if (!reason.empty()) {
    for (const auto& [path, value] : settings) {
      if (group.name.empty()) {
        Keep(path, Foreseen::Keeps, reason);
      } else {
        Refuse(path, reason);
      }
    }
    return;
  }
  const BmcChange* status = ChangeOf(group, kIsEnabled);
  group.willBeOpen = status == nullptr || status->wanted == kEnable;
  if (group.willBeOpen) {
    group.opening = status == nullptr ? UserPath(user, "NAME") : status->paths.front();
  }
  count_ += settings.size();
  groups_.push_back(std::move(group));
}

/// The interface that the session goes to; where no interface says that, each may be it.
bool BmcPlan::IsOwnInterface(const std::string& resource) {
  const std::string peer = Query::Upper(tree_.Of().PeerAddress());
  bool isKnown = false;
  for (const std::string& path : tree_.Resources().Interfaces()) {
    const bool isIt = AddressesOf(tree_.Of().Get(path).content).contains(peer);
    if (isIt && path == resource) return true;
    isKnown = isKnown || isIt;
  }
  return !isKnown;
}

BmcStage BmcPlan::StageOf(const BmcGroup& group) {
  if (group.holder == Holder::Account) {
    if (IsOwnAccount(group)) return BmcStage::OwnAccount;
    return group.willBeOpen ? BmcStage::Account : BmcStage::AccountOff;
  }
  if (group.holder != Holder::Interface) return StageOfHolder(group.holder);
  const bool isOfAddress = std::ranges::any_of(
      group.changes, [](const BmcChange& change) { return IsOfAddress(*change.row); });
  return isOfAddress && IsOwnInterface(group.resource) ? BmcStage::OwnInterface
                                                       : BmcStage::Interface;
}

std::vector<SDK::WriteForesight> BmcPlan::Foresee() const {
  std::vector<SDK::WriteForesight> all;
  for (const Kept& kept : kept_) all.push_back({kept.path, kept.kind, kept.reason, ""});
  for (const BmcGroup& group : groups_) {
    for (const BmcChange& change : group.changes) {
      if (std::string how = HowItLocksOut(group, change); !how.empty()) {
        all.push_back({change.paths.front(), Foreseen::LocksOut, std::move(how), group.name});
      }
    }
    if (group.opening.empty()) continue;
    all.push_back(Query::OpensAccount(group.opening, group.name, group.user,
                                      passwords_.contains(group.name)));
  }
  return all;
}

}  // namespace Redfish
