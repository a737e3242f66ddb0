#include "tool/guard/GuardProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <list>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "common/LocalTime.h"
#include "tool/guard/Channel.h"
#include "tool/terminal/Messages.h"

namespace Tool {
namespace {

using Clock = std::chrono::steady_clock;
using Planning::Confirmation;

/// How long the tool may take to open the server anew and read it, beyond the time to confirm.
constexpr std::chrono::seconds kTimeToRead{120};
constexpr int kChannel = 3;  ///< where the descriptor of the channel is put

/// A line of the log, which nobody may see before it is needed.
void Log(const std::string& text) {
  std::printf("%s  %s\n", Common::LocalTime(std::time(nullptr), "%Y-%m-%d %H:%M:%S").c_str(),
              text.c_str());
  std::fflush(stdout);
}

/// Leads the standard streams to the log and closes everything else that the tool has open: its
/// connections are its own. The lock on the log stands for this process.
void TakeOverStreams(const std::string& log, int channel) {
  const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (file < 0 || null < 0 || flock(file, LOCK_EX | LOCK_NB) != 0) {
    throw std::system_error(errno, std::generic_category(), log);
  }
  dup2(null, STDIN_FILENO);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  dup2(channel, kChannel);
  close_range(kChannel + 1, ~0U, 0);
}

/// Passes over the signals that end a login.
void PassOverSignals() {
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTTOU, SIGTTIN}) {
    sigaction(signal, &ignore, nullptr);
  }
}

/// Keeps SIGTERM for the descriptor that it returns.
int KeepSigterm() {
  sigset_t kept;
  sigemptyset(&kept);
  sigaddset(&kept, SIGTERM);
  sigprocmask(SIG_SETMASK, &kept, nullptr);
  return signalfd(-1, &kept, SFD_CLOEXEC);
}

/// Neither a full disk nor the end of the login, with which its own folder goes, may keep files of
/// the moment from being written, nor may this process be the first to go when memory is short.
void RelyOnLittle() {
  constexpr const char* kMemory = "/dev/shm";
  if (access(kMemory, W_OK | X_OK) == 0) {
    unsetenv("XDG_RUNTIME_DIR");
    setenv("TMPDIR", kMemory, 1);
  }
  std::ofstream("/proc/self/oom_score_adj") << "-1000";  // which root may ask for
}

/// Waits for what decides about a write, and sees to it.
class Watcher {
 public:
  Watcher(const Watch& watch, pid_t tool, int ending)
      : watch_(watch), tool_(tool), ending_(ending), listener_(ListenAt(SocketPath())) {
    deadline_ = Clock::now() + watch.longestWrite;
  }

  /// Watches until it is decided, and does what follows.
  void Run() {
    SendPacket(kChannel, {kReady});
    while (!decision_) {
      try {
        Wait();
      } catch (const std::exception& fault) {
        Decide(fault.what());
      }
    }
    listener_.reset();
    unlink(SocketPath().c_str());
    Confirmation confirmation{Confirmation::Outcome::Kept, "", ""};
    if (!decision_->empty()) confirmation = TakeBack(*decision_);
    const Packet packet = PacketOf(confirmation);
    if (hasTool_) SendPacket(kChannel, packet);
    for (const Common::Descriptor& caller : callers_) SendPacket(caller.Get(), packet);
    if (decision_->empty()) Log("kept");
  }

 private:
  [[nodiscard]] std::string SocketPath() const { return watch_.base + ".confirm"; }

  Confirmation TakeBack(const std::string& reason) {
    Log("taking it back: " + reason);
    if (hasTool_) SendPacket(kChannel, {kTakeBack, reason});
    Record("being taken back: " + reason, false);
    const std::string failure = watch_.takeBack();
    Confirmation confirmation{
        failure.empty() ? Confirmation::Outcome::TakenBack : Confirmation::Outcome::NotTakenBack,
        reason, failure};
    Log(TextOf(confirmation));
    Record(TextOf(confirmation), true);
    return confirmation;
  }

  /// What cannot be recorded is done all the same.
  void Record(const std::string& outcome, bool isOver) const {
    try {
      watch_.record(outcome, isOver);
    } catch (const std::exception& fault) {
      Log(fault.what());
    }
  }

