#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "providers/redfish/HttpClient.h"
#include "support/TestEngine.h"

namespace Test {

/// One request that the service saw.
struct RedfishRequest {
  std::string line;            ///< "METHOD /path?query"
  std::string authentication;  ///< "none", "basic" or "session"
  bool ifMatch;
  int status;           ///< of the answer; 0 when a knob had it fail
  nlohmann::json body;  ///< of a change and of a restart, else null
};

/// A strict Redfish service in a process of its own, on a free port of 127.0.0.1, over TLS. It ends
/// with this object, or with the test's process. `service.py --list-knobs` lists what it can be
/// made to do; the files of `resources` are what it has. A failure to start or to ask it is thrown.
class RedfishService {
 public:
  static constexpr const char* kUser = "admin";
  static constexpr const char* kPassword = "redfish-password";
  static constexpr const char* kSystem = "/redfish/v1/Systems/1";
  static constexpr const char* kBios = "/redfish/v1/Systems/1/Bios";
  static constexpr const char* kSettings = "/redfish/v1/Systems/1/Bios/Settings";

  /// `certificate` is "server", signed by a test CA, or "self", signed by itself.
  explicit RedfishService(std::string certificate = "server");
  RedfishService(const RedfishService&) = delete;
  RedfishService& operator=(const RedfishService&) = delete;
  ~RedfishService();

  /// True where the programs that the service needs are installed.
  static bool CanRun();

  /// Where to find it, and whom to trust there.
  [[nodiscard]] Redfish::Endpoint Endpoint() const;
  [[nodiscard]] std::string Host() const { return "127.0.0.1:" + std::to_string(port_); }
  [[nodiscard]] std::string CaCert() const { return folder_ + "/ca.pem"; }
  /// The pin of the public key that the service shows: "sha256//…".
  [[nodiscard]] std::string Pin() const;

  /// Sets knobs: "NAME" or "NAME=VALUE".
  void Knobs(const std::vector<std::string>& knobs);
  void Unset(const std::string& name) { Order({"knob", name, false}); }
  /// Merges into the resource at `path`, which may be new; null removes it.
  void Edit(const std::string& path, const nlohmann::json& patch) { Order({"edit", path, patch}); }
  /// Restarts the system: what waits takes effect.
  void Restart() { Order({"restart"}); }
  /// Makes the service what it was at its start.
  void Renew();

  /// What the service knows: "tree", "sessions", "connections", "restarts".
  [[nodiscard]] nlohmann::json State(const char* name) const;
  [[nodiscard]] nlohmann::json Attributes() const { return Attributes(kBios); }
  [[nodiscard]] nlohmann::json Pending() const { return Attributes(kSettings); }
  [[nodiscard]] std::vector<std::string> BootOrder() const;

  /// The requests since the last call, without those of this class.
  std::vector<RedfishRequest> TakeRequests();
  /// The same, their lines alone.
  std::vector<std::string> TakeLines();

  /// Sends a request. `headers` are whole lines; a `body` that is not null goes as JSON.
  [[nodiscard]] Redfish::HttpAnswer Send(const char* method, const std::string& path,
                                         const nlohmann::json& body = nullptr,
                                         std::vector<std::string> headers = {}) const;

 private:
  [[nodiscard]] nlohmann::json Attributes(const char* path) const;
  void Order(const nlohmann::json& order) const;

  std::string folder_;  ///< of the certificates
  std::string certificate_;
  std::FILE* output_ = nullptr;  ///< the service ends when this closes
  int port_ = 0;
};

/// A fixture with a service, one for all tests of a program, that is new in each test; skipped
/// where the service cannot run.
class RedfishTest : public EngineTest {
 protected:
  void SetUp() override;
  /// From now on a new boot order waits for the boot, in this resource.
  void GiveTheSystemSettings(const std::string& settings = "/redfish/v1/Systems/1/Settings") const;

  RedfishService* service = nullptr;
};

}  // namespace Test
