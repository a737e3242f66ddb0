#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "providers/redfish/ExtendedInfo.h"
#include "providers/redfish/Json.h"
#include "providers/redfish/Session.h"

namespace Redfish {

using nlohmann::json;

/// A resource, and what tells one state of it from another.
struct Resource {
  json content;
  std::string etag;        ///< empty without one
  std::string allow = {};  ///< the methods that the service names for it; empty when it does not
  bool isPart = false;     ///< it came with its collection, without its etag
  bool isTaken = false;    ///< the members that came with it are known, or were
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
  void Forget(const std::string& path);

  // Fetching ahead: ServiceAhead.cpp. Where the service is slow, what is known to be needed is
  // fetched side by side. It fails in nothing: what cannot be fetched fails where it is needed.

  /// Reads resources by `Find` and what calls it, keeps nothing of its own, and logs nothing while
  /// `IsLooking`.
  using Walk = std::function<void()>;
  /// Fetches the resources at those paths that are not yet known.
  void FetchTogether(const std::vector<std::string>& paths);
  /// What the walks need will be needed soon, all of it: it is fetched along with the first request
  /// from now on. Until something is forgotten.
  void Expect(std::vector<Walk> walks) { expected_ = std::move(walks); }
  /// True while a walk runs to see what it needs. It ends at what is not yet there.
  [[nodiscard]] bool IsLooking() const { return isLooking_; }

  /// Sends `change` to the resource at `path`, for the state of it that was fetched. Where it
  /// succeeds the resource is forgotten. A task that the service makes of it is followed to its
  /// end.
  /// Where others have changed the resource meanwhile (412) it is fetched and the change sent
  /// again, `attempts` times in all.
  [[nodiscard]] HttpAnswer Patch(const std::string& path, const json& change,
                                 int attempts = kMostConflicts);
  static constexpr int kMostConflicts = 3;
  /// Makes a member of a collection, and deletes one. The collection is forgotten.
  [[nodiscard]] HttpAnswer Create(const std::string& collection, const json& content);
  [[nodiscard]] HttpAnswer Delete(const std::string& path);
  /// Sends a request that is no change of a resource, such as a restart.
  [[nodiscard]] HttpAnswer Send(const HttpRequest& request) { return session_.Exchange(request); }
  /// Waits for what `Patch` or `Send` has begun, see `WaitToAskAgain`.
  bool Wait(const std::string& retryAfter, std::chrono::steady_clock::time_point end) {
    return WaitToAskAgain(session_, retryAfter, end);
  }

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
  /// Where changes of the BIOS wait; empty when it takes none.
  [[nodiscard]] std::string BiosSettings();
  /// Where changes of the system wait; empty where they do not.
  [[nodiscard]] std::string SystemSettings();
  /// Has a settings object forget what waits in it, where the service says that it can.
  void Discard(const std::string& settings);
  enum class RestartKind { Graceful, Forced };
  /// Asks the system to restart. \return why it does not; empty when it does.
  [[nodiscard]] std::string Restart(RestartKind kind);
  /// Has those resources fetched again that hold values, present ones and such that wait.
  void ForgetValues();
  /// Has everything fetched again when it is needed the next time.
  void ForgetAll();
  /// Adds to `body`, a change of the settings object at `settings` of `owner`, that it takes effect
  /// at the next restart, where the service wants to be told.
  void AddApplyTime(const json& owner, const std::string& settings, json& body);
  /// Why the service has refused what it answers to.
  [[nodiscard]] std::string ReasonIn(const HttpAnswer& answer);
  /// The messages in an answer or a list of them; those that have an id only get their text from
  /// the message registries of the service.
  std::vector<Message> MessagesOf(const HttpAnswer& answer);
  std::vector<Message> WithTexts(std::vector<Message> messages);
  /// The registry of the BIOS attributes; null when the service has none.
  json Registry();
  [[nodiscard]] std::string RegistryCollection();
  /// The resource of that registry.
  const Resource* RegistryText();
  /// The registry that the BIOS names and the service does not give; empty when all is well.
  [[nodiscard]] const std::string& MissingRegistry() const { return missingRegistry_; }

  /// Who is logged in; empty for nobody.
  [[nodiscard]] const std::string& User() const { return session_.User(); }
  /// The address that the session goes to; empty before the first answer.
  [[nodiscard]] const std::string& PeerAddress() const { return session_.PeerAddress(); }
  [[nodiscard]] const TimeLimits& Limits() const { return session_.Limits(); }
  [[nodiscard]] const std::string& Name() const { return session_.ServerName(); }

 private:
  static constexpr const char* kRoot = "/redfish/v1/";
  static constexpr const char* kExpand = "?$expand=.";

  std::string RegistryFile(const std::string& id);
  const Resource* TextOfRegistry(const std::string& path);
  HttpAnswer FollowTask(HttpAnswer answer);
  const Resource* Keep(const std::string& path, const HttpAnswer& answer);
  void FetchAhead(std::vector<Walk> walks);
  void LookAround(const std::string& path);
  void Look(std::vector<Walk>& walks);
  std::vector<std::string> MembersIn(const std::string& path, const std::string& collection);

  Session session_;
  std::map<std::string, std::optional<Resource>> resources_;
  std::string wantedSystem_;
  std::string systemPath_;
  std::string missingRegistry_;
  std::optional<std::string> biosSettings_;

  std::vector<Walk> expected_;
  bool isLooking_ = false;
  std::vector<std::string> wanted_;                     ///< by walks that were looking
  std::map<std::string, std::exception_ptr> failures_;  ///< to fetch ahead
};

}  // namespace Redfish
