#include "providers/redfish/Session.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "providers/redfish/ExtendedInfo.h"
#include "providers/redfish/Json.h"

namespace Redfish {
namespace {

constexpr std::chrono::seconds kLogOutLimit{5};

/// The answers of a service that has a collection of sessions and takes none.
constexpr auto kNoSessions = std::to_array<long>({404, 405, 501});

/// The body of a log-in; the caller wipes it. The text of the password is the only other copy.
std::string LogInBody(const Credentials& credentials) {
  nlohmann::json body = {{"UserName", credentials.user}, {"Password", credentials.password}};
  const Common::WipeOnExit wipe(body["Password"].get_ref<std::string&>());
  return body.dump();
}

/// What the service says of a refusal: its words behind `text`, where it has any.
std::string WithWords(const std::string& text, const HttpAnswer& answer) {
  const std::string words = FirstFault(answer.body);
  return words.empty() ? text : text + ": " + words;
}

/// Raises what an answer stands for that says nothing of the resource; `what` was refused.
[[noreturn]] void RaiseUnusable(const HttpAnswer& answer, const std::string& what,
                                const std::string& address) {
  if (answer.status == 401 || answer.status == 403) {
    const std::string status = std::to_string(answer.status);
    ErrorManager::Raise(ErrorManager::NotPermitted, address,
                        WithWords("the server refuses " + what + ", status " + status, answer));
  }
  if (answer.status >= 300 && answer.status < 400) {
    ErrorManager::Raise(ErrorManager::BadAnswer, address,
                        "it redirects to another address, which is not followed");
  }
  ErrorManager::Raise(ErrorManager::BadAnswer, address,
                      WithWords("the status is " + std::to_string(answer.status), answer));
}

bool IsBusy(const HttpAnswer& answer) {
  return (answer.status == 503 || answer.status == 429) && !answer.retryAfter.empty();
}

}  // namespace

std::string PathOfLink(const std::string& link) {
  constexpr const char* kScheme = "https://";
  std::string path = link.substr(0, link.find('#'));
  if (path.starts_with(kScheme)) {
    const std::size_t slash = path.find('/', std::char_traits<char>::length(kScheme));
    path = slash == std::string::npos ? "" : path.substr(slash);
  }
  const bool isPath = path.starts_with('/') && !path.starts_with("//") &&
                      std::ranges::none_of(path, [](char c) { return c <= ' ' || c == '\x7f'; });
  return isPath ? path : "";
}

Session::Session(const Endpoint& endpoint, Credentials credentials)
    : client_(endpoint), credentials_(std::move(credentials)) {}

bool WaitToAskAgain(const Session& session, const std::string& retryAfter,
                    std::chrono::steady_clock::time_point end) {
  int seconds = 1;
  std::from_chars(retryAfter.data(), retryAfter.data() + retryAfter.size(), seconds);
  const auto now = std::chrono::steady_clock::now();
  if (now >= end) return false;
  const auto until = std::min(now + std::chrono::seconds(seconds), end);
  constexpr std::chrono::milliseconds kStep{200};
  for (auto left = until - now; left.count() > 0; left = until - std::chrono::steady_clock::now()) {
    session.Checkpoint();
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, kStep));
  }
  return true;
}

void Session::LogIn(const std::string& sessions) {
  sessions_ = sessions;
  if (credentials_.user.empty()) return;
  if (credentials_.way == Authentication::Basic) return UseBasic();
  BeginSession();
}