  /// Waits for one event and takes it in.
  void Wait() {
    std::vector<pollfd> wanted = {
        {ending_, POLLIN, 0}, {listener_->Get(), POLLIN, 0}, {hasTool_ ? kChannel : -1, POLLIN, 0}};
    for (const Common::Descriptor& caller : callers_) wanted.push_back({caller.Get(), POLLIN, 0});
    if (poll(wanted.data(), wanted.size(), MillisecondsLeft()) < 0) {
      if (errno == EINTR) return;
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    if (wanted[0].revents != 0) return Decide("the process that waited was told to end");
    if (wanted[2].revents != 0) HearTool();
    auto caller = callers_.begin();
    for (std::size_t at = 3; at < wanted.size() && !decision_; ++at) {
      const auto heard = caller++;
      if (wanted[at].revents != 0) HearCaller(heard);
    }
    if (!decision_ && wanted[1].revents != 0) {
      callers_.emplace_back(accept4(listener_->Get(), nullptr, nullptr, SOCK_CLOEXEC));
    }
    if (!decision_ && Clock::now() >= deadline_) TimeIsUp();
  }

  void TimeIsUp() {
    if (outcome_) {
      return Decide("nobody kept it within " +
                    Counted(static_cast<std::size_t>(watch_.time.count()), "second"));
    }
    // It must not write on while this is taken back. It is there: the channel has not told its end.
    kill(tool_, SIGKILL);
    while (ReceivePacket(kChannel)) {
    }
    hasTool_ = false;
    Decide("the tool stood still while it wrote");
  }

  void HearTool() {
    const std::optional<Packet> packet = ReceivePacket(kChannel);
    if (!packet) {
      hasTool_ = false;
      if (!outcome_) return Decide("the tool ended while it wrote");
      if (!isWaiting_) Begin(watch_.time);
      Log("the tool has ended; waiting on");
      return;
    }
    const std::string& word = packet->front();
    const std::string text = packet->size() > 1 ? (*packet)[1] : "";
    if (word == kWritten) {
      outcome_ = text;
      Begin(watch_.time + kTimeToRead);
      isWaiting_ = false;
    } else if (word == kAnswers) {
      Begin(watch_.time);
    } else if (word == kKeep) {
      Keep();
    } else if (word == kTakeBack) {
      Decide(text);
    }
  }

  void HearCaller(std::list<Common::Descriptor>::iterator caller) {
    const std::optional<Packet> packet = ReceivePacket(caller->Get());
    if (!packet) {
      callers_.erase(caller);
    } else if (!outcome_) {
      SendPacket(caller->Get(), {kNotYet});
      callers_.erase(caller);
    } else if (packet->front() == kKeep) {
      Keep();
    } else if (packet->front() == kTakeBack) {
      Decide("it was asked for");
    }
  }

  void Begin(std::chrono::seconds time) {
    isWaiting_ = true;
    deadline_ = Clock::now() + time;
    const std::string until = "waits to be kept until " +
                              Common::LocalTime(std::time(nullptr) + time.count(), "%H:%M:%S");
    Log(until);
    Record(*outcome_ + ", " + until, false);
  }

  void Keep() {
    Record(*outcome_ + ", kept", true);
    Decide("");
  }

  void Decide(const std::string& reason) { decision_ = reason; }

  [[nodiscard]] int MillisecondsLeft() const {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left);
  }

  const Watch& watch_;
  const pid_t tool_;
  const int ending_;  ///< readable when the process is to end
  std::unique_ptr<Common::Descriptor> listener_;
  std::list<Common::Descriptor> callers_;
  bool hasTool_ = true;
  bool isWaiting_ = false;               ///< somebody may keep it
  std::optional<std::string> outcome_;   ///< of the write, once it has ended
  Clock::time_point deadline_;           ///< of the tool's write, then of whoever may keep it
  std::optional<std::string> decision_;  ///< why it is taken back; empty: it is kept
};

}  // namespace

int RunGuard(const Watch& watch, int channel) noexcept {
  try {
    const pid_t tool = getppid();
    setsid();
    PassOverSignals();
    RelyOnLittle();
    TakeOverStreams(watch.base + ".log", channel);
    Watcher(watch, tool, KeepSigterm()).Run();
    return 0;
  } catch (const std::exception& fault) {
    std::printf("%s\n", fault.what());
    std::fflush(stdout);
    return 1;
  }
}

}  // namespace Tool
