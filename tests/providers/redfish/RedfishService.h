#pragma once

#include <sys/types.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/TestEngine.h"

namespace Test {

/// One request that the service saw.
struct RedfishRequest {
  std::string method;
  std::string path;
  std::string query;
  std::string authentication;  ///< "none", "basic" or "session"
  bool ifMatch;
  int status;                           ///< of the answer; 0 when a knob had it fail
  std::vector<std::string> attributes;  ///< what a change of BIOS settings named, sorted
};

/// What the service answered.
struct RedfishReply {
  int status;
  nlohmann::json body;    ///< null without one
  nlohmann::json header;  ///< names in lower case, and their values

  /// The keys of the messages of an error, in their order: "PropertyUnknown".
  [[nodiscard]] std::vector<std::string> MessageKeys() const;
};

/// A strict Redfish service in a process of its own, on a free port of 127.0.0.1, over TLS. It ends
/// with this object, or with the test's process. `service.py --list-knobs` lists what it can be
/// made to do. A failure to start or to ask it is thrown as std::runtime_error.
class RedfishService {
 public:
  static constexpr const char* kUser = "admin";
  static constexpr const char* kPassword = "redfish-password";

  /// Which certificate the service shows.
  enum class Certificate { SignedByCa, SelfSigned };

  /// Makes certificates in `folder` and starts the service with these knobs ("NAME" or
  /// "NAME=VALUE").
  explicit RedfishService(std::string folder, const std::vector<std::string>& knobs = {},
                          Certificate certificate = Certificate::SignedByCa);
  RedfishService(const RedfishService&) = delete;
  RedfishService& operator=(const RedfishService&) = delete;
  ~RedfishService();

  /// The programs that the service needs and this machine lacks; empty when it can start.
  static std::string MissingPrograms();

  [[nodiscard]] int Port() const { return port_; }
  /// "127.0.0.1:PORT"
  [[nodiscard]] std::string Host() const { return "127.0.0.1:" + std::to_string(port_); }
  /// The file of the CA that signs the server's certificate.
  [[nodiscard]] std::string CaCert() const { return folder_ + "/ca.pem"; }
  /// The pin of the public key that the service shows: "sha256//…".
  [[nodiscard]] std::string Pin() const;

  void Knob(const std::string& name, const std::string& value = "");
  void Unset(const std::string& name);
  /// Restarts the system: what waits takes effect.
  void Reset();

  /// The current value of an attribute, whatever the service shows of it.
  [[nodiscard]] nlohmann::json Attribute(const std::string& name) const;
  [[nodiscard]] nlohmann::json Attributes() const;  ///< all of them, by name
  [[nodiscard]] nlohmann::json Pending() const;     ///< what waits for the reset, by name
  [[nodiscard]] std::vector<std::string> BootOrder() const;
  [[nodiscard]] int OpenSessions() const;
  [[nodiscard]] int Connections() const;  ///< since the start or ResetCounts

  /// The requests since the start or ResetCounts, without those of this class.
  [[nodiscard]] std::vector<RedfishRequest> Requests() const;
  void ResetCounts();

  /// Sends a request. `headers` are whole lines; a `body` that is not null goes as JSON.
  [[nodiscard]] RedfishReply Send(const std::string& method, const std::string& path,
                                  const nlohmann::json& body = nullptr,
                                  const std::vector<std::string>& headers = {}) const;

 private:
  [[nodiscard]] nlohmann::json State(const char* name) const;
  void Post(const std::string& path, const nlohmann::json& body = nullptr) const;
  void Start(const std::vector<std::string>& arguments);
  void End() noexcept;

  std::string folder_;
  std::string certificate_;  ///< name of its files, without ending
  pid_t process_ = -1;
  int input_ = -1;  ///< the service ends when this closes
  int port_ = 0;
};

/// A fixture with a service for each test, which is skipped where the service cannot run.
class RedfishTest : public EngineTest {
 protected:
  void SetUp() override;

  /// Starts the service again, with other knobs or another certificate.
  void Restart(const std::vector<std::string>& knobs,
               RedfishService::Certificate certificate = RedfishService::Certificate::SignedByCa);

  std::unique_ptr<RedfishService> service;
};

}  // namespace Test
