#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "providers/redfish/Json.h"
#include "providers/redfish/Session.h"

namespace Redfish {

using nlohmann::json;

/// A resource, and what tells one state of it from another.
struct Resource {
  json content;
  std::string etag;  ///< empty without one
};

/// The path that the reference there names by its "@odata.id"; empty without one.
[[nodiscard]] std::string LinkAt(const json& object, std::initializer_list<const char*> names);

/// The resources of one server. Each address is followed from the service root; each resource is
/// fetched when it is first needed, and once.
class Service {
 public:
  /// Logs in. `system` is the last part of the address of the system that is meant, empty where the
  /// server has only one.
  /// \throws ResultStatus  as Session, and BadAnswer when this is no Redfish service.
  Service(const Endpoint& endpoint, const Credentials& credentials, std::string system);

  /// The resource at `path`; null when there is none (the answer is 404).
  /// \throws ResultStatus  as Session::Exchange, and BadAnswer when it is no JSON object.
  const Resource* Find(const std::string& path);
  /// The same for a resource that must be there.
  const Resource& Get(const std::string& path);
  /// Has the resource at `path` fetched again when it is needed the next time.
  void Forget(const std::string& path) { resources_.erase(path); }

  /// Sends `change` to the resource at `path`, for the state of it that `etag` names. Where it
  /// succeeds the resource is forgotten.
  [[nodiscard]] HttpAnswer Patch(const std::string& path, const json& change,
                                 const std::string& etag);

  /// The paths of the members of a collection.
  std::vector<std::string> Members(const std::string& collection);
  /// The same, and fetches the members along with the collection where the service can do that.
  std::vector<std::string> ExpandedMembers(const std::string& collection);

  const Resource& Root() { return Get(kRoot); }
  const std::string& SystemPath();
  const Resource& System() { return Get(SystemPath()); }
  /// The BIOS of the system. \throws ResultStatus  NoSuchNode when it has none.
  const Resource& Bios();
  [[nodiscard]] std::string BiosPath();
  /// Where changes of `resource` go; empty when it takes none.
  [[nodiscard]] static std::string SettingsPath(const json& resource);
  /// The registry of the BIOS attributes; null when the service has none.
  json Registry();

  [[nodiscard]] const std::string& Name() const { return session_.ServerName(); }

 private:
  static constexpr const char* kRoot = "/redfish/v1/";

  std::string RegistryFile(const std::string& id);
  std::vector<std::string> MembersIn(const std::string& path, const std::string& collection);

  Session session_;
  std::map<std::string, std::optional<Resource>> resources_;
  std::string wantedSystem_;
  std::string systemPath_;
};

}  // namespace Redfish
