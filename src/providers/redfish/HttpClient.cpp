#include "providers/redfish/HttpClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/HttpTransfer.h"

namespace Redfish {
namespace {

/// An answer that takes this long makes a handful of requests side by side worth the handshakes of
/// their connections.
constexpr std::chrono::milliseconds kLongWait{20};
/// One answer says little: services keep the root ready, and take their time to check a password.
constexpr int kFewestWaits = 2;

void StartLibrary() {
  struct Library {
    Library() { curl_global_init(CURL_GLOBAL_DEFAULT); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { curl_global_cleanup(); }
  };
  static const Library library;
}

/// Raises what is no failure of one request.
void Check(CURLMcode code) {
  if (code != CURLM_OK) {
    ErrorManager::Raise(ErrorManager::Unreachable, curl_multi_strerror(code));
  }
}

}  // namespace

/// The connections, and what those to come can take over from the earlier ones.
struct HttpClient::Connections {
  std::unique_ptr<CURLSH, decltype(&curl_share_cleanup)> share{curl_share_init(),
                                                               &curl_share_cleanup};
  std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> runner{curl_multi_init(),
                                                               &curl_multi_cleanup};

  Connections() {
    if (share == nullptr || runner == nullptr) {
      ErrorManager::Raise(ErrorManager::Unreachable, "no HTTP client");
    }
    curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  }

  struct Ended {
    CURL* curl;
    CURLcode code;
  };
  /// Drives the requests under way until one has ended.
  [[nodiscard]] Ended AwaitOne() const {
    constexpr int kTurn = 200;  // milliseconds
    for (;;) {
      int running = 0;
      Check(curl_multi_perform(runner.get(), &running));
      int left = 0;
      if (const CURLMsg* message = curl_multi_info_read(runner.get(), &left)) {
        return {message->easy_handle, message->data.result};
      }
      Check(curl_multi_poll(runner.get(), nullptr, 0, kTurn, nullptr));
    }
  }
};

HttpClient::HttpClient(Endpoint endpoint)
    : endpoint_(std::move(endpoint)),
      name_(endpoint_.port == 443 ? endpoint_.host
                                  : endpoint_.host + ":" + std::to_string(endpoint_.port)) {
  StartLibrary();
  connections_ = std::make_unique<Connections>();
  single_ = std::make_unique<HttpTransfer>(endpoint_, connections_->share.get());
}

HttpClient::~HttpClient() = default;

void HttpClient::UseBasic(const std::string& user, const std::string& password) {
  single_->UseBasic(user, password);
}

void HttpClient::Hurry(std::chrono::seconds limit) {
  const bool isHurried = endpoint_.isHurried && endpoint_.isHurried();
  const std::chrono::milliseconds shortest(500);
  single_->Limit(isHurried ? shortest : std::chrono::milliseconds(limit));
}

HttpAnswer HttpClient::Exchange(const HttpRequest& request) {
  single_->Begin(connections_->runner.get(), request);
  const CURLcode code = connections_->AwaitOne().code;
  single_->Leave();
  HttpAnswer answer = single_->Take(code, name_);
  peer_ = single_->PeerAddress();
  waited_ += single_->Waited();
  ++waits_;
  return answer;
}

void HttpClient::Exchange(const HttpFlow& flow) {
  struct Lane {
    std::unique_ptr<HttpTransfer> transfer;
    std::string path;  ///< of what is under way; empty for nothing
  };
  std::array<Lane, kMostAtOnce> lanes;
  for (;;) {
    for (Lane& lane : lanes) {
      if (!lane.path.empty()) continue;
      lane.path = flow.next();
      if (lane.path.empty()) break;
      if (lane.transfer == nullptr) lane.transfer = single_->Another();
      lane.transfer->Begin(connections_->runner.get(), {"GET", lane.path, "", flow.headers});
    }
    if (std::ranges::all_of(lanes, &std::string::empty, &Lane::path)) return;
    const Connections::Ended ended = connections_->AwaitOne();
    Lane& lane = *std::ranges::find_if(
        lanes, [&](const Lane& one) { return one.transfer && one.transfer->Is(ended.curl); });
    lane.transfer->Leave();
    HttpOutcome outcome;
    try {
      outcome.answer = lane.transfer->Take(ended.code, name_);
    } catch (const ResultStatus&) {
      outcome.failure = std::current_exception();
    }
    flow.take(std::exchange(lane.path, ""), std::move(outcome));
  }
}

bool HttpClient::IsSlow() const {
  return waits_ >= kFewestWaits && waited_ / waits_ >= kLongWait;
}

}  // namespace Redfish
