#include "Simulator.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <utility>

#include "common/Descriptor.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
constexpr int kPoll = 20;  // milliseconds
constexpr const char* kProgram = "/usr/bin/ipmi_sim";

sockaddr_in Loopback(std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// A datagram socket of 127.0.0.1 on a free port, which is put into `port`.
int BoundSocket(std::uint16_t& port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), 0);
  port = ntohs(address.sin_port);
  return descriptor;
}

std::string LanChannel(int channel, std::uint16_t port, const std::string& more = "") {
  return "  startlan " + std::to_string(channel) + "\n    addr 127.0.0.1 " + std::to_string(port) +
         "\n    priv_limit admin\n"
         "    allowed_auths_callback none md2 md5 straight\n"
         "    allowed_auths_user none md2 md5 straight\n"
         "    allowed_auths_operator none md2 md5 straight\n"
         "    allowed_auths_admin none md2 md5 straight\n"
         "    guid a123456789abcdefa123456789abcdef\n" +
         more + "  endlan\n";
}

constexpr const char* kUsers =
    "  user 1 true  \"\"      \"test\"   user     10\n"
    "  user 2 true  \"admin\" \"secret\" admin    10\n"
    "  user 3 true  \"oper\"  \"three\"  operator 10\n"
    "  user 4 false \"four\"  \"four\"   user     10\n"
    "  user 5 false \"five\"  \"five\"   user     10\n";

constexpr const char* kController =
    "mc_setbmc 0x20\n"
    "mc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02\n"
    "mc_enable 0x20\n";

/// An RMCP presence ping (ASF 2.0), which a BMC answers without a session.
bool Answers(std::uint16_t port) {
  std::uint16_t own = 0;
  const Common::Descriptor client(BoundSocket(own));
  const auto ping =
      std::to_array<std::uint8_t>({0x06, 0, 0xFF, 0x06, 0, 0, 0x11, 0xBE, 0x80, 0, 0, 0});
  const sockaddr_in address = Loopback(port);
  sendto(client.Get(), ping.data(), ping.size(), 0, reinterpret_cast<const sockaddr*>(&address),
         sizeof address);
  pollfd readable = {client.Get(), POLLIN, 0};
  std::array<char, 64> answer = {};
  return poll(&readable, 1, 50) == 1 && recv(client.Get(), answer.data(), answer.size(), 0) > 0;
}

}  // namespace

bool Simulator::IsUsable() {
  const bool isInstalled = access(kProgram, X_OK) == 0;
  const bool mustBe = std::getenv("SAVERESTORE_REQUIRE_SIMULATOR") != nullptr;
  EXPECT_TRUE(isInstalled || !mustBe) << "ipmi_sim is missing";
  return isInstalled;
}

Simulator::Simulator(std::string folder, Commands commands, std::string ofChannel)
    : folder_(std::move(folder)), ofChannel_(std::move(ofChannel)) {
  fs::create_directories(folder_ + "/state");
  // Another process may take the free ports first.
  for (int tries = 0; tries < 5; ++tries) {
    if (Start(commands)) return;
    Stop();
  }
  ADD_FAILURE() << "ipmi_sim does not answer: " << std::ifstream(folder_ + "/log").rdbuf();
}

Simulator::~Simulator() {
  Stop();
}

bool Simulator::Start(Commands commands) {
  std::uint16_t second = 0;
  close(BoundSocket(port_));
  close(BoundSocket(second));
  std::ofstream lan(folder_ + "/lan.conf");
  lan << "name \"bmc\"\n";
  if (commands == Commands::All) {
    lan << "loadlib \"" << SAVERESTORE_SIMULATOR_MODULE << "\" \"" << folder_ << "\"\n";
  }
  lan << "set_working_mc 0x20\n"
      << LanChannel(1, port_, ofChannel_) << LanChannel(2, second) << kUsers;
  lan.close();
  std::ofstream(folder_ + "/sim.emu") << kController;

  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int log = open((folder_ + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    setenv("LD_PRELOAD", SAVERESTORE_SIMULATOR_MODULE, 1);
    if (getppid() != parent || chdir(folder_.c_str()) != 0 || dup2(log, 1) < 0 ||
        dup2(log, 2) < 0) {
      _exit(127);
    }
    execl(kProgram, kProgram, "-c", "lan.conf", "-f", "sim.emu", "-s", "state", "-n", nullptr);
    _exit(127);
  }
  for (int tries = 0; tries < 100; ++tries) {
    if (Answers(port_)) return true;
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = -1;
      return false;
    }
  }
  return false;
}

