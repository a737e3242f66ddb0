#include "RedfishService.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace Test {
namespace {

using nlohmann::json;

const std::string kFolder = SAVERESTORE_SOURCE_DIR "/tests/providers/redfish/";
constexpr int kStartMilliseconds = 30'000;
constexpr long kReplySeconds = 30;

/// The first line that comes out of `descriptor` in time.
std::string FirstLine(int descriptor) {
  std::string line;
  pollfd waited = {descriptor, POLLIN, 0};
  char next = 0;
  while (poll(&waited, 1, kStartMilliseconds) == 1 && read(descriptor, &next, 1) == 1) {
    if (next == '\n') return line;
    line += next;
  }
  throw std::runtime_error("the Redfish service did not start: '" + line + "'");
}

/// Runs a shell command, which is made of this file's own texts.
bool Succeeds(const std::string& command) {
  return std::system(command.c_str()) == 0;  // NOLINT(cert-env33-c)
}

std::array<int, 2> Pipe() {
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return ends;
}

std::size_t AppendBody(const char* data, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

std::size_t KeepHeader(const char* data, std::size_t size, std::size_t count, void* headers) {
  const std::string line(data, size * count);
  const std::size_t colon = line.find(": ");
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
    (*static_cast<json*>(headers))[name] =
        line.substr(colon + 2, line.find_last_not_of("\r\n") - colon - 1);
  }
  return size * count;
}

using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

HeaderList HeadersOf(const std::vector<std::string>& lines) {
  curl_slist* list = nullptr;
  for (const std::string& line : lines) list = curl_slist_append(list, line.c_str());
  return {list, &curl_slist_free_all};
}

}  // namespace

std::vector<std::string> RedfishReply::MessageKeys() const {
  std::vector<std::string> keys;
  for (const json& message : body.at("error").at("@Message.ExtendedInfo")) {
    const std::string id = message.at("MessageId").get<std::string>();
    keys.push_back(id.substr(id.rfind('.') + 1));
  }
  return keys;
}

RedfishService::RedfishService(std::string folder, const std::vector<std::string>& knobs,
                               Certificate certificate)
    : folder_(std::move(folder)),
      certificate_(certificate == Certificate::SelfSigned ? "self" : "server") {
  const std::string make = "'" + kFolder + "make-certs' '" + folder_ + "'";
  if (!Succeeds(make)) throw std::runtime_error("make-certs failed");
  std::vector<std::string> arguments = {"python3",
                                        "-B",
                                        kFolder + "service.py",
                                        "--end-with-stdin",
                                        "--cert",
                                        folder_ + "/" + certificate_ + ".pem",
                                        "--key",
                                        folder_ + "/" + certificate_ + ".key",
                                        "--user",
                                        kUser,
                                        "--password",
                                        kPassword};
  for (const std::string& knob : knobs) arguments.push_back("--knob=" + knob);
  try {
    Start(arguments);
  } catch (...) {
    End();
    throw;
  }
}

RedfishService::~RedfishService() {
  End();
}

void RedfishService::Start(const std::vector<std::string>& arguments) {
  const std::array<int, 2> input = Pipe();
  const std::array<int, 2> output = Pipe();
  input_ = input[1];
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  const int failure =
      posix_spawnp(&process_, "python3", &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  if (failure != 0) process_ = -1;
  std::string line;
  try {
    line = FirstLine(output[0]);
  } catch (...) {
    close(output[0]);
    throw;
  }
  close(output[0]);
  port_ = std::stoi(line.substr(line.find(' ') + 1));
}

void RedfishService::End() noexcept {
  if (input_ >= 0) close(input_);
  if (process_ <= 0) return;
  kill(process_, SIGTERM);
  waitpid(process_, nullptr, 0);
}

std::string RedfishService::MissingPrograms() {
  std::string missing;
  for (const std::string program : {"python3", "openssl"}) {
    if (!Succeeds("command -v " + program + " >/dev/null")) {
      missing += (missing.empty() ? "" : ", ") + program;
    }
  }
  return missing;
}

std::string RedfishService::Pin() const {
  const std::string pin = ReadText(folder_ + "/" + certificate_ + ".pin");
  return pin.substr(0, pin.find('\n'));
}

RedfishReply RedfishService::Send(const std::string& method, const std::string& path,
                                  const json& body, const std::vector<std::string>& headers) const {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                 &curl_easy_cleanup);
  const std::string url = "https://" + Host() + path;
  const std::string authority =
      certificate_ == "self" ? folder_ + "/" + certificate_ + ".pem" : CaCert();
  const std::string content = body.is_null() ? "" : body.dump();
  std::vector<std::string> lines = headers;
  if (!body.is_null()) lines.emplace_back("Content-Type: application/json");
  const HeaderList list = HeadersOf(lines);
  RedfishReply reply = {};
  std::string text;
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_CAINFO, authority.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, kReplySeconds);
  curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
  if (method != "GET") curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, content.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, list.get());
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &AppendBody);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &text);
  curl_easy_setopt(curl.get(), CURLOPT_HEADERFUNCTION, &KeepHeader);
  curl_easy_setopt(curl.get(), CURLOPT_HEADERDATA, &reply.header);
  const CURLcode result = curl_easy_perform(curl.get());
  if (result != CURLE_OK) throw std::runtime_error(path + ": " + curl_easy_strerror(result));
  long status = 0;
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  reply.status = static_cast<int>(status);
  if (!text.empty()) reply.body = json::parse(text);
  return reply;
}

void RedfishService::Post(const std::string& path, const json& body) const {
  const RedfishReply reply = Send("POST", path, body);
  if (reply.status != 204) throw std::runtime_error(path + ": " + reply.body.dump());
}

void RedfishService::Knob(const std::string& name, const std::string& value) {
  Post("/test/knob", {{"name", name}, {"value", value}});
}

void RedfishService::Unset(const std::string& name) {
  Post("/test/knob", {{"name", name}, {"value", false}});
}

void RedfishService::Reset() {
  Post("/test/reset");
}
void RedfishService::ResetCounts() {
  Post("/test/reset-counts");
}

json RedfishService::State(const char* name) const {
  return Send("GET", "/test/state").body.at(name);
}

json RedfishService::Attribute(const std::string& name) const {
  return Attributes().at(name);
}
json RedfishService::Attributes() const {
  return State("attributes");
}
json RedfishService::Pending() const {
  return State("pending");
}
int RedfishService::OpenSessions() const {
  return State("sessions").get<int>();
}
int RedfishService::Connections() const {
  return State("connections").get<int>();
}

std::vector<std::string> RedfishService::BootOrder() const {
  return State("bootOrder").get<std::vector<std::string>>();
}

std::vector<RedfishRequest> RedfishService::Requests() const {
  std::vector<RedfishRequest> requests;
  for (const json& entry : Send("GET", "/test/requests").body) {
    requests.push_back({entry.at("method"), entry.at("path"), entry.at("query"),
                        entry.at("authentication"), entry.at("ifMatch"), entry.value("status", 0),
                        entry.value("attributes", std::vector<std::string>())});
  }
  return requests;
}

void RedfishTest::SetUp() {
  const std::string missing = RedfishService::MissingPrograms();
  if (!missing.empty()) GTEST_SKIP() << "the Redfish service needs " << missing;
  service = std::make_unique<RedfishService>(PathOf(""));
}

void RedfishTest::Restart(const std::vector<std::string>& knobs,
                          RedfishService::Certificate certificate) {
  service.reset();
  service = std::make_unique<RedfishService>(PathOf(""), knobs, certificate);
}

}  // namespace Test