void Session::BeginSession() {
  const bool mayUseBasic = credentials_.way == Authentication::Auto;
  if (sessions_.empty()) {
    if (mayUseBasic) return UseBasic();
    ErrorManager::Raise(ErrorManager::NotPermitted, ServerName(), "it offers no sessions");
  }
  HttpRequest request{"POST", sessions_, LogInBody(credentials_), {}};
  const Common::WipeOnExit wipe(request.body);
  HttpAnswer answer = Patiently(request);
  if (answer.IsSuccess() && !answer.token.empty()) {
    token_ = answer.token;
    location_ = PathOfLink(answer.location);
    if (location_.empty()) {
      const nlohmann::json body = nlohmann::json::parse(answer.body, nullptr, false);
      location_ = PathOfLink(TextAt(body, {"@odata.id"}));
    }
    return;
  }
  const bool hasNone = std::ranges::find(kNoSessions, answer.status) != kNoSessions.end();
  if (mayUseBasic && (answer.IsSuccess() || hasNone)) return UseBasic();
  if (mayUseBasic && answer.status == 401) {
    // Some services refuse every session and take the same password with each request.
    UseBasic();
    if (client_.Exchange({"GET", sessions_, "", {}}).status != 401) return;
  }
  // The right answer to a wrong password is 401, but 400 is seen as well.
  if (answer.status == 400) answer.status = 401;
  RaiseUnusable(answer, "the user \"" + credentials_.user + "\" or the password",
                ServerName() + sessions_);
}

void Session::UseBasic() {
  client_.UseBasic(credentials_.user, credentials_.password);
}

HttpAnswer Session::Send(HttpRequest request) {
  if (!token_.empty()) request.headers.push_back("X-Auth-Token: " + token_);
  return Patiently(request);
}

/// Sends a request again while the service says that it is busy, and for how long.
HttpAnswer Session::Patiently(const HttpRequest& request) {
  const auto end = std::chrono::steady_clock::now() + Limits().total;
  for (;;) {
    HttpAnswer answer = client_.Exchange(request);
    if (!IsBusy(answer) || !WaitToAskAgain(*this, answer.retryAfter, end)) return answer;
  }
}

HttpAnswer Session::Exchange(const HttpRequest& request) {
  HttpAnswer answer = Send(request);
  if (answer.status == 401 && !token_.empty()) {  // it has ended, perhaps while a person thought
    const std::string earlier = std::exchange(location_, "");
    token_.clear();
    BeginSession();
    answer = Send(request);
    // Or it has not, and what is asked for is not for this user.
    if (answer.status == 401) EndSession(earlier);
  }
  CheckUsable(answer, request.path);
  return answer;
}

void Session::CheckUsable(const HttpAnswer& answer, const std::string& path) const {
  const bool isUsable = answer.IsSuccess() || (answer.status >= 400 && answer.status < 500 &&
                                               answer.status != 401 && answer.status != 403);
  if (!isUsable) RaiseUnusable(answer, "access", ServerName() + path);
}

std::exception_ptr Session::WhyUnusable(const HttpAnswer& answer, const std::string& path) const {
  try {
    CheckUsable(answer, path);
  } catch (const ResultStatus&) {
    return std::current_exception();
  }
  return nullptr;
}

void Session::Exchange(HttpFlow flow) {
  bool isOver = false;
  if (!token_.empty()) flow.headers.push_back("X-Auth-Token: " + token_);
  const auto next = [&] {
    client_.Checkpoint();
    return isOver ? std::string() : flow.next();
  };
  const auto take = [&](const std::string& path, HttpOutcome outcome) {
    const bool isAnswer = outcome.failure == nullptr;
    const bool isMended = isAnswer && (outcome.answer.status == 401 || IsBusy(outcome.answer));
    isOver = isOver || isMended || !isAnswer;
    if (isMended) return;  // by asking again
    if (isAnswer) outcome.failure = WhyUnusable(outcome.answer, path);
    flow.take(path, std::move(outcome));
  };
  client_.Exchange(HttpFlow{flow.headers, next, take});
}

void Session::EndSession(const std::string& location) noexcept {
  if (token_.empty() || location.empty()) return;
  try {
    static_cast<void>(client_.Exchange({"DELETE", location, "", {"X-Auth-Token: " + token_}}));
  } catch (const std::exception&) {  // it ends by itself after a while
    token_.clear();
  }
}

Session::~Session() {
  try {
    client_.Hurry(kLogOutLimit);
  } catch (const std::exception&) {
    location_.clear();
  }
  EndSession(location_);
  Common::Wipe(credentials_.password);
}

}  // namespace Redfish
