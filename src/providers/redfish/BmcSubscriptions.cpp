#include "providers/redfish/BmcSubscriptions.h"

#include <algorithm>
#include <array>
#include <utility>

#include "providers/redfish/BmcCodec.h"
#include "query/BmcRules.h"

namespace Redfish {
namespace {

/// What a subscription takes when it is made, and shows.
constexpr auto kCopied = std::to_array<const char*>(
    {"Context", "Protocol", "SubscriptionType", "EventFormatType", "RegistryPrefixes",
     "ExcludeRegistryPrefixes", "MessageIds", "ExcludeMessageIds", "ResourceTypes",
     "OriginResources", "SubordinateResources", "EventTypes", "Severities", "DeliveryRetryPolicy",
     "IncludeOriginOfCondition", "VerifyCertificate"});

constexpr const char* kUnreadableKeys =
    "its subscription has keys that nobody can read, so it cannot be made anew with another "
    "destination";
constexpr const char* kGap =
    "a server counts its destinations from the first: there is no second one without it";

/// One subscription as it is to be: one that is there, or one that is made.
struct Subscription {
  std::string old;  ///< the path of the one that is there, or whose place it takes; empty for none
  json made;        ///< what is sent to make it; null where the old one stays
  bool isGone = false;
};

/// A copy of what a subscription has; null when a part of it cannot be read.
json CopyOf(const json& content) {
  json copy = json::object();
  for (const char* name : kCopied) {
    const json& value = At(content, {name});
    if (!value.is_null() && !(value.is_array() && value.empty())) copy[name] = value;
  }
  const json& snmp = At(content, {"SNMP"});
  for (const char* name : {"AuthenticationProtocol", "EncryptionProtocol"}) {
    const std::string protocol = TextAt(snmp, {name});
    if (!protocol.empty() && protocol != "None" && protocol != "CommunityString") return {};
  }
  const json& community = At(snmp, {"TrapCommunity"});
  if (community.is_string()) {
    const std::string text = community.get<std::string>();
    if (text.empty() || IsMasked(text)) return {};
    copy["SNMP"] = {{"TrapCommunity", community}};
  }
  copy["Destination"] = At(content, {"Destination"});
  return copy;
}

/// The community that traps go out with, where the service tells it.
std::string CommunityOf(BmcTree& tree) {
  const std::optional<BmcTree::Found> found = tree.Find("/BMC/LAN[1]/COMMUNITYSTRING");
  std::string raw;
  if (found) static_cast<void>(Query::TakeWord(tree.Text(*found).value_or(kNotTold), raw));
  return raw;
}

json NewOne(BmcTree& tree, Holder holder) {
  if (holder == Holder::Mail) {
    return {{"Protocol", "SMTP"}, {"SubscriptionType", "RedfishEvent"}, {"Context", "saverestore"}};
  }
  json made = {
      {"Protocol", "SNMPv2c"}, {"SubscriptionType", "SNMPTrap"}, {"Context", "saverestore"}};
  if (const std::string community = CommunityOf(tree); !community.empty()) {
    made["SNMP"] = {{"TrapCommunity", community}};
  }
  return made;
}

class Replacement {
 public:
  Replacement(BmcTree& tree, const BmcGroup& group)
      : tree_(tree), service_(tree.Of()), holder_(group.holder) {
    for (std::string& path : tree.Resources().Subscriptions(holder_)) {
      wanted_.push_back({std::move(path), {}});
    }
    for (const BmcChange& change : group.changes) Want(change);
  }

  std::string Do() {
    if (refusal_.empty()) Close();
    if (!refusal_.empty()) return refusal_;
    for (const Subscription& one : wanted_) {
      if (one.made.is_null()) continue;
      if (!Make(one)) return refusal_;
    }
    for (const Subscription& one : wanted_) {
      if (!one.old.empty() && (one.isGone || !one.made.is_null())) Delete(one.old);
    }
    tree_.Resources().Forget();
    return refusal_;
  }

 private:
  void Want(const BmcChange& change) {
    const std::optional<BmcTree::Found> found = tree_.Find(change.paths.front());
    const std::size_t place = Query::ValueOf(found->indexes, 'D');
    while (wanted_.size() <= place) wanted_.push_back({"", {}, true});
    Subscription& one = wanted_[place];
    one.isGone = change.wanted == UnsetDestination(*change.row);
    if (one.isGone) return;
    const json content =
        one.old.empty() ? NewOne(tree_, holder_) : json(service_.Get(one.old).content);
    one.made = one.old.empty() ? content : CopyOf(content);
    if (one.made.is_null()) {
      refusal_ = kUnreadableKeys;
      return;
    }
    static_cast<void>(AddChange(*change.row, change.wanted, content, one.made));
  }

  /// Has those made anew that would come to stand before a new one.
  void Close() {
    bool isBehindNew = false;
    bool isBehindGap = false;
    for (Subscription& one : wanted_) {
      if (one.isGone) {
        isBehindGap = isBehindGap || one.old.empty();
        continue;
      }
      if (isBehindGap) refusal_ = kGap;
      if (one.made.is_null() && isBehindNew) {
        one.made = CopyOf(service_.Get(one.old).content);
        if (one.made.is_null()) refusal_ = kUnreadableKeys;
      }
      isBehindNew = isBehindNew || !one.made.is_null();
    }
  }

  bool Make(const Subscription& one) {
    const HttpAnswer answer = service_.Create(tree_.Resources().SubscriptionCollection(), one.made);
    if (answer.IsSuccess()) {
      made_.push_back(PathOfLink(answer.location));
      return true;
    }
    refusal_ = service_.ReasonIn(answer);
    for (const std::string& path : made_) {
      if (!path.empty()) static_cast<void>(service_.Delete(path));
    }
    tree_.Resources().Forget();
    return false;
  }

  void Delete(const std::string& path) {
    const HttpAnswer answer = service_.Delete(path);
    if (answer.IsSuccess()) return;
    refusal_ = "the old subscription is still there: " + service_.ReasonIn(answer);
  }

  BmcTree& tree_;
  Service& service_;
  Holder holder_;
  std::vector<Subscription> wanted_;  ///< in the order of the collection
  std::vector<std::string> made_;
  std::string refusal_;
};

}  // namespace

std::string ReplaceSubscriptions(BmcTree& tree, const BmcGroup& group) {
  return Replacement(tree, group).Do();
}

}  // namespace Redfish
