#pragma once

#include <chrono>
#include <cstddef>
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

/// Talks HTTPS to one server over one connection that it keeps. It follows no redirects, and asks
/// for compressed answers.
class HttpClient {
 public:
  static constexpr std::size_t kLargestBody = std::size_t{64} << 20;  ///< bytes, decompressed

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

  [[nodiscard]] const TimeLimits& Limits() const { return endpoint_.limits; }
  /// Asks whether to go on, see `Endpoint`.
  void Checkpoint() const { endpoint_.checkpoint(); }

  /// The address of the server that the last answer came from; empty before the first one.
  [[nodiscard]] const std::string& PeerAddress() const { return peer_; }

  /// The server as texts name it: "host" or "host:port".
  [[nodiscard]] const std::string& Name() const { return name_; }

 private:
  struct Handle;

  void Prepare(const HttpRequest& request);

  Endpoint endpoint_;
  std::string name_;
  std::string peer_;
  std::unique_ptr<Handle> handle_;
};

}  // namespace Redfish
