#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace Test {

/// A BMC: ipmi_sim on 127.0.0.1, with state of its own in a folder, two LAN channels, and the users
/// 1 (no name), 2 "admin" (password "secret"), 3 "oper", 4 "four" and 5 "five" (both disabled).
class Simulator {
 public:
  enum class Commands {
    Stock,  ///< those of ipmi_sim itself
    All,    ///< also those of SimulatorModule
  };

  /// False where ipmi_sim is not installed; fails the test where that must not be.
  static bool IsUsable();

  /// Starts it and waits until it answers; fails the test when it does not. `ofChannel` are lines
  /// for the configuration of its first LAN channel.
  Simulator(std::string folder, Commands commands, std::string ofChannel = "");
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;
  ~Simulator();

  [[nodiscard]] std::uint16_t Port() const { return port_; }

  /// Sets how it misbehaves from now on: rules as SimulatorModule has them, one a line.
  void Misbehave(const std::string& rules);

  /// The requests since the last call that begin with `prefix`, in hexadecimal.
  std::vector<std::string> TakeRequests(const std::string& prefix = "");

 private:
  bool Start(Commands commands);
  void Stop();

  std::string folder_;
  std::string ofChannel_;
  std::uint16_t port_ = 0;
  pid_t pid_ = -1;
  std::size_t seen_ = 0;
  int rulesGiven_ = 0;
};

/// Passes datagrams on to a port of 127.0.0.1 and back, and counts them. Each is on its way for a
/// time of its own, as in a network.
class Relay {
 public:
  /// How often the datagram of this number is passed on, counted from 1 in both directions: 0 loses
  /// it, 2 doubles it.
  using Copies = std::function<unsigned(unsigned number, std::string_view datagram)>;

  explicit Relay(std::uint16_t target, Copies copies = {},
                 std::chrono::microseconds oneWay = std::chrono::microseconds(0));
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay();

  [[nodiscard]] std::uint16_t Port() const { return port_; }
  /// The datagrams that clients have sent.
  [[nodiscard]] unsigned Requests() const { return requests_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Underway {
    Clock::time_point due;
    int from;  ///< socket
    std::uint16_t to;
    std::string datagram;
  };

  void Run(std::uint16_t target);
  /// Passes on what is due. \return how long until the next one is, in milliseconds.
  int Deliver();
  /// Passes a datagram on; `way` knows by the port of its sender from which socket to which port.
  void Pass(int from, const std::function<std::pair<int, std::uint16_t>(std::uint16_t)>& way);

  Copies copies_;
  std::chrono::microseconds oneWay_;
  std::deque<Underway> underway_;
  int front_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<unsigned> requests_ = 0;
  unsigned datagrams_ = 0;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
};

}  // namespace Test
