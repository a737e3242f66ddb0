#include "providers/ipmi/Bmc.h"

#include <algorithm>
#include <thread>

#include "common/ErrorManager.h"
#include "common/Logger.h"
#include "providers/ipmi/CompletionCode.h"

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;

/// Pauses before a request is sent again double from the first to the longest.
constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::milliseconds kLongestPause{1000};
/// A code that a whole wait has not ended gets only a part of it from then on.
constexpr int kPartWhenWornOut = 15;
/// Opening a window costs about as much as that many requests.
constexpr std::size_t kWorthAWindow = 12;
/// So many requests in a row for which it stays busy, and it is the BMC and not what is asked for.
constexpr int kBusyForGood = 3;

}  // namespace

Answer Bmc::SendPatiently(const Request& request) {
  if (!busyForGood_.empty()) ErrorManager::Raise(ErrorManager::Unreachable, busyForGood_);
  const auto start = Clock::now();
  for (auto pause = kFirstPause;; pause = std::min(2 * pause, kLongestPause)) {
    Answer answer = transport_->Send(request);
    const Verdict verdict = Judge(answer.completion);
    if (verdict != Verdict::Busy && verdict != Verdict::NotNow) {
      busyInARow_ = 0;
      return answer;
    }
    const int part = wornOut_.contains(answer.completion) ? kPartWhenWornOut : 1;
    if (Clock::now() - start + pause > patience_.busy / part) {
      wornOut_.insert(answer.completion);
      if (verdict == Verdict::Busy && ++busyInARow_ == kBusyForGood) {
        busyForGood_ = transport_->Name() + ": " + Describe(answer.completion, request.command);
        ErrorManager::Raise(ErrorManager::Unreachable, busyForGood_);
      }
      return answer;
    }
    transport_->Checkpoint();
    std::this_thread::sleep_for(pause);
  }
}

const std::optional<Bytes>& Bmc::Ask(const Request& request) {
  if (const auto known = answers_.find(request); known != answers_.end()) return known->second.data;
  if (noted_ != nullptr) return Note(request);
  return Keep(request, SendPatiently(request));
}

const std::optional<Bytes>& Bmc::Keep(const Request& request, Answer answer) {
  Known known{std::nullopt, answer.completion};
  const Verdict verdict = Judge(answer.completion);
  if (verdict == Verdict::Done) known.data = std::move(answer.data);
  if (verdict != Verdict::Done && verdict != Verdict::Absent) {
    Warn(request, Describe(answer.completion, request.command));
  }
  return answers_.insert_or_assign(request, std::move(known)).first->second.data;
}

const std::optional<Bytes>& Bmc::Note(const Request& request) {
  static const std::optional<Bytes> none;
  if (isStuck_) return none;
  isStuck_ = !subject_.empty();
  if (std::ranges::find(*noted_, request) == noted_->end()) noted_->push_back(request);
  return none;
}

std::vector<Request> Bmc::UnknownOf(const std::function<void()>& read) {
  std::vector<Request> unknown;
  noted_ = &unknown;
  isStuck_ = false;
  read();
  noted_ = nullptr;
  return unknown;
}

void Bmc::FetchAhead(const std::function<void()>& read) {
  if (!busyForGood_.empty()) return;
  std::vector<Request> unknown = UnknownOf(read);
  if (unknown.size() < kWorthAWindow) return;
  const std::unique_ptr<Window> window = transport_->OpenWindow();
  for (bool isComplete = window != nullptr; isComplete && !unknown.empty();) {
    std::vector<std::optional<Answer>> answers = window->Send(unknown);
    for (std::size_t i = 0; i < unknown.size(); ++i) {
      isComplete &= answers[i].has_value();
      if (answers[i]) Keep(unknown[i], std::move(*answers[i]));
    }
    unknown = UnknownOf(read);
  }
}

std::uint8_t Bmc::CompletionOf(const Request& request) const {
  const auto known = answers_.find(request);
  return known == answers_.end() ? std::uint8_t{0xFF} : known->second.completion;
}

std::uint8_t Bmc::Tell(const Request& request) {
  return SendPatiently(request).completion;
}

void Bmc::Forget(const std::function<bool(const Request&)>& isTouched) {
  std::erase_if(answers_, [&](const auto& answer) { return isTouched(answer.first); });
}

void Bmc::Warn(const Request& request, const std::string& why) {
  if (noted_ != nullptr || !warned_.insert(request).second) return;
  const std::string what = subject_.empty() ? transport_->Name() : subject_;
  LOGGER::Logger::CreateInstance()->Log(LOGGER::Warning, "src/providers/ipmi", "Bmc::Warn",
                                        __LINE__, "%s is left out: to %s, %s", what.c_str(),
                                        Describe(request).c_str(), why.c_str());
}

}  // namespace Ipmi
