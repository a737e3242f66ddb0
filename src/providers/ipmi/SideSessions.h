#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "providers/ipmi/LanContext.h"
#include "providers/ipmi/Message.h"
#include "providers/ipmi/Session.h"

namespace Ipmi {

/// At most so many sessions beside the one that was opened first.
inline constexpr std::size_t kMostBeside = 3;

/// Several requests on their way at a time: over the session in use, and over others beside it that
/// log in while that one already asks. Each has a thread of its own, since the library waits for
/// each answer; they log out with the window.
///
/// Whatever is not as usual is trouble: a login that fails, silence, a datagram that had to be sent
/// again, a BMC that is busy or has another odd answer. From then on the window sends nothing.
class SideSessions final : public Window {
 public:
  /// Sends over the session in use. \return false when that fails.
  using SendOwn = std::function<bool(const Request& request, Answer& answer)>;

  /// `address` outlives this. `hasTrouble` becomes true with the first trouble, for good.
  SideSessions(const RemoteAddress& address, const Way& way, std::size_t beside, SendOwn sendOwn,
               bool& hasTrouble);
  SideSessions(const SideSessions&) = delete;
  SideSessions& operator=(const SideSessions&) = delete;
  ~SideSessions() override;

  std::vector<std::optional<Answer>> Send(const std::vector<Request>& requests) override;

 private:
  void Help();
  /// Sends what is left, one after the other. `lock` holds the mutex, but not while it sends.
  void Work(std::unique_lock<std::mutex>& lock, const SendOwn& send);
  [[nodiscard]] bool HasWork() const { return !isInTrouble_ && next_ < requests_.size(); }

  const RemoteAddress& address_;
  const Way way_;
  const SendOwn sendOwn_;
  bool& hasTrouble_;

  std::mutex mutex_;  // of all that follows but the threads
  std::condition_variable changed_;
  std::vector<Request> requests_;
  std::vector<std::optional<Answer>> answers_;
  std::size_t next_ = 0;  ///< the request that nobody has taken yet
  std::size_t onTheWay_ = 0;
  bool isInTrouble_ = false;
  bool isEnding_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace Ipmi