void Simulator::Stop() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

void Simulator::Misbehave(const std::string& rules) {
  const std::string file = folder_ + "/rules";
  // The number makes the same rules count from their start again.
  std::ofstream(file + ".new") << "(" << ++rulesGiven_ << ")\n" << rules << '\n';
  fs::rename(file + ".new", file);
}

std::vector<std::string> Simulator::TakeRequests(const std::string& prefix) {
  std::vector<std::string> requests;
  std::ifstream file(folder_ + "/requests");
  std::size_t number = 0;
  for (std::string line; std::getline(file, line); ++number) {
    if (number >= seen_ && line.starts_with(prefix)) requests.push_back(line);
  }
  seen_ = number;
  return requests;
}

Relay::Relay(std::uint16_t target, Copies copies, std::chrono::microseconds oneWay)
    : copies_(std::move(copies)), oneWay_(oneWay) {
  front_ = BoundSocket(port_);
  thread_ = std::thread([this, target] { Run(target); });
}

Relay::~Relay() {
  isEnding_ = true;
  thread_.join();
  close(front_);
}

void Relay::Pass(int from, const std::function<std::pair<int, std::uint16_t>(std::uint16_t)>& way) {
  std::array<char, 2048> data = {};
  sockaddr_in sender = {};
  socklen_t size = sizeof sender;
  const ssize_t got =
      recvfrom(from, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&sender), &size);
  if (got < 0) return;
  if (from == front_) ++requests_;
  const auto [out, port] = way(ntohs(sender.sin_port));
  const std::string datagram(data.data(), static_cast<std::size_t>(got));
  for (unsigned copies = copies_ ? copies_(++datagrams_, datagram) : 1; copies > 0; --copies) {
    underway_.push_back({Clock::now() + oneWay_, out, port, datagram});
  }
}

int Relay::Deliver() {
  for (; !underway_.empty(); underway_.pop_front()) {
    const Underway& next = underway_.front();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next.due - Clock::now());
    if (left.count() > 0) return static_cast<int>(std::min<std::int64_t>(left.count(), kPoll));
    const sockaddr_in receiver = Loopback(next.to);
    sendto(next.from, next.datagram.data(), next.datagram.size(), 0,
           reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver);
  }
  return kPoll;
}

/// Each client gets a socket of its own towards the target, so that answers find their way back.
void Relay::Run(std::uint16_t target) {
  std::map<std::uint16_t, Common::Descriptor> clients;
  while (!isEnding_) {
    std::vector<pollfd> watched = {{front_, POLLIN, 0}};
    std::vector<std::uint16_t> ports = {0};
    for (const auto& [port, descriptor] : clients) {
      watched.push_back({descriptor.Get(), POLLIN, 0});
      ports.push_back(port);
    }
    poll(watched.data(), watched.size(), Deliver());
    for (std::size_t i = 0; i < watched.size(); ++i) {
      if ((watched[i].revents & POLLIN) == 0) continue;
      Pass(watched[i].fd, [&](std::uint16_t client) {
        if (i > 0) return std::pair(front_, ports[i]);
        std::uint16_t ignored = 0;
        const auto known = clients.find(client);
        return std::pair(
            known != clients.end()
                ? known->second.Get()
                : clients.try_emplace(client, BoundSocket(ignored)).first->second.Get(),
            target);
      });
    }
  }
}

}  // namespace Test
