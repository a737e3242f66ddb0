#include "providers/redfish/Writer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace Redfish {
namespace {

using Fate = SDK::WriteNote::Fate;

/// So many refusals that name nothing are enough to find a wrong value or two among hundreds; more
/// are a server that refuses whatever it is sent.
constexpr int kMostUnnamed = 20;

/// The refusals that are about what was sent. Others are about the settings object, and sending a
/// part of it would not change them.
constexpr auto kAboutContent = std::to_array<long>({400, 413, 422});

/// True when a service that speaks of one of `names` may mean the attribute of `change`.
bool IsMeant(const Change& change, const std::string& attribute,
             const std::set<std::string>& names) {
  return names.contains(attribute) || names.contains(change.members.back());
}

}  // namespace

const json& AtMembers(const json& object, const std::vector<std::string>& members) {
  const json* place = &object;
  for (const std::string& member : members) place = &At(*place, {member.c_str()});
  return *place;
}

void Writer::Write(Changes changes) {
  settings_ = service_.BiosSettings();
  if (settings_.empty()) return RefuseAll(changes, "this server takes no BIOS settings");
  Send(std::move(changes));
  if (order_ != nullptr && !isClosed_) orderAnswer_ = Patch({});
  ReadBack();
}

HttpAnswer Writer::Patch(const Changes& changes) {
  json attributes = json::object();
  for (const auto& [name, change] : changes) {
    json* place = &attributes;
    for (const std::string& member : change.members) place = &(*place)[member];
    *place = change.value;
  }
  json body = json::object();
  if (!changes.empty()) body["Attributes"] = std::move(attributes);
  if (order_ != nullptr) body["Boot"] = BootProperty(*order_);
  service_.AddApplyTime(service_.Bios().content, settings_, body);
  return service_.Patch(settings_, body);
}

void Writer::Send(Changes changes) {
  while (!changes.empty()) {
    const HttpAnswer answer = Patch(changes);
    if (answer.IsSuccess()) {
      KeepMessages(answer);
      sent_.merge(changes);
      if (order_ != nullptr) orderAnswer_ = answer;
      order_ = nullptr;
      return;
    }
    const std::vector<Message> messages = service_.MessagesOf(answer);
    const std::string reason = service_.ReasonIn(answer);
    if (std::ranges::find(kAboutContent, answer.status) == kAboutContent.end()) {
      isClosed_ = true;
      return RefuseAll(changes, reason);
    }
    const std::size_t before = changes.size();
    for (const Message& message : messages) {
      if (!message.isFault) continue;
      std::erase_if(changes, [&](const auto& entry) {
        if (!IsMeant(entry.second, entry.first, message.about)) return false;
        notes_.push_back(
            {entry.second.path, Fate::Refused, message.text.empty() ? reason : message.text});
        return true;
      });
    }
    if (changes.size() == before) return SendHalves(changes, reason);
  }
}

void Writer::SendHalves(const Changes& changes, const std::string& reason) {
  if (firstReason_.empty()) firstReason_ = reason;
  // Another reason once something was taken is about the changes before, not about these.
  isClosed_ = isClosed_ || (!sent_.empty() && reason != firstReason_);
  if (++unnamed_ >= kMostUnnamed) isClosed_ = true;
  if (changes.size() == 1 || isClosed_) return RefuseAll(changes, reason);
  const auto middle = std::next(changes.begin(), static_cast<std::ptrdiff_t>(changes.size() / 2));
  Send({changes.begin(), middle});
  if (isClosed_) return RefuseAll({middle, changes.end()}, reason);
  Send({middle, changes.end()});
}

void Writer::RefuseAll(const Changes& changes, const std::string& reason) {
  for (const auto& [name, change] : changes) notes_.push_back({change.path, Fate::Refused, reason});
}

void Writer::KeepMessages(const HttpAnswer& answer) {
  for (const Message& message : service_.MessagesOf(answer)) {
    if (!message.isFault) continue;
    for (const std::string& name : message.about) messages_.try_emplace(name, message.text);
  }
}

/// The server's word that it took a change is not enough: what its two resources hold counts.
void Writer::ReadBack() {
  const std::string bios = service_.BiosPath();
  service_.Forget(bios);
  service_.Forget(settings_);
  const Resource* settings = service_.Find(settings_);
  static const json nothing;
  const json& present = At(service_.Get(bios).content, {"Attributes"});
  const json& pending = settings == nullptr ? nothing : At(settings->content, {"Attributes"});
  for (const auto& [name, change] : sent_) {
    const json& waiting = AtMembers(pending, change.members);
    const bool isPresent = AtMembers(present, change.members) == change.value;
    if (isPresent && (waiting.is_null() || waiting == change.value)) continue;
    if (waiting == change.value) {
      notes_.push_back({change.path, Fate::Pending, ""});
      continue;
    }
    const auto message = messages_.find(name);
    notes_.push_back({change.path, Fate::Ignored,
                      message == messages_.end() ? "the server keeps its value" : message->second});
  }
}

}  // namespace Redfish
