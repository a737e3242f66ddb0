#include "providers/redfish/BmcWriter.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "providers/redfish/BmcCodec.h"
#include "providers/redfish/BmcSubscriptions.h"
#include "query/BmcRules.h"

namespace Redfish {
namespace {

constexpr const char* kNotSent = "it was not sent: the session was lost before";
constexpr const char* kLostWhileSent = "the session was lost while it was written";
constexpr const char* kEndsSession = "it was sent, and the session ended, which can be its effect";
constexpr const char* kLostBeforeRead =
    "it was sent, but the session was lost before it could be read back";
constexpr const char* kOtherKept = "the server accepted it and kept another value";
constexpr const char* kNotShown = "the server accepted it, but does not show it";
constexpr const char* kPasswordName = "Password";
constexpr long kConflict = 412;  ///< the resource is no longer as it was fetched

/// The refusals that are about what was sent, which may be a part of it.
constexpr auto kOfContent = std::to_array<long>({400, 409, 413, 422});

bool IsOfContent(const HttpAnswer& answer) {
  return std::ranges::find(kOfContent, answer.status) != kOfContent.end();
}

/// True when a service that speaks of one of `names` may mean this property: it names it by its
/// own name, or by the way that leads to it.
bool IsAbout(const BmcRow& row, const std::set<std::string>& names) {
  const std::string way(row.pointer.substr(1));
  const std::string name = way.substr(way.rfind('/') + 1);
  std::string dotted = way;
  std::ranges::replace(dotted, '/', '.');
  return std::ranges::any_of(names, [&](const std::string& about) {
    return about == name || about == way || about == dotted || about == "#/" + way;
  });
}

/// A property that opens an account to somebody, or says what he may do.
bool IsOfOpenAccount(const BmcChange& change) {
  return change.row->pointer != kIsEnabled || change.wanted == kEnable;
}

bool Touches(const std::vector<BmcChange>& changes, std::string_view pointer) {
  return std::ranges::any_of(
      changes, [&](const BmcChange& change) { return change.row->pointer == pointer; });
}

/// An interface that no longer gets an address from elsewhere keeps the one it has, where it has no
/// fixed one that takes its place.
void KeepAddresses(const json& interface, json& body) {
  const auto hasAddress = [](const json& list) {
    return std::ranges::any_of(list,
                               [](const json& one) { return !TextAt(one, {"Address"}).empty(); });
  };
  if (At(body, {"DHCPv4", "DHCPEnabled"}) != json(false)) return;
  const json& present = At(interface, {"IPv4Addresses"});
  const json& fixed = At(interface, {"IPv4StaticAddresses"});
  if (!fixed.is_array() || hasAddress(fixed) || !hasAddress(present)) return;
  json kept = json::object();
  for (const char* name : {"Address", "SubnetMask", "Gateway"}) {
    const std::string text = TextAt(present.front(), {name});
    if (!text.empty()) kept[name] = text;
  }
  body["IPv4StaticAddresses"] = json::array({std::move(kept)});
}

}  // namespace

void BmcWriter::Note(const BmcChange& change, Fate fate, const std::string& reason) {
  for (const std::string& path : change.paths) notes_.push_back({path, fate, reason});
}

void BmcWriter::NoteAll(const BmcChanges& changes, Fate fate, const std::string& reason) {
  for (const BmcChange& change : changes) Note(change, fate, reason);
}

/// Notes on those changes of a group that have none yet. What the server has said that it took is
/// not called unwritten because it could not be read back.
void BmcWriter::NoteLost(const BmcGroup& group, const char* reason) {
  const bool isOwn = group.stage >= BmcStage::OwnInterface;
  for (const BmcChange& change : group.changes) {
    if (!isOwn && taken_.contains(change.paths.front())) continue;
    if (std::ranges::find(notes_, change.paths.front(), &SDK::WriteNote::path) == notes_.end()) {
      Note(change, Fate::Refused, reason);
    }
  }
}

void BmcWriter::Write() {
  const std::vector<BmcGroup>& groups = plan_.Groups();
  for (auto group = groups.begin(); group != groups.end(); ++group) {
    const bool isOwn = group->stage >= BmcStage::OwnInterface;
    bool isSent = false;
    try {
      if (isOwn) Settle();  // afterwards it may be too late to look
      isSent = true;
      WriteGroup(*group);
      if (std::next(group) == groups.end()) Settle();
    } catch (const ResultStatus& failure) {
      const bool isLost = failure.getval() == ErrorManager::Unreachable ||
                          (isOwn && failure.getval() == ErrorManager::NotPermitted);
      if (!isLost) {  // what the server has answered is about this resource alone
        NoteLost(*group, failure.message().c_str());
        continue;
      }
      NoteLost(*group, !isSent ? kNotSent : isOwn ? kEndsSession : kLostWhileSent);
      for (const Late& late : late_) Note(late.change, Fate::Refused, kLostBeforeRead);
      std::for_each(std::next(group), groups.end(),
                    [&](const BmcGroup& rest) { NoteLost(rest, kNotSent); });
      throw;
    }
  }
}

void BmcWriter::WriteGroup(const BmcGroup& group) {
  const bool isReplaced = std::ranges::any_of(group.changes, [](const BmcChange& change) {
    return change.row->access == BmcAccess::Replaced;
  });
  if (isReplaced) return ReplaceSubscriptions(group);
  if (group.resource.empty()) return MakeAccount(group);
  ChangeResource(group, group.changes);
}

bool BmcWriter::HasPassword(const BmcGroup& group) const {
  return !group.opening.empty() && passwords_.contains(group.name);
}

std::string BmcWriter::PlaceOf(const std::string& resource, const BmcChanges& changes) {
  const json& content = service_.Get(resource).content;
  const std::string settings = LinkAt(content, {"@Redfish.Settings", "SettingsObject"});
  const Resource* object = settings.empty() ? nullptr : service_.Find(settings);
  const bool hasAll =
      object != nullptr && std::ranges::all_of(changes, [&](const BmcChange& change) {
        return HasProperty(*change.row, object->content);
      });
  return hasAll ? settings : resource;
}

HttpAnswer BmcWriter::Send(const BmcGroup& group, const std::string& place,
                           const BmcChanges& changes, bool withPassword) {
  const json content = service_.Get(group.resource).content;
  json body = json::object();
  for (const BmcChange& change : changes) {
    static_cast<void>(AddChange(*change.row, change.wanted, content, body));
  }
  if (group.holder == Holder::Interface) KeepAddresses(content, body);
  if (place != group.resource) service_.AddApplyTime(content, place, body);
  std::string password = withPassword ? passwords_.at(group.name) : std::string();
  const Common::WipeOnExit wipe(password);
  if (!withPassword) return service_.Patch(place, body, 1);
  body[kPasswordName] = password;
  const Common::WipeOnExit wipeBody(body[kPasswordName].get_ref<std::string&>());
  return service_.Patch(place, body, 1);
}

/// Sends changes, again where others have changed something else of the resource meanwhile.
HttpAnswer BmcWriter::SendPatiently(const BmcGroup& group, const std::string& place,
                                    const BmcChanges& changes, bool withPassword) {
  const auto values = [&] {
    std::vector<std::optional<std::string>> texts;
    const json content = service_.Get(group.resource).content;
    for (const BmcChange& change : changes) texts.push_back(TextOf(*change.row, content));
    return texts;
  };
  const auto before = values();
  for (int attempt = 1;; ++attempt) {
    HttpAnswer answer = Send(group, place, changes, withPassword);
    const bool isConflict = answer.status == kConflict && attempt < Service::kMostConflicts;
    if (!isConflict) return answer;
    service_.Forget(group.resource);
    if (values() != before) return answer;
  }
}

std::size_t BmcWriter::TakeRefused(const HttpAnswer& answer, BmcChanges& changes) {
  const std::size_t before = changes.size();
  for (const Message& message : service_.MessagesOf(answer)) {
    if (!message.isFault) continue;
    std::erase_if(changes, [&](const BmcChange& change) {
      if (!IsAbout(*change.row, message.about)) return false;
      Note(change, Fate::Refused, message.text.empty() ? service_.ReasonIn(answer) : message.text);
      return true;
    });
  }
  return before - changes.size();
}

void BmcWriter::ChangeResource(const BmcGroup& group, BmcChanges changes) {
  const std::string place = PlaceOf(group.resource, changes);
  const bool withPassword = HasPassword(group);
  while (!changes.empty()) {
    const HttpAnswer answer = SendPatiently(group, place, changes, withPassword);
    if (answer.IsSuccess()) {
      return ReadBack(changes, place == group.resource ? "" : place, answer);
    }
    const std::string reason = service_.ReasonIn(answer);
    if (!IsOfContent(answer)) return NoteAll(changes, Fate::Refused, reason);
    const bool hadName = Touches(changes, kUserName);
    const std::size_t refused = TakeRefused(answer, changes);
    const bool isNameless = hadName && !Touches(changes, kUserName);
    if (group.willBeOpen && (isNameless || (refused == 0 && withPassword))) {
      // Nobody is let in by a name or password that is another than the file's or the given one.
      const auto closing = std::stable_partition(changes.begin(), changes.end(), IsOfOpenAccount);
      const BmcChanges left(closing, changes.end());
      changes.erase(closing, changes.end());
      NoteAll(changes, Fate::Refused,
              isNameless ? std::string(Query::kAccountStaysClosed)
                         : std::string(Query::kAccountStaysClosed) + ": " + reason);
      changes = left;
      continue;
    }
    if (refused == 0) return ChangeEach(group, changes, reason);
  }
}

/// For a refusal that names nothing.
void BmcWriter::ChangeEach(const BmcGroup& group, const BmcChanges& changes,
                           const std::string& reason) {
  if (changes.size() == 1) return NoteAll(changes, Fate::Refused, reason);
  bool isClosed = false;
  for (const BmcChange& change : changes) {
    if (isClosed && IsOfOpenAccount(change)) {
      Note(change, Fate::Refused, Query::kAccountStaysClosed);
      continue;
    }
    const HttpAnswer answer = SendPatiently(group, group.resource, {change}, false);
    if (answer.IsSuccess()) {
      ReadBack({change}, "", answer);
    } else {
      Note(change, Fate::Refused, service_.ReasonIn(answer));
      isClosed = isClosed || (group.willBeOpen && change.row->pointer == kUserName);
    }
  }
}

void BmcWriter::MakeAccount(const BmcGroup& group) {
  json body = json::object();
  BmcChanges later;
  for (const BmcChange& change : group.changes) {
    if (change.row->codec == BmcCodec::Membership) {
      later.push_back(change);
    } else {
      static_cast<void>(AddChange(*change.row, change.wanted, json::object(), body));
    }
  }
  body[kPasswordName] = passwords_.at(group.name);
  const Common::WipeOnExit wipe(body[kPasswordName].get_ref<std::string&>());
  const std::string collection = tree_.Resources().AccountCollection();
  const HttpAnswer answer = service_.Create(collection, body);
  if (!answer.IsSuccess()) {
    return NoteAll(group.changes, Fate::Refused, service_.ReasonIn(answer));
  }
  tree_.Resources().Forget();
  BmcGroup made = group;
  made.resource = tree_.Resources().Account(static_cast<std::uint8_t>(group.user));
  if (made.resource.empty() ||
      TextAt(service_.Get(made.resource).content, {"UserName"}) != group.name) {
    return NoteAll(group.changes, Fate::Ignored, "the server has given the account another number");
  }
  made.opening.clear();  // it has its password
  std::erase_if(later, [&](const BmcChange& change) { return Shows(change); });
  ReadBack(group.changes, "", answer);
  if (later.empty()) return;
  std::erase_if(late_,
                [&](const Late& late) { return late.change.row->codec == BmcCodec::Membership; });
  ChangeResource(made, later);
}

void BmcWriter::ReplaceSubscriptions(const BmcGroup& group) {
  const std::string refusal = Redfish::ReplaceSubscriptions(tree_, group);
  if (!refusal.empty()) return NoteAll(group.changes, Fate::Refused, refusal);
  ReadBack(group.changes, "", {});
}

bool BmcWriter::Shows(const BmcChange& change) {
  const std::optional<BmcTree::Found> found = tree_.Find(change.paths.front());
  return found && tree_.Text(*found) == change.wanted;
}

/// The server's word that it took a change is not enough: what its resources hold counts.
void BmcWriter::ReadBack(const BmcChanges& changes, const std::string& settings,
                         const HttpAnswer& answer) {
  const std::vector<Message> messages = service_.MessagesOf(answer);
  for (const BmcChange& change : changes) taken_.insert(change.paths.front());
  const Resource* object = settings.empty() ? nullptr : service_.Find(settings);
  for (const BmcChange& change : changes) {
    if (Shows(change)) continue;
    if (object != nullptr && TextOf(*change.row, object->content) == change.wanted) {
      Note(change, Fate::Pending, "");
      continue;
    }
    std::string reason;
    for (const Message& message : messages) {
      if (message.isFault && IsAbout(*change.row, message.about)) reason = message.text;
    }
    late_.push_back({change, reason});
  }
}

/// Waits for the server to show what it has taken.
void BmcWriter::Settle() {
  const auto end = std::chrono::steady_clock::now() +
                   std::min<std::chrono::milliseconds>(kSettle, service_.Limits().stall);
  for (;;) {
    std::erase_if(late_, [&](const Late& late) { return Shows(late.change); });
    if (late_.empty() || !service_.Wait("", end)) break;
    tree_.Resources().Forget();
    service_.ForgetValues();
  }
  for (const Late& late : late_) {
    const std::optional<BmcTree::Found> found = tree_.Find(late.change.paths.front());
    const bool isTold = found && tree_.Text(*found);
    Note(late.change, Fate::Ignored,
         !late.reason.empty() ? late.reason
         : isTold             ? kOtherKept
                              : kNotShown);
  }
  late_.clear();
}

}  // namespace Redfish
