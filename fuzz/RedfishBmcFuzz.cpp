// Hostile resources of a BMC over Redfish: read, and written to. An input is what differs from the
// resources of the tests' service, a line each: the end of a resource's path, a blank, and the
// members that change or, where that is no JSON object, the whole answer. "!STATUS BODY" is the
// answer to the next change, and "~" says that the service is slow.
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "Check.h"
#include "providers/redfish/RedfishProvider.h"

namespace {

using nlohmann::json;
using Redfish::HttpAnswer;
using Redfish::HttpRequest;

/// The resources that the tests have of a BMC.
std::map<std::string, json> Base() {
  const std::filesystem::path folder = RESOURCES;
  std::map<std::string, json> tree;
  for (const char* name : {"root.json", "systems.json", "managers.json", "bmc/accounts.json",
                           "bmc/events.json", "bmc/manager.json"}) {
    std::ifstream file(folder / name);
    const json resources = json::parse(file);
    for (const auto& [path, content] : resources.items()) tree[path].merge_patch(content);
  }
  return tree;
}

class Resources {
 public:
  explicit Resources(const std::string& input) {
    static const std::map<std::string, json> base = Base();
    tree_ = base;
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) Take(line);
  }

  HttpAnswer Answer(const HttpRequest& request) {
    std::string path = request.path.substr(0, request.path.find('?'));
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    const std::string method = request.method;
    if (method == "POST" && path.ends_with("/Sessions")) {
      return {201, "{}", "", path + "/1", "token", "", ""};
    }
    if (method != "GET" && !answers_.empty()) {
      HttpAnswer answer = answers_.front();
      answers_.pop_front();
      return answer;
    }
    if (method == "POST") return Make(path, Body(request));
    const auto resource = tree_.find(path);
    if (resource == tree_.end()) return {404, "", "", "", "", "", ""};
    if (method == "PATCH") resource->second.merge_patch(Body(request));
    if (method == "DELETE") tree_.erase(resource);
    if (method != "GET") return {204, "", "", "", "", "", ""};
    const auto raw = raw_.find(path);
    if (raw != raw_.end()) return {200, raw->second, "", "", "", "", ""};
    json content = resource->second;
    if (request.path != path) Expand(content);
    return {200,     content.dump(-1, ' ', false, json::error_handler_t::replace),
            "\"1\"", "",
            "",      "GET, PATCH, POST, DELETE",
            ""};
  }

  [[nodiscard]] bool IsSlow() const { return isSlow_; }

 private:
  static json Body(const HttpRequest& request) {
    json body = json::parse(request.body, nullptr, false);
    Fuzz::Require(body.is_object(), "a change is an object: " + request.body);
    return body;
  }

  void Take(const std::string& line) {
    if (line.starts_with('~')) isSlow_ = true;
    const std::string first = line.substr(0, line.find(' '));
    const std::string rest = line.substr(std::min(first.size() + 1, line.size()));
    if (first.starts_with('!')) {
      answers_.push_back(
          {std::strtol(first.c_str() + 1, nullptr, 10), rest, "", rest, "", "", "0"});
      return;
    }
    auto place = std::find_if(tree_.begin(), tree_.end(),
                              [&](const auto& one) { return one.first.ends_with(first); });
    if (place == tree_.end()) {
      place = std::next(tree_.begin(), static_cast<long>(first.size() % tree_.size()));
    }
    const json patch = json::parse(rest, nullptr, false);
    if (patch.is_object()) {
      place->second.merge_patch(patch);
    } else {
      raw_[place->first] = rest;
    }
  }

  HttpAnswer Make(const std::string& collection, json content) {
    const std::string path = collection + "/new" + std::to_string(++made_);
    tree_[path] = std::move(content);
    json& members = tree_[collection]["Members"];
    if (members.is_null() || members.is_array()) members.push_back({{"@odata.id", path}});
    return {201, "", "", path, "", "", ""};
  }

  void Expand(json& collection) const {
    if (!collection.contains("Members") || !collection["Members"].is_array()) return;
    for (json& member : collection["Members"]) {
      const auto known = tree_.find(Redfish::TextAt(member, {"@odata.id"}));
      if (known == tree_.end() || !known->second.is_object()) continue;
      const std::string path = known->first;
      member = known->second;
      member["@odata.id"] = path;
    }
  }

  std::map<std::string, json> tree_;
  std::map<std::string, std::string> raw_;
  std::deque<HttpAnswer> answers_;
  int made_ = 0;
  bool isSlow_ = false;
};

Resources* theResources = nullptr;

}  // namespace

namespace Redfish {

// A client that asks them.
class HttpTransfer {};
struct HttpClient::Connections {};
HttpClient::HttpClient(Endpoint endpoint)
    : endpoint_(std::move(endpoint)), name_("bmc"), peer_("192.0.2.10") {}
HttpClient::~HttpClient() = default;
void HttpClient::UseBasic(const std::string& /*user*/, const std::string& /*password*/) {}
void HttpClient::Hurry(std::chrono::seconds /*limit*/) {}
bool HttpClient::IsSlow() const {
  return waits_ > 1 && theResources->IsSlow();
}
HttpAnswer HttpClient::Exchange(const HttpRequest& request) {
  ++waits_;
  return theResources->Answer(request);
}
void HttpClient::Exchange(const HttpFlow& flow) {
  for (std::string path = flow.next(); !path.empty(); path = flow.next()) {
    flow.take(path, {theResources->Answer({"GET", path, "", {}}), nullptr});
  }
}

}  // namespace Redfish

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Resources resources(std::string(reinterpret_cast<const char*>(data), size));
  theResources = &resources;
  Redfish::Endpoint endpoint;
  endpoint.limits = {std::chrono::seconds(0), std::chrono::seconds(0), std::chrono::seconds(0)};
  Fuzz::Try([&] {
    const auto server = std::make_shared<Redfish::RedfishProvider>(
        endpoint, Redfish::Credentials{"admin", "secret"}, "");
    server->Expect({"BIOS", "BMC"});
    Fuzz::SaveAll(server);
    Fuzz::WriteBack(*server);
  });
  return 0;
}
