#include "providers/redfish/HttpTransfer.h"

#include <strings.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "common/ErrorManager.h"

namespace Redfish {
namespace {

/// What the library's failures mean here; all others are of the connection: Unreachable.
struct FailureRow {
  CURLcode code;
  int error;
  const char* text;  ///< null: the library's own
};
constexpr auto kFailures = std::to_array<FailureRow>({
    {CURLE_PEER_FAILED_VERIFICATION, ErrorManager::NotTrusted, nullptr},
    {CURLE_SSL_PINNEDPUBKEYNOTMATCH, ErrorManager::NotTrusted,
     "its public key is not the one that --pinned-key names"},
    {CURLE_SSL_CACERT_BADFILE, ErrorManager::NotTrusted,
     "the file of --cacert cannot be read as certificates"},
    {CURLE_SSL_ISSUER_ERROR, ErrorManager::NotTrusted, nullptr},
    {CURLE_WRITE_ERROR, ErrorManager::BadAnswer, "it is larger than 64 MiB"},
    {CURLE_FILESIZE_EXCEEDED, ErrorManager::BadAnswer, "it is larger than 64 MiB"},
    {CURLE_BAD_CONTENT_ENCODING, ErrorManager::BadAnswer, "its compression is damaged"},
    {CURLE_WEIRD_SERVER_REPLY, ErrorManager::BadAnswer, "it is no HTTP"},
    {CURLE_UNSUPPORTED_PROTOCOL, ErrorManager::BadAnswer, "it is no HTTP"},
    {CURLE_HTTP2, ErrorManager::BadAnswer, nullptr},
    {CURLE_ABORTED_BY_CALLBACK, ErrorManager::Unreachable, "the request was given up"},
    {CURLE_OPERATION_TIMEDOUT, ErrorManager::Unreachable, "it took too long to answer"},
    {CURLE_GOT_NOTHING, ErrorManager::Unreachable, "it closed the connection without an answer"},
    {CURLE_PARTIAL_FILE, ErrorManager::Unreachable,
     "it closed the connection in the middle of an answer"},
});

std::size_t TakeBody(const char* bytes, std::size_t size, std::size_t count, void* answer) {
  std::string& body = static_cast<HttpAnswer*>(answer)->body;
  if (size * count > HttpClient::kLargestBody - body.size()) return 0;
  body.append(bytes, size * count);
  return size * count;
}

/// The headers that matter, and where each goes.
struct HeaderRow {
  std::string_view name;
  std::string HttpAnswer::*member;
};
constexpr auto kHeaders = std::to_array<HeaderRow>({
    {"allow", &HttpAnswer::allow},
    {"etag", &HttpAnswer::etag},
    {"location", &HttpAnswer::location},
    {"retry-after", &HttpAnswer::retryAfter},
    {"x-auth-token", &HttpAnswer::token},
});

std::size_t TakeHeader(const char* bytes, std::size_t size, std::size_t count, void* answer) {
  const std::string_view line(bytes, size * count);
  const std::size_t colon = std::min(line.find(':'), line.size());
  for (const HeaderRow& row : kHeaders) {
    if (colon != row.name.size() || strncasecmp(bytes, row.name.data(), colon) != 0) continue;
    std::string_view value = line.substr(std::min(colon + 1, line.size()));
    value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
    static_cast<HttpAnswer*>(answer)->*row.member =
        value.substr(0, value.find_last_not_of(" \t\r\n") + 1);
  }
  return size * count;
}

template <typename Value>
void Set(CURL* curl, CURLoption option, Value value) {
  if (const CURLcode code = curl_easy_setopt(curl, option, value); code != CURLE_OK) {
    ErrorManager::Raise(ErrorManager::Unreachable, curl_easy_strerror(code));
  }
}

/// Gives a request up as soon as nobody waits for its answer any more.
int LookForHurry(void* endpoint, curl_off_t /*toGet*/, curl_off_t /*got*/, curl_off_t /*toPut*/,
                 curl_off_t /*put*/) {
  return static_cast<const Endpoint*>(endpoint)->isHurried() ? 1 : 0;
}

long Milliseconds(std::chrono::milliseconds time) {
  return static_cast<long>(time.count());
}

}  // namespace

HttpTransfer::HttpTransfer(Endpoint& endpoint, CURLSH* share)
    : HttpTransfer(endpoint, share, Curl(curl_easy_init(), &curl_easy_cleanup)) {
  Configure();
}

HttpTransfer::HttpTransfer(Endpoint& endpoint, CURLSH* share, Curl curl)
    : endpoint_(endpoint), share_(share), curl_(std::move(curl)) {
  if (curl_ == nullptr) ErrorManager::Raise(ErrorManager::Unreachable, "no HTTP client");
  Set(curl_.get(), CURLOPT_SHARE, share_);
  Set(curl_.get(), CURLOPT_ERRORBUFFER, error_.data());
  Set(curl_.get(), CURLOPT_WRITEDATA, &answer_);
  Set(curl_.get(), CURLOPT_HEADERDATA, &answer_);
}

std::unique_ptr<HttpTransfer> HttpTransfer::Another() const {
  Curl copy(curl_easy_duphandle(curl_.get()), &curl_easy_cleanup);
  return std::unique_ptr<HttpTransfer>(new HttpTransfer(endpoint_, share_, std::move(copy)));
}

void HttpTransfer::Configure() const {
  CURL* curl = curl_.get();
  Set(curl, CURLOPT_PROTOCOLS_STR, "https");
  Set(curl, CURLOPT_FOLLOWLOCATION, 0L);
  Set(curl, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  Set(curl, CURLOPT_PROXY, "");  // a BMC is in the management network, not behind a web proxy
  Set(curl, CURLOPT_ACCEPT_ENCODING, "gzip");
  Set(curl, CURLOPT_USERAGENT, "saverestore");
  Set(curl, CURLOPT_CONNECTTIMEOUT_MS, Milliseconds(endpoint_.limits.connect));
  Set(curl, CURLOPT_TIMEOUT_MS, Milliseconds(endpoint_.limits.total));
  Set(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
  Set(curl, CURLOPT_LOW_SPEED_TIME, static_cast<long>(endpoint_.limits.stall.count()));
  Set(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(HttpClient::kLargestBody));
  Set(curl, CURLOPT_WRITEFUNCTION, &TakeBody);
  Set(curl, CURLOPT_HEADERFUNCTION, &TakeHeader);
  if (endpoint_.isHurried) {
    Set(curl, CURLOPT_XFERINFOFUNCTION, &LookForHurry);
    Set(curl, CURLOPT_XFERINFODATA, &endpoint_);
    Set(curl, CURLOPT_NOPROGRESS, 0L);
  }
  const Trust& trust = endpoint_.trust;
  // A pinned key is a stronger statement than a certificate of an authority: it stands for it.
  const bool verifies = !trust.insecure && (trust.pinnedKey.empty() || !trust.caFile.empty());
  Set(curl, CURLOPT_SSL_VERIFYPEER, verifies ? 1L : 0L);
  Set(curl, CURLOPT_SSL_VERIFYHOST, verifies ? 2L : 0L);
  Set(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!trust.caFile.empty()) {
    Set(curl, CURLOPT_CAINFO, trust.caFile.c_str());
    Set(curl, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  if (!trust.pinnedKey.empty()) Set(curl, CURLOPT_PINNEDPUBLICKEY, trust.pinnedKey.c_str());
}

void HttpTransfer::UseBasic(const std::string& user, const std::string& password) {
  Set(curl_.get(), CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
  Set(curl_.get(), CURLOPT_USERNAME, user.c_str());
  Set(curl_.get(), CURLOPT_PASSWORD, password.c_str());
}

void HttpTransfer::Limit(std::chrono::milliseconds limit) {
  Set(curl_.get(), CURLOPT_TIMEOUT_MS, Milliseconds(limit));
  Set(curl_.get(), CURLOPT_NOPROGRESS, 1L);
}

void HttpTransfer::Prepare(const HttpRequest& request) {
  CURL* curl = curl_.get();
  url_ = "https://" + endpoint_.host + ":" + std::to_string(endpoint_.port) + request.path;
  Set(curl, CURLOPT_URL, url_.c_str());
  Set(curl, CURLOPT_CUSTOMREQUEST, request.method);
  headers_.reset();
  const auto add = [&](const char* line) {
    headers_.reset(curl_slist_append(headers_.release(), line));
  };
  add("Accept: application/json");
  add("OData-Version: 4.0");
  add("Expect:");
  for (const std::string& header : request.headers) add(header.c_str());
  if (request.body.empty()) {
    Set(curl, CURLOPT_HTTPGET, 1L);
    Set(curl, CURLOPT_CUSTOMREQUEST, request.method);
  } else {
    add("Content-Type: application/json");
    Set(curl, CURLOPT_POST, 1L);
    Set(curl, CURLOPT_POSTFIELDS, request.body.c_str());
    Set(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    Set(curl, CURLOPT_CUSTOMREQUEST, request.method);
  }
  Set(curl, CURLOPT_HTTPHEADER, headers_.get());
}

void HttpTransfer::Begin(CURLM* runner, const HttpRequest& request) {
  Leave();  // of a runner that failed
  Prepare(request);
  answer_ = {};
  error_.front() = '\0';
  if (const CURLMcode code = curl_multi_add_handle(runner, curl_.get()); code != CURLM_OK) {
    ErrorManager::Raise(ErrorManager::Unreachable, curl_multi_strerror(code));
  }
  runner_ = runner;
}

void HttpTransfer::Leave() {
  if (runner_ == nullptr) return;
  curl_multi_remove_handle(std::exchange(runner_, nullptr), curl_.get());
}

HttpAnswer HttpTransfer::Take(CURLcode code, const std::string& server) {
  if (code == CURLE_OK) {
    curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &answer_.status);
    return std::exchange(answer_, {});
  }
  const auto* row = std::ranges::find(kFailures, code, &FailureRow::code);
  const bool isKnown = row != kFailures.end();
  const std::string text = isKnown && row->text != nullptr ? row->text
                           : error_.front() != '\0'        ? error_.data()
                                                           : curl_easy_strerror(code);
  const int error = isKnown ? row->error : int{ErrorManager::Unreachable};
  if (error == ErrorManager::Unreachable) {
    ErrorManager::Raise(ErrorManager::Unreachable, server + ": " + text);
  }
  ErrorManager::Raise(error, server, text);
}

std::string HttpTransfer::PeerAddress() const {
  const char* peer = nullptr;
  curl_easy_getinfo(curl_.get(), CURLINFO_PRIMARY_IP, &peer);
  return peer == nullptr ? "" : peer;
}

std::chrono::microseconds HttpTransfer::Waited() const {
  curl_off_t sent = 0;
  curl_off_t answered = 0;
  curl_easy_getinfo(curl_.get(), CURLINFO_PRETRANSFER_TIME_T, &sent);
  curl_easy_getinfo(curl_.get(), CURLINFO_STARTTRANSFER_TIME_T, &answered);
  return std::chrono::microseconds(answered - sent);
}

}  // namespace Redfish
