#include "providers/ipmi/Bmc.h"

#include <chrono>
#include <thread>

#include "common/ErrorManager.h"
#include "providers/ipmi/CompletionCode.h"

namespace Ipmi {
namespace {

/// A BMC that says it is busy is asked again, after pauses that double: 3 seconds in all.
constexpr int kBusyTries = 6;
constexpr std::chrono::milliseconds kFirstPause{50};

}  // namespace

Answer Bmc::SendPatiently(const Request& request) {
  auto pause = kFirstPause;
  for (int tries = 0;; ++tries, pause *= 2) {
    Answer answer = transport_->Send(request);
    if (Judge(answer.completion) != Verdict::Busy || tries == kBusyTries) return answer;
    std::this_thread::sleep_for(pause);
  }
}

const std::optional<Bytes>& Bmc::Ask(const Request& request) {
  if (const auto known = answers_.find(request); known != answers_.end()) return known->second;
  const Answer answer = SendPatiently(request);
  const std::string& name = transport_->Name();
  const std::string text = Describe(answer.completion, request.command);
  std::optional<Bytes> data;
  switch (Judge(answer.completion)) {
    case Verdict::Done:
      data = answer.data;
      break;
    case Verdict::Absent:
      break;
    case Verdict::Busy:
      ErrorManager::Raise(ErrorManager::Unreachable, name + ": " + text);
    case Verdict::NotAllowed:
      ErrorManager::Raise(ErrorManager::NotPermitted, name, text);
    case Verdict::Failed:
      ErrorManager::Raise(ErrorManager::BadAnswer, name, text + " to " + Describe(request.command));
  }
  return answers_.emplace(request, std::move(data)).first->second;
}

std::uint8_t Bmc::Tell(const Request& request) {
  return SendPatiently(request).completion;
}

void Bmc::Forget(const std::function<bool(const Request&)>& isTouched) {
  std::erase_if(answers_, [&](const auto& answer) { return isTouched(answer.first); });
}

}  // namespace Ipmi
