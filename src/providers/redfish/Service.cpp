#include "providers/redfish/Service.h"

#include <set>
#include <utility>

#include "common/ErrorManager.h"

namespace Redfish {
namespace {

constexpr const char* kId = "@odata.id";
constexpr const char* kRegistryPrefix = "biosattributeregistry";

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
  const auto known = resources_.find(path);
  if (known != resources_.end()) return known->second ? &*known->second : nullptr;
  const HttpAnswer answer = session_.Exchange({"GET", path, "", {}});
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
  kept.emplace(Resource{std::move(content), answer.etag});
  if (kept->etag.empty()) kept->etag = TextAt(kept->content, {"@odata.etag"});
  return &*kept;
}

const Resource& Service::Get(const std::string& path) {
  const Resource* resource = Find(path);
  if (resource != nullptr) return *resource;
  ErrorManager::Raise(ErrorManager::BadAnswer, Name() + path, "there is no such resource");
}

HttpAnswer Service::Patch(const std::string& path, const json& change, const std::string& etag) {
  HttpRequest request{"PATCH", path, change.dump(), {}};
  if (!etag.empty()) request.headers.push_back("If-Match: " + etag);
  HttpAnswer answer = session_.Exchange(request);
  if (answer.IsSuccess()) Forget(path);
  return answer;
}

std::vector<std::string> Service::Members(const std::string& collection) {
  return MembersIn(collection, collection);
}

std::vector<std::string> Service::ExpandedMembers(const std::string& collection) {
  const bool expands =
      At(Root().content, {"ProtocolFeaturesSupported", "ExpandQuery", "NoLinks"}) == json(true);
  return MembersIn(expands ? collection + "?$expand=." : collection, collection);
}

std::vector<std::string> Service::MembersIn(const std::string& path,
                                            const std::string& collection) {
  std::vector<std::string> paths;
  std::set<std::string> seen{collection};  // a chain of pages that comes back is at its end
  std::string page = path;
  while (!page.empty()) {
    seen.insert(page);
    const json& content = Get(page).content;
    for (const json& member : At(content, {"Members"})) {
      std::string link = PathOfLink(TextAt(member, {kId}));
      if (link.empty()) continue;
      // Only what was asked for as a whole is one: a plain list may show a part of each member.
      if (path != collection && member.contains("@odata.type")) {
        resources_.try_emplace(link, Resource{member, TextAt(member, {"@odata.etag"})});
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

std::string Service::SettingsPath(const json& resource) {
  return LinkAt(resource, {"@Redfish.Settings", "SettingsObject"});
}

/// The path of the registry with this id, or else of one whose id begins with the prefix; empty
/// without one. The address mostly ends in the id, in whatever case; only where it does not, the
/// members are fetched.
std::string Service::RegistryFile(const std::string& id) {
  const std::string collection = LinkAt(Root().content, {"Registries"});
  if (collection.empty()) return {};
  const std::string wanted = Lower(id);
  std::string byPrefix;
  const auto isIt = [&](const std::string& path, const std::string& spelling) {
    const std::string name = Lower(spelling);
    if (byPrefix.empty() && name.starts_with(kRegistryPrefix)) byPrefix = path;
    return !wanted.empty() && name == wanted;
  };
  const std::vector<std::string> members = Members(collection);
  for (const std::string& path : members) {
    if (isIt(path, LastPart(path))) return path;
  }
  if (!byPrefix.empty()) return byPrefix;
  for (const std::string& path : members) {
    const Resource* file = Find(path);
    if (file == nullptr) continue;
    if (isIt(path, TextAt(file->content, {"Id"}))) return path;
    if (isIt(path, TextAt(file->content, {"Registry"}))) return path;
  }
  return byPrefix;
}

json Service::Registry() {
  const std::string path = RegistryFile(TextAt(Bios().content, {"AttributeRegistry"}));
  const Resource* file = path.empty() ? nullptr : Find(path);
  if (file == nullptr) return {};
  if (file->content.contains("RegistryEntries")) return file->content;
  const std::string address = AddressOfRegistry(file->content);
  const Resource* registry = address.empty() ? nullptr : Find(address);
  return registry == nullptr ? json() : registry->content;
}

}  // namespace Redfish
