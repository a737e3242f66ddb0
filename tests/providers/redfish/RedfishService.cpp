#include "RedfishService.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "support/Paths.h"

namespace Test {
namespace {

using nlohmann::json;

const std::string kFolder = SourceFolder() + "/tests/providers/redfish/";

/// Runs a shell command, which is made of this file's own texts.
bool Succeeds(const std::string& command) {
  return std::system(command.c_str()) == 0;  // NOLINT(cert-env33-c)
}

std::string MakeFolder() {
  std::string folder = std::filesystem::temp_directory_path() / "saverestore-redfish-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder for certificates");
  return folder;
}

}  // namespace

RedfishService::RedfishService(std::string certificate)
    : folder_(MakeFolder()), certificate_(std::move(certificate)) {
  const std::string files = folder_ + "/" + certificate_;
  const std::string start = "'" + kFolder + "make-certs' " + folder_ + " && exec python3 -B '" +
                            kFolder + "service.py' --cert " + files + ".pem --key " + files +
                            ".key --user " + kUser + " --password " + kPassword;
  output_ = popen(start.c_str(), "re");  // NOLINT(cert-env33-c)
  std::array<char, 64> line = {};
  if (output_ == nullptr || std::fgets(line.data(), line.size(), output_) == nullptr ||
      std::sscanf(line.data(), "PORT %d", &port_) != 1) {  // NOLINT(cert-err34-c)
    throw std::runtime_error("the Redfish service did not start");
  }
}

RedfishService::~RedfishService() {
  if (output_ != nullptr) pclose(output_);
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

bool RedfishService::CanRun() {
  return Succeeds("command -v python3 >/dev/null && command -v openssl >/dev/null");
}

Redfish::Endpoint RedfishService::Endpoint() const {
  Redfish::Endpoint endpoint;
  endpoint.host = "127.0.0.1";
  endpoint.port = port_;
  endpoint.trust.caFile = certificate_ == "self" ? folder_ + "/self.pem" : CaCert();
  return endpoint;
}

std::string RedfishService::Pin() const {
  const std::string pin = ReadText(folder_ + "/" + certificate_ + ".pin");
  return pin.substr(0, pin.find('\n'));
}

Redfish::HttpAnswer RedfishService::Send(const char* method, const std::string& path,
                                         const json& body, std::vector<std::string> headers) const {
  return Redfish::HttpClient(Endpoint())
      .Exchange({method, path, body.is_null() ? "" : body.dump(), std::move(headers)});
}

void RedfishService::Order(const json& order) const {
  const Redfish::HttpAnswer answer = Send("POST", "/test", {{"orders", json::array({order})}});
  if (!answer.IsSuccess()) throw std::runtime_error(order.dump() + ": " + answer.body);
}

void RedfishService::Knobs(const std::vector<std::string>& knobs) {
  for (const std::string& knob : knobs) {
    const std::size_t end = std::min(knob.find('='), knob.size());
    Order({"knob", knob.substr(0, end), knob.substr(std::min(end + 1, knob.size()))});
  }
}

void RedfishService::Renew() {
  Order({"renew"});
  Order({"forget-requests"});
}

json RedfishService::State(const char* name) const {
  return json::parse(Send("GET", "/test").body).at(name);
}

json RedfishService::Attributes(const char* path) const {
  return State("tree").at(path).at("Attributes");
}

std::vector<std::string> RedfishService::BootOrder() const {
  return State("tree").at(kSystem).at("Boot").at("BootOrder");
}

std::vector<RedfishRequest> RedfishService::TakeRequests() {
  std::vector<RedfishRequest> requests;
  for (const json& entry : State("requests")) {
    requests.push_back({entry.at("line"), entry.at("authentication"), entry.at("ifMatch"),
                        entry.at("status"), entry.at("body")});
  }
  Order({"forget-requests"});
  return requests;
}

std::vector<std::string> RedfishService::TakeLines() {
  std::vector<std::string> lines;
  for (RedfishRequest& request : TakeRequests()) lines.push_back(std::move(request.line));
  return lines;
}

void RedfishTest::SetUp() {
  if (!RedfishService::CanRun()) GTEST_SKIP() << "the Redfish service needs python3 and openssl";
  static RedfishService shared;
  service = &shared;
  service->Renew();
}

void RedfishTest::GiveTheSystemSettings(const std::string& settings) const {
  service->Edit(settings, {{"Boot", {{"BootOrder", service->BootOrder()}}}});
  service->Edit(
      RedfishService::kSystem,
      {{"@Redfish.Settings",
        {{"SettingsObject", {{"@odata.id", settings}}}, {"SupportedApplyTimes", {"OnReset"}}}}});
}

}  // namespace Test
