#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Redfish {

/// How long one exchange may take.
struct TimeLimits {
  std::chrono::seconds connect{10};
  std::chrono::seconds stall{30};  ///< without a byte in either direction
  std::chrono::milliseconds total{180'000};
};

/// Whom a client trusts. Without any of these the certificates of the system.
struct Trust {
  std::string caFile;     ///< certificates of the authorities to trust, PEM
  std::string pinnedKey;  ///< "sha256//BASE64" of the server's public key
  bool insecure = false;  ///< anybody
};

/// The server that a client talks to.
struct Endpoint {
  std::string host;  ///< a name or an address; an IPv6 address in brackets
  int port = 443;
  Trust trust;
  TimeLimits limits;
  std::function<bool()>
      isHurried;  ///< true: an answer is no longer waited for. Asked while waiting
  /// Called before each change and again and again while waiting; may throw to stop.
  std::function<void()> checkpoint = [] {};
};

struct HttpRequest {
  const char* method = "GET";
  std::string path;  ///< begins with "/"
  std::string body;  ///< JSON; empty for none
  std::vector<std::string> headers;
};

struct HttpAnswer {
  long status = 0;
  std::string body;
  std::string etag;        ///< as sent; empty without one
  std::string location;    ///< as sent; empty without one
  std::string token;       ///< the header X-Auth-Token
  std::string allow;       ///< the methods that the resource has; empty when they are not named
  std::string retryAfter;  ///< as sent; empty without one

  [[nodiscard]] bool IsSuccess() const { return status >= 200 && status < 300; }
};

/// What has come of one of several requests: an answer, or the failure to get one.
struct HttpOutcome {
  HttpAnswer answer;
  std::exception_ptr failure;
};

/// GET requests that go out side by side.
struct HttpFlow {
  std::vector<std::string> headers;  ///< of each, whole lines
  /// The path of one more; empty when none is known, or none is to go out any more. It is asked
  /// again after each outcome. May throw, which gives up those under way.
  std::function<std::string()> next;
  /// Takes what has come of the one with this path. May throw likewise.
  std::function<void(const std::string& path, HttpOutcome outcome)> take;
};

class HttpTransfer;

/// Talks HTTPS to one server over a connection that it keeps, and where requests go out side by
/// side over a few more. It follows no redirects, and asks for compressed answers.
class HttpClient {
 public:
  static constexpr std::size_t kLargestBody = std::size_t{64} << 20;  ///< bytes, decompressed
  static constexpr std::size_t kMostAtOnce = 4;                       ///< requests side by side

  explicit HttpClient(Endpoint endpoint);
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;
  ~HttpClient();

  /// Sends each request from now on with this name and password. The caller wipes its copy.
  void UseBasic(const std::string& user, const std::string& password);

  /// Makes every later exchange as short as `limit`, half a second where somebody is in a
  /// hurry.
  void Hurry(std::chrono::seconds limit);

  /// One exchange. Any status is an answer.
  /// \throws ResultStatus  Unreachable, NotTrusted, BadAnswer.
  [[nodiscard]] HttpAnswer Exchange(const HttpRequest& request);

  /// Sends the requests of `flow`, up to `kMostAtOnce` at a time, until it has no more and all are
  /// answered. A failure of one, as Exchange throws it, is its outcome. The further connections
  /// resume the TLS session of the first, where the server lets them, and are kept as it is.
  void Exchange(const HttpFlow& flow);

  /// True when the server takes long for an answer, by the requests so far that went out by
  /// themselves: so long that further connections are worth their handshakes.
  [[nodiscard]] bool IsSlow() const;

  [[nodiscard]] const TimeLimits& Limits() const { return endpoint_.limits; }
  /// Asks whether to go on, see `Endpoint`.
  void Checkpoint() const { endpoint_.checkpoint(); }

  /// The address of the server that the last answer came from; empty before the first one.
  [[nodiscard]] const std::string& PeerAddress() const { return peer_; }

  /// The server as texts name it: "host" or "host:port".
  [[nodiscard]] const std::string& Name() const { return name_; }

 private:
  struct Connections;

  Endpoint endpoint_;
  std::string name_;
  std::string peer_;
  std::unique_ptr<Connections> connections_;
  std::unique_ptr<HttpTransfer> single_;  ///< for one request at a time
  std::chrono::microseconds waited_{0};
  int waits_ = 0;
};

}  // namespace Redfish
