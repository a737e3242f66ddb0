#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "common/Descriptor.h"
#include "plan/Confirmation.h"

// A process that takes a write back unless somebody keeps it. It has a session of its own, and
// where systemd runs a unit of its own, so that it outlives the tool, its shell and the login.

namespace Tool {

/// What a guard watches over. Both functions run in the guard's process, whose standard streams
/// lead to its log.
struct Watch {
  std::string base;              ///< of the names of its socket (".confirm") and its log (".log")
  std::chrono::seconds time{0};  ///< to keep it in, once the server is seen to answer
  std::chrono::seconds longestWrite{0};   ///< a tool that takes longer is stopped
  std::function<std::string()> takeBack;  ///< \return what went wrong; empty when it is as before
  /// Notes how it goes; with `isOver` that is the last of it.
  std::function<void(const std::string& outcome, bool isOver)> record;
};

/// The tool's end of a guard. When it goes while the tool writes, the write is taken back at once;
/// when it goes later, when the time is up.
class Guard {
 public:
  /// Starts the process. \throws ToolError  that is not possible; nothing is written then.
  explicit Guard(const Watch& watch);
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
  ~Guard() = default;

  /// What a person should know of the guard; empty for nothing.
  [[nodiscard]] const std::string& Warning() const { return warning_; }

  /// All is written, and ended as `outcome` says.
  void Written(const std::string& outcome) const;
  /// The server answers as it should: the time begins.
  void Answers() const;
  /// Somebody keeps the write.
  void Keep() const;
  /// It is to be taken back, for this reason.
  void TakeBack(const std::string& reason) const;

  /// Becomes readable when there is something to await.
  [[nodiscard]] int Descriptor() const { return channel_->Get(); }
  /// Waits until it is over; `onTakingBack` hears when that begins, and why. What a guard that is
  /// gone without a word was to do is done here.
  [[nodiscard]] Planning::Confirmation Await(
      const std::function<void(const std::string& reason)>& onTakingBack) const;

 private:
  Watch watch_;
  std::unique_ptr<Common::Descriptor> channel_;
  std::string warning_;
};

/// True while a guard of this base watches, or takes back.
[[nodiscard]] bool IsGuarded(const std::string& base);

/// Tells the guard of this base to keep the write, or to take it back.
/// \throws ToolError  nothing waits there, or the guard is not ready for it.
[[nodiscard]] Planning::Confirmation TellGuard(const std::string& base, bool keep);

}  // namespace Tool
