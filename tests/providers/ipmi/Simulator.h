#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
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

  /// False where ipmi_sim is not installed.
  static bool IsInstalled();

  /// Starts it and waits until it answers; fails the test when it does not.
  Simulator(std::string folder, Commands commands);
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;
  ~Simulator();

  [[nodiscard]] std::uint16_t Port() const { return port_; }

  /// Sets how it misbehaves from now on: lines as SimulatorModule has them.
  void Misbehave(const std::string& knobs) const;

  /// The requests since the last call that begin with `prefix`, in hexadecimal.
  std::vector<std::string> TakeRequests(const std::string& prefix = "");

 private:
  bool Start(Commands commands);
  void Stop();

  std::string folder_;
  std::uint16_t port_ = 0;
  pid_t pid_ = -1;
  std::size_t seen_ = 0;
};

/// Passes datagrams on to a port of 127.0.0.1 and back, and counts them.
class Relay {
 public:
  /// \param dropEach  loses each datagram with such a number; 0 loses none
  explicit Relay(std::uint16_t target, unsigned dropEach = 0);
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay();

  [[nodiscard]] std::uint16_t Port() const { return port_; }
  /// The datagrams that clients have sent.
  [[nodiscard]] unsigned Requests() const { return requests_; }
  /// After so many more of them nothing is passed on any more.
  void DieAfter(unsigned requests) { lastRequest_ = requests_ + requests; }

 private:
  void Run(std::uint16_t target);
  [[nodiscard]] bool Passes();

  unsigned dropEach_;
  int front_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<unsigned> requests_ = 0;
  std::atomic<unsigned> lastRequest_ = UINT32_MAX;
  unsigned datagrams_ = 0;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
};

}  // namespace Test
