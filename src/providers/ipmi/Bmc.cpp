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
  Answer answer = SendPatiently(request);
  Known known{std::nullopt, answer.completion};
  const Verdict verdict = Judge(answer.completion);
  if (verdict == Verdict::Done) known.data = std::move(answer.data);
  if (verdict != Verdict::Done && verdict != Verdict::Absent) {
    Warn(request, Describe(answer.completion, request.command));
  }
  return answers_.insert_or_assign(request, std::move(known)).first->second.data;
}

std::uint8_t Bmc::CompletionOf(const Request& request) const {
  return answers_.at(request).completion;
}

std::uint8_t Bmc::Tell(const Request& request) {
  return SendPatiently(request).completion;
}

void Bmc::Forget(const std::function<bool(const Request&)>& isTouched) {
  std::erase_if(answers_, [&](const auto& answer) { return isTouched(answer.first); });
}

void Bmc::Warn(const Request& request, const std::string& why) {
  if (!warned_.insert(request).second) return;
  const std::string what = subject_.empty() ? transport_->Name() : subject_;
  LOGGER::Logger::CreateInstance()->Log(LOGGER::Warning, "src/providers/ipmi", "Bmc::Warn",
                                        __LINE__, "%s is left out: to %s, %s", what.c_str(),
                                        Describe(request).c_str(), why.c_str());
}

}  // namespace Ipmi
