#pragma once

#include <chrono>
#include <string>

#include "providers/redfish/HttpClient.h"

namespace Redfish {

/// How to prove who asks.
enum class Authentication {
  Auto,     ///< with a session, or where the service makes none, with each request
  Session,  ///< with a session only
  Basic,    ///< with each request
};

/// Who logs in. Without a user nobody does.
struct Credentials {
  std::string user;
  std::string password;
  Authentication way = Authentication::Auto;
};

/// A client that is logged in: with a session where the service offers them, which ends with this
/// object, else with the name and the password in each request. A session that the service ends
/// early is begun again. A service that is busy and says for how long is asked again.
class Session {
 public:
  /// The caller wipes its copy of the credentials.
  Session(const Endpoint& endpoint, Credentials credentials);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  /// Logs in. `sessions` is the path of the service's collection of sessions, empty without one.
  /// \throws ResultStatus  NotPermitted, and as HttpClient::Exchange.
  void LogIn(const std::string& sessions);

  /// One exchange, with what proves who asks.
  /// \throws ResultStatus  Unreachable, NotTrusted, NotPermitted (the status is 401 or 403) and
  ///                       BadAnswer (it is none of 2xx and 4xx).
  [[nodiscard]] HttpAnswer Exchange(const HttpRequest& request);

  /// GET requests side by side, each as Exchange sends it. What asking again would mend (the
  /// session has ended, the service is busy) ends the flow and is not told; so does a failure of
  /// the connection, which is. `headers` is empty.
  void Exchange(HttpFlow flow);
  [[nodiscard]] bool IsSlow() const { return client_.IsSlow(); }

  [[nodiscard]] const std::string& ServerName() const { return client_.Name(); }
  [[nodiscard]] const std::string& User() const { return credentials_.user; }
  [[nodiscard]] const std::string& PeerAddress() const { return client_.PeerAddress(); }
  [[nodiscard]] const TimeLimits& Limits() const { return client_.Limits(); }
  void Checkpoint() const { client_.Checkpoint(); }

 private:
  [[nodiscard]] HttpAnswer Send(HttpRequest request);
  [[nodiscard]] HttpAnswer Patiently(const HttpRequest& request);
  void CheckUsable(const HttpAnswer& answer, const std::string& path) const;
  /// What CheckUsable throws; null for nothing.
  [[nodiscard]] std::exception_ptr WhyUnusable(const HttpAnswer& answer,
                                               const std::string& path) const;
  void BeginSession();
  void UseBasic();
  void EndSession(const std::string& location) noexcept;

  HttpClient client_;
  Credentials credentials_;
  std::string sessions_;
  std::string token_;
  std::string location_;  ///< the path of the session
};

/// Waits as long as `retryAfter` says, or a second where it says nothing that counts; not longer
/// than until `end`. \return false when that has passed already.
bool WaitToAskAgain(const Session& session, const std::string& retryAfter,
                    std::chrono::steady_clock::time_point end);

/// The path in `link`, which may be an absolute address of the same server; empty when it is none.
[[nodiscard]] std::string PathOfLink(const std::string& link);

}  // namespace Redfish
