#include "providers/redfish/Session.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"

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

/// Raises what an answer stands for that says nothing of the resource; `what` was refused.
[[noreturn]] void RaiseUnusable(long status, const std::string& what, const std::string& address) {
  if (status == 401 || status == 403) {
    ErrorManager::Raise(ErrorManager::NotPermitted, address,
                        "the server refuses " + what + ", status " + std::to_string(status));
  }
  if (status >= 300 && status < 400) {
    ErrorManager::Raise(ErrorManager::BadAnswer, address,
                        "it redirects to another address, which is not followed");
  }
  ErrorManager::Raise(ErrorManager::BadAnswer, address, "the status is " + std::to_string(status));
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

void Session::LogIn(const std::string& sessions) {
  const std::string& user = credentials_.user;
  if (user.empty()) return;
  sessions_ = sessions;
  if (!sessions.empty()) {
    HttpRequest request{"POST", sessions, LogInBody(credentials_), {}};
    const Common::WipeOnExit wipe(request.body);
    HttpAnswer answer = client_.Exchange(request);
    if (answer.IsSuccess() && !answer.token.empty()) {
      token_ = answer.token;
      location_ = PathOfLink(answer.location);
      return;
    }
    const bool hasNone = std::ranges::find(kNoSessions, answer.status) != kNoSessions.end();
    if (!answer.IsSuccess() && !hasNone) {
      // The right answer to a wrong password is 401, but 400 is seen as well.
      if (answer.status == 400) answer.status = 401;
      RaiseUnusable(answer.status, "the user \"" + user + "\" or the password",
                    ServerName() + sessions);
    }
  }
  client_.UseBasic(user, credentials_.password);
}

HttpAnswer Session::Send(HttpRequest request) {
  if (!token_.empty()) request.headers.push_back("X-Auth-Token: " + token_);
  return client_.Exchange(request);
}

HttpAnswer Session::Exchange(const HttpRequest& request) {
  HttpAnswer answer = Send(request);
  if (answer.status == 401 && !token_.empty()) {  // it has ended, perhaps while a person thought
    token_.clear();
    LogIn(sessions_);
    answer = Send(request);
  }
  const bool isUsable = answer.IsSuccess() || (answer.status >= 400 && answer.status < 500 &&
                                               answer.status != 401 && answer.status != 403);
  if (!isUsable) RaiseUnusable(answer.status, "access", ServerName() + request.path);
  return answer;
}

void Session::LogOut() noexcept {
  if (token_.empty() || location_.empty()) return;
  try {
    client_.Hurry(kLogOutLimit);
    static_cast<void>(Send({"DELETE", location_, "", {}}));
  } catch (const std::exception&) {  // it ends by itself after a while
    location_.clear();
  }
}

Session::~Session() {
  LogOut();
  Common::Wipe(credentials_.password);
}

}  // namespace Redfish
