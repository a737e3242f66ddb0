#include "tool/guard/Guard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>

#include "tool/ExitCodes.h"
#include "tool/guard/Channel.h"
#include "tool/guard/GuardProcess.h"
#include "tool/guard/OwnUnit.h"

namespace Tool {
namespace {

using Planning::Confirmation;

[[noreturn]] void ThrowNotStarted(const std::string& reason) {
  throw ToolError(ExitFailed, "the process that would take this back cannot be started (" + reason +
                                  "); nothing was written");
}

/// Starts the process with its end of a channel.
pid_t StartProcess(const Watch& watch, int channel) {
  std::fflush(nullptr);  // else it is there twice
  const pid_t process = fork();
  if (process == 0) {
    const int exitCode = RunGuard(watch, channel);
    _exit(exitCode);  // what the tool has open is the tool's to end
  }
  if (process < 0) ThrowNotStarted("no process");
  return process;
}

}  // namespace

Guard::Guard(const Watch& watch) : watch_(watch) {
  std::array<int, 2> ends = {};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    ThrowNotStarted("no channel");
  }
  channel_ = std::make_unique<Common::Descriptor>(ends[0]);
  {
    const Common::Descriptor ofGuard(ends[1]);
    warning_ = GiveOwnUnit(StartProcess(watch_, ofGuard.Get()));
  }
  const std::optional<Packet> ready = ReceivePacket(channel_->Get());
  if (!ready || ready->front() != kReady) ThrowNotStarted("see \"" + watch.base + ".log\"");
}

void Guard::Written(const std::string& outcome) const {
  SendPacket(channel_->Get(), {kWritten, outcome});
}

void Guard::Answers() const {
  SendPacket(channel_->Get(), {kAnswers});
}

void Guard::Keep() const {
  SendPacket(channel_->Get(), {kKeep});
}

void Guard::TakeBack(const std::string& reason) const {
  SendPacket(channel_->Get(), {kTakeBack, reason});
}

Confirmation Guard::Await(
    const std::function<void(const std::string& reason)>& onTakingBack) const {
  while (const std::optional<Packet> packet = ReceivePacket(channel_->Get())) {
    if (const auto confirmation = ConfirmationIn(*packet)) return *confirmation;
    if (packet->front() == kTakeBack && packet->size() > 1) onTakingBack((*packet)[1]);
  }
  Confirmation confirmation{Confirmation::Outcome::TakenBack, "the process that waited was killed",
                            ""};
  onTakingBack(confirmation.reason);
  confirmation.failure = watch_.takeBack();
  if (!confirmation.failure.empty()) confirmation.outcome = Confirmation::Outcome::NotTakenBack;
  watch_.record(TextOf(confirmation), true);
  return confirmation;
}

bool IsGuarded(const std::string& base) {
  const Common::Descriptor log(open((base + ".log").c_str(), O_RDONLY | O_CLOEXEC));
  return log.IsOpen() && flock(log.Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

Confirmation TellGuard(const std::string& base, bool keep) {
  const auto channel = ConnectTo(base + ".confirm");
  if (!channel) throw ToolError(ExitNoInput, "it is being taken back, or its process is gone");
  SendPacket(channel->Get(), {keep ? kKeep : kTakeBack});
  const std::optional<Packet> answer = ReceivePacket(channel->Get());
  if (answer && answer->front() == kNotYet) {
    throw ToolError(ExitFailed, "it is being written yet; confirm it when that is over");
  }
  const auto confirmation = answer ? ConfirmationIn(*answer) : std::nullopt;
  if (!confirmation) throw ToolError(ExitFailed, "the process that waits has ended without a word");
  return *confirmation;
}

}  // namespace Tool
