#include "providers/redfish/Service.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"

namespace Redfish {
namespace {

constexpr const char* kId = "@odata.id";
constexpr const char* kRegistryPrefix = "biosattributeregistry";

/// Where services keep the settings object of a BIOS that does not say so, below the BIOS.
constexpr auto kUsualSettings = std::to_array<const char*>({"/Settings", "/SD"});

/// The states of a task that goes on by itself. One that is pending waits for the restart.
constexpr auto kRunning =
    std::to_array<const char*>({"New", "Starting", "Running", "Stopping", "Cancelling", "Service"});
constexpr auto kFailed = std::to_array<const char*>({"Exception", "Killed", "Cancelled"});

template <typename List>
bool IsAmong(const List& list, const std::string& text) {
  return std::ranges::find(list, text) != list.end();
}

/// What stands behind the last "/" of a path.
std::string LastPart(std::string path) {
  while (path.ends_with('/')) path.pop_back();
  return path.substr(path.rfind('/') + 1);
}

std::string Lower(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  return text;
}

/// The address of a registry's text, in English where there is a choice.
std::string AddressOfRegistry(const json& file) {
  std::string any;
  for (const json& location : At(file, {"Location"})) {
    const json& uri = At(location, {"Uri"});
    std::string path =
        PathOfLink(uri.is_string() ? uri.get<std::string>() : TextAt(uri, {"extref"}));
    if (TextAt(location, {"Language"}).starts_with("en") && !path.empty()) return path;
    if (any.empty()) any = path;
  }
  return any;
}

}  // namespace

std::string LinkAt(const json& object, std::initializer_list<const char*> names) {
  return PathOfLink(TextAt(At(object, names), {kId}));
}

Service::Service(const Endpoint& endpoint, const Credentials& credentials, std::string system)
    : session_(endpoint, credentials), wantedSystem_(std::move(system)) {
  const json& root = Root().content;
  if (LinkAt(root, {"Systems"}).empty()) {
    ErrorManager::Raise(ErrorManager::BadAnswer, Name(), "it lists no systems");
  }
  session_.LogIn(LinkAt(root, {"Links", "Sessions"}));
}

const Resource* Service::Find(const std::string& path) {
  if (!resources_.contains(path)) LookAround(path);
  const auto known = resources_.find(path);
  if (known != resources_.end()) return known->second ? &*known->second : nullptr;
  return Keep(path, session_.Exchange({"GET", path, "", {}}));
}

const Resource* Service::Keep(const std::string& path, const HttpAnswer& answer) {
  std::optional<Resource>& kept = resources_[path];
  if (answer.status == 404) return nullptr;
  if (!answer.IsSuccess()) {
    resources_.erase(path);
    ErrorManager::Raise(ErrorManager::BadAnswer, Name() + path,
                        "the status is " + std::to_string(answer.status));
  }
  json content = json::parse(answer.body, nullptr, false);
  if (!content.is_object()) {
    resources_.erase(path);
    ErrorManager::Raise(ErrorManager::BadAnswer, Name() + path, "it is no JSON object");
  }
  kept.emplace(Resource{std::move(content), answer.etag, answer.allow});
  if (kept->etag.empty()) kept->etag = TextAt(kept->content, {"@odata.etag"});
  return &*kept;
}

const Resource& Service::Get(const std::string& path) {
  const Resource* resource = Find(path);
  if (resource != nullptr) return *resource;
  ErrorManager::Raise(ErrorManager::BadAnswer, Name() + path, "there is no such resource");
}

HttpAnswer Service::Patch(const std::string& path, const json& change, int attempts) {
  for (int attempt = 1;; ++attempt) {
    session_.Checkpoint();
    HttpRequest request{"PATCH", path, change.dump(), {}};
    const Common::WipeOnExit wipe(request.body);  // it may hold a password
    if (Get(path).isPart) Forget(path);
    const std::string& etag = Get(path).etag;
    if (!etag.empty()) request.headers.push_back("If-Match: " + etag);
    HttpAnswer answer = session_.Exchange(request);
    if (answer.status == 202) answer = FollowTask(std::move(answer));
    if (answer.IsSuccess() || answer.status == 412) Forget(path);
    if (answer.status != 412 || attempt == attempts) return answer;
  }
}

HttpAnswer Service::Create(const std::string& collection, const json& content) {
  session_.Checkpoint();
  HttpRequest request{"POST", collection, content.dump(), {}};
  const Common::WipeOnExit wipe(request.body);
  HttpAnswer answer = session_.Exchange(request);
  Forget(collection);
  return answer.status == 202 ? FollowTask(std::move(answer)) : answer;
}

HttpAnswer Service::Delete(const std::string& path) {
  session_.Checkpoint();
  HttpAnswer answer = session_.Exchange({"DELETE", path, "", {}});
  Forget(path);
  return answer.status == 202 ? FollowTask(std::move(answer)) : answer;
}

/// A service answers 202 where it goes on by itself, and says where to ask what has come of it: the
/// answer there is 202 until it is done, or a task with a state.
HttpAnswer Service::FollowTask(HttpAnswer answer) {
  const auto end = std::chrono::steady_clock::now() + session_.Limits().total;
  std::string place = PathOfLink(answer.location);
  for (;;) {
    const json content = json::parse(answer.body, nullptr, false);
    if (place.empty()) place = PathOfLink(TextAt(content, {kId}));
    const std::string state = TextAt(content, {"TaskState"});
    if (IsAmong(kFailed, state)) answer.status = 400;
    const bool isRunning = state.empty() ? answer.status == 202 : IsAmong(kRunning, state);
    if (!isRunning || place.empty()) return answer;
    if (!Wait(answer.retryAfter, end)) return answer;  // what has come of it is read back
    answer = session_.Exchange({"GET", place, "", {}});
  }
}

std::vector<std::string> Service::Members(const std::string& collection) {
  return MembersIn(collection, collection);
}

std::vector<std::string> Service::ExpandedMembers(const std::string& collection) {
  const bool expands =
      At(Root().content, {"ProtocolFeaturesSupported", "ExpandQuery", "NoLinks"}) == json(true);
  if (expands) {
    try {
      return MembersIn(collection + kExpand, collection);
    } catch (const ResultStatus& failure) {  // it says so, and does not
      if (failure.getval() != ErrorManager::BadAnswer) throw;
    }
  }
  return MembersIn(collection, collection);
}

std::vector<std::string> Service::MembersIn(const std::string& path,
                                            const std::string& collection) {
  std::vector<std::string> paths;
  std::set<std::string> seen{collection};  // a chain of pages that comes back is at its end
  std::string page = path;
  while (!page.empty()) {
    seen.insert(page);
    const json& content = Get(page).content;
    // An old one has members as they were.
    const bool isNew = !std::exchange(resources_.at(page)->isTaken, true);
    for (const json& member : At(content, {"Members"})) {
      std::string link = PathOfLink(TextAt(member, {kId}));
      if (link.empty()) continue;
      // Only what was asked for as a whole is one: a plain list may show a part of each member.
      if (isNew && path != collection && member.contains("@odata.type")) {
        const std::string etag = TextAt(member, {"@odata.etag"});
        resources_.try_emplace(link, Resource{member, etag, "", etag.empty()});
      }
      paths.push_back(std::move(link));
    }
    const std::string next = PathOfLink(TextAt(content, {"Members@odata.nextLink"}));
    page = seen.contains(next) ? "" : next;
  }
  return paths;
}

const std::string& Service::SystemPath() {
  if (!systemPath_.empty()) return systemPath_;
  const std::vector<std::string> systems = Members(LinkAt(Root().content, {"Systems"}));
  std::string names;
  for (const std::string& path : systems) {
    const std::string name = LastPart(path);
    if (name == wantedSystem_ || (wantedSystem_.empty() && systems.size() == 1)) {
      return systemPath_ = path;
    }
    names += (names.empty() ? "" : ", ") + name;
  }
  if (systems.empty()) ErrorManager::Raise(ErrorManager::BadAnswer, Name(), "it has no system");
  ErrorManager::Raise(
      ErrorManager::BadAnswer, Name(),
      "its systems are " + names + "; name one of them behind the host, after a \"/\"");
}

std::string Service::BiosPath() {
  return LinkAt(System().content, {"Bios"});
}

const Resource& Service::Bios() {
  const std::string path = BiosPath();
  if (path.empty()) ErrorManager::Raise(ErrorManager::NoSuchNode, "/BIOS/Advanced");
  return Get(path);
}

std::string Service::BiosSettings() {
  if (biosSettings_) return *biosSettings_;
  std::string path = LinkAt(Bios().content, {"@Redfish.Settings", "SettingsObject"});
  for (const char* end : kUsualSettings) {
    if (!path.empty()) break;
    const Resource* candidate = Find(BiosPath() + end);
    if (candidate == nullptr || !At(candidate->content, {"Attributes"}).is_object()) continue;
    path = BiosPath() + end;
  }
  return *(biosSettings_ = path);
}

std::string Service::SystemSettings() {
  return LinkAt(System().content, {"@Redfish.Settings", "SettingsObject"});
}

void Service::ForgetValues() {
  const auto system = resources_.find(systemPath_);
  if (system == resources_.end() || !system->second) return;  // nothing was asked for
  for (const std::string& path : {SystemSettings(), BiosPath(), biosSettings_.value_or("")}) {
    Forget(path);
  }
  Forget(systemPath_);
}

void Service::Discard(const std::string& settings) {
  if (Get(settings).allow.find("DELETE") == std::string::npos) return;
  session_.Checkpoint();
  if (session_.Exchange({"DELETE", settings, "", {}}).IsSuccess()) Forget(settings);
}

std::string Service::Restart(RestartKind wanted) {
  const json& action = At(System().content, {"Actions", "#ComputerSystem.Reset"});
  const std::string target = PathOfLink(TextAt(action, {"target"}));
  const json& kinds = At(action, {"ResetType@Redfish.AllowableValues"});
  const char* kind = wanted == RestartKind::Forced ? "ForceRestart" : "GracefulRestart";
  const bool offersIt = kinds.is_null() || std::ranges::find(kinds, json(kind)) != kinds.end();
  if (target.empty() || !offersIt) return std::string("the server offers no ") + kind;
  session_.Checkpoint();
  const json body = {{"ResetType", kind}};
  const HttpAnswer answer = session_.Exchange({"POST", target, body.dump(), {}});
  return answer.IsSuccess() ? "" : ReasonIn(answer);
}

void Service::AddApplyTime(const json& owner, const std::string& settings, json& body) {
  constexpr const char* kApplyTime = "@Redfish.SettingsApplyTime";
  constexpr const char* kOnReset = "OnReset";
  const auto lists = [&](const json& times) {
    return times.is_array() && std::ranges::find(times, json(kOnReset)) != times.end();
  };
  if (lists(At(owner, {"@Redfish.Settings", "SupportedApplyTimes"})) ||
      lists(At(Get(settings).content, {kApplyTime, "ApplyTime@Redfish.AllowableValues"}))) {
    body[kApplyTime] = {{"ApplyTime", kOnReset}};
  }
}

std::string Service::ReasonIn(const HttpAnswer& answer) {
  for (const Message& message : MessagesOf(answer)) {
    if (message.isFault && !message.text.empty()) return message.text;
  }
  return "the server refuses it, status " + std::to_string(answer.status);
}

std::vector<Message> Service::MessagesOf(const HttpAnswer& answer) {
  return WithTexts(Redfish::MessagesOf(answer.body));
}

/// An id is "Base.1.18.PropertyUnknown": a registry's prefix, its version, and a key in it.
std::vector<Message> Service::WithTexts(std::vector<Message> messages) {
  for (Message& message : messages) {
    if (message.text != message.id || message.id.find('.') == std::string::npos) continue;
    const std::string collection = RegistryCollection();
    if (collection.empty()) break;
    const std::string prefix = Lower(message.id.substr(0, message.id.find('.') + 1));
    const std::string key = message.id.substr(message.id.rfind('.') + 1);
    for (const std::string& path : Members(collection)) {
      if (!Lower(LastPart(path)).starts_with(prefix)) continue;
      const Resource* registry = TextOfRegistry(path);
      if (registry == nullptr) continue;
      const std::string text = TextAt(registry->content, {"Messages", key.c_str(), "Message"});
      if (!text.empty()) message.text = Filled(text, message.arguments);
      break;
    }
  }
  return messages;
}

/// The path of the registry with this id, or else of one whose id begins with the prefix; empty
/// without one. The address mostly ends in the id, in whatever case; only where it does not, the
/// members are fetched.
std::string Service::RegistryFile(const std::string& id) {
  const std::string collection = RegistryCollection();
  if (collection.empty()) return {};
  const std::string wanted = Lower(id);
  std::string byPrefix;
  const auto isIt = [&](const std::string& path, const std::string& spelling) {
    const std::string name = Lower(spelling);
    if (byPrefix.empty() && name.starts_with(kRegistryPrefix)) byPrefix = path;
    return !wanted.empty() && name == wanted;
  };
  std::vector<std::string> members = Members(collection);
  for (const std::string& path : members) {
    if (isIt(path, LastPart(path))) return path;
  }
  if (!byPrefix.empty()) return byPrefix;
  // Large systems list hundreds: those that look like it come first.
  std::stable_partition(members.begin(), members.end(), [](const std::string& path) {
    return Lower(LastPart(path)).find("bios") != std::string::npos;
  });
  for (const std::string& path : members) {
    const Resource* file = Find(path);
    if (file == nullptr) continue;
    if (isIt(path, TextAt(file->content, {"Id"}))) return path;
    if (isIt(path, TextAt(file->content, {"Registry"}))) return path;
  }
  return byPrefix;
}

/// The registry behind a record of the collection of registries; null when it is not there.
const Resource* Service::TextOfRegistry(const std::string& path) {
  const Resource* file = Find(path);
  if (file == nullptr || file->content.contains("RegistryEntries")) return file;
  const std::string address = AddressOfRegistry(file->content);
  return address.empty() ? nullptr : Find(address);
}

std::string Service::RegistryCollection() {
  return LinkAt(Root().content, {"Registries"});
}

const Resource* Service::RegistryText() {
  const std::string path = RegistryFile(TextAt(Bios().content, {"AttributeRegistry"}));
  return path.empty() ? nullptr : TextOfRegistry(path);
}

json Service::Registry() {
  missingRegistry_ = TextAt(Bios().content, {"AttributeRegistry"});
  const Resource* registry = RegistryText();
  if (registry == nullptr) return {};
  missingRegistry_.clear();
  return registry->content;
}

}  // namespace Redfish
