#include "providers/ipmi/SideSessions.h"

#include <csignal>
#include <utility>

#include "providers/ipmi/CompletionCode.h"

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;

/// Keeps signals with the thread that waits for them: threads get the mask of who starts them.
class NoSignals {
 public:
  NoSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  NoSignals(const NoSignals&) = delete;
  NoSignals& operator=(const NoSignals&) = delete;
  ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_ = {};
};

}  // namespace

SideSessions::SideSessions(const RemoteAddress& address, const Way& way, std::size_t beside,
                           SendOwn sendOwn, bool& hasTrouble)
    : address_(address), way_(way), sendOwn_(std::move(sendOwn)), hasTrouble_(hasTrouble) {
  const NoSignals noSignals;
  for (std::size_t count = 0; count < beside; ++count) threads_.emplace_back([this] { Help(); });
}

SideSessions::~SideSessions() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
  hasTrouble_ |= isInTrouble_;
}

void SideSessions::Help() {
  // Not tried again, whatever the reason is: BMCs lock accounts.
  const Opened opened = OpenContext(address_, way_);
  std::unique_lock lock(mutex_);
  if (!opened.context) {
    isInTrouble_ = true;
    return;
  }
  while (!isEnding_) {
    Work(lock, [&](const Request& request, Answer& answer) {
      return SendOver(opened.context.get(), request, answer);
    });
    changed_.wait(lock, [this] { return isEnding_ || HasWork(); });
  }
}

void SideSessions::Work(std::unique_lock<std::mutex>& lock, const SendOwn& send) {
  while (!isEnding_ && HasWork()) {
    const std::size_t index = next_++;
    ++onTheWay_;
    lock.unlock();
    Answer answer;
    const auto start = Clock::now();
    const bool isSent = send(requests_[index], answer);
    const bool isLate = Clock::now() - start >= way_.resendAfter;
    lock.lock();
    --onTheWay_;
    const Verdict verdict = Judge(answer.completion);
    const bool isGood = isSent && (verdict == Verdict::Done || verdict == Verdict::Absent);
    if (isGood) answers_[index] = std::move(answer);
    if (!isGood || isLate) isInTrouble_ = true;
  }
  changed_.notify_all();
}

std::vector<std::optional<Answer>> SideSessions::Send(const std::vector<Request>& requests) {
  std::unique_lock lock(mutex_);
  requests_ = requests;
  answers_.assign(requests.size(), std::nullopt);
  next_ = 0;
  changed_.notify_all();
  Work(lock, sendOwn_);
  changed_.wait(lock, [this] { return onTheWay_ == 0; });
  hasTrouble_ |= isInTrouble_;
  return std::exchange(answers_, {});
}

}  // namespace Ipmi
