#include "providers/redfish/Writer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace Redfish {
namespace {

using Fate = SDK::WriteNote::Fate;

constexpr const char* kApplyTime = "@Redfish.SettingsApplyTime";
constexpr const char* kOnReset = "OnReset";
constexpr int kMostConflicts = 3;  ///< others may change the settings object at the same time

/// The refusals that are about what was sent. Others are about the settings object, and sending a
/// part of it would not change them.
constexpr auto kAboutContent = std::to_array<long>({400, 413, 422});

bool Lists(const json& list, const char* text) {
  return list.is_array() && std::ranges::find(list, json(text)) != list.end();
}

/// The first complaint in an answer.
std::string ReasonIn(const std::vector<Message>& messages, long status) {
  for (const Message& message : messages) {
    if (message.isFault && !message.text.empty()) return message.text;
  }
  return "the server refuses it, status " + std::to_string(status);
}

}  // namespace

void Writer::Write(Changes changes) {
  const json& bios = service_.Bios().content;
  settings_ = Service::SettingsPath(bios);
  if (settings_.empty()) return RefuseAll(changes, "this server takes no BIOS settings");
  const json& settings = service_.Get(settings_).content;
  namesApplyTime_ =
      Lists(At(bios, {"@Redfish.Settings", "SupportedApplyTimes"}), kOnReset) ||
      Lists(At(settings, {kApplyTime, "ApplyTime@Redfish.AllowableValues"}), kOnReset);
  Send(std::move(changes));
  ReadBack();
}

HttpAnswer Writer::Patch(const Changes& changes) {
  json attributes = json::object();
  for (const auto& [name, change] : changes) attributes[name] = change.value;
  json body = {{"Attributes", std::move(attributes)}};
  if (namesApplyTime_) body[kApplyTime] = {{"ApplyTime", kOnReset}};
  for (int attempt = 1;; ++attempt) {
    HttpAnswer answer = service_.Patch(settings_, body, service_.Get(settings_).etag);
    if (answer.status != 412 || attempt == kMostConflicts) return answer;
    service_.Forget(settings_);
  }
}

void Writer::Send(Changes changes) {
  while (!changes.empty()) {
    const HttpAnswer answer = Patch(changes);
    if (answer.IsSuccess()) {
      KeepMessages(answer);
      sent_.merge(changes);
      return;
    }
    const std::vector<Message> messages = MessagesOf(answer.body);
    const std::string reason = ReasonIn(messages, answer.status);
    if (std::ranges::find(kAboutContent, answer.status) == kAboutContent.end()) {
      return RefuseAll(changes, reason);
    }
    const std::size_t before = changes.size();
    for (const Message& message : messages) {
      for (const std::string& name : message.about) {
        const auto change = message.isFault ? changes.find(name) : changes.end();
        if (change == changes.end()) continue;
        notes_.push_back(
            {change->second.path, Fate::Refused, message.text.empty() ? reason : message.text});
        changes.erase(change);
      }
    }
    if (changes.size() == before) return SendHalves(changes, reason);
  }
}

void Writer::SendHalves(const Changes& changes, const std::string& reason) {
  if (changes.size() == 1) return RefuseAll(changes, reason);
  const auto middle = std::next(changes.begin(), static_cast<std::ptrdiff_t>(changes.size() / 2));
  Send({changes.begin(), middle});
  Send({middle, changes.end()});
}

void Writer::RefuseAll(const Changes& changes, const std::string& reason) {
  for (const auto& [name, change] : changes) notes_.push_back({change.path, Fate::Refused, reason});
}

void Writer::KeepMessages(const HttpAnswer& answer) {
  for (const Message& message : MessagesOf(answer.body)) {
    if (!message.isFault) continue;
    for (const std::string& name : message.about) messages_.try_emplace(name, message.text);
  }
}

/// The server's word that it took a change is not enough: what its two resources hold counts.
void Writer::ReadBack() {
  const std::string bios = service_.BiosPath();
  service_.Forget(bios);
  const Resource* settings = service_.Find(settings_);
  static const json nothing;
  const json& present = At(service_.Get(bios).content, {"Attributes"});
  const json& pending = settings == nullptr ? nothing : At(settings->content, {"Attributes"});
  for (const auto& [name, change] : sent_) {
    if (At(present, {name.c_str()}) == change.value) continue;
    if (At(pending, {name.c_str()}) == change.value) {
      notes_.push_back({change.path, Fate::Pending, ""});
      continue;
    }
    const auto message = messages_.find(name);
    notes_.push_back({change.path, Fate::Ignored,
                      message == messages_.end() ? "the server keeps its value" : message->second});
  }
}

}  // namespace Redfish
