#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <string>

#include "providers/redfish/HttpClient.h"

namespace Redfish {

/// A request in the HTTP library, with room for its answer. It can be used again.
class HttpTransfer {
 public:
  /// `endpoint` outlives it, and so does `share`, which holds what several of them have in common.
  /// \throws ResultStatus  Unreachable: the library fails.
  HttpTransfer(Endpoint& endpoint, CURLSH* share);
  HttpTransfer(const HttpTransfer&) = delete;
  HttpTransfer& operator=(const HttpTransfer&) = delete;
  ~HttpTransfer() { Leave(); }

  /// One that sends as this one does.
  [[nodiscard]] std::unique_ptr<HttpTransfer> Another() const;

  void UseBasic(const std::string& user, const std::string& password);
  /// From now on an answer may take that long, and is waited for whoever is in a hurry.
  void Limit(std::chrono::milliseconds limit);

  /// Adds the request to those that `runner` drives; its body lives until it has ended.
  void Begin(CURLM* runner, const HttpRequest& request);
  /// Takes it from them.
  void Leave();
  [[nodiscard]] bool Is(const CURL* curl) const { return curl_.get() == curl; }

  /// What has come of the request that has ended with `code`; `server` is who was asked.
  /// \throws ResultStatus  as HttpClient::Exchange.
  [[nodiscard]] HttpAnswer Take(CURLcode code, const std::string& server);
  /// The address that the answer came from.
  [[nodiscard]] std::string PeerAddress() const;
  /// How long the server took from the request to the beginning of its answer.
  [[nodiscard]] std::chrono::microseconds Waited() const;

 private:
  using Curl = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

  HttpTransfer(Endpoint& endpoint, CURLSH* share, Curl curl);
  void Configure() const;
  void Prepare(const HttpRequest& request);

  Endpoint& endpoint_;
  CURLSH* share_;
  Curl curl_;
  CURLM* runner_ = nullptr;
  std::array<char, CURL_ERROR_SIZE> error_ = {};
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{nullptr,
                                                                       &curl_slist_free_all};
  std::string url_;
  HttpAnswer answer_;
};

}  // namespace Redfish
