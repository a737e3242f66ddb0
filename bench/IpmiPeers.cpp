// The tool beside other IPMI clients, over the same simulated BMC: how many datagrams each sends to
// read the same users and LAN channels and to write one changed value, how many requests the BMC
// gets with them, and how long it takes.
//
//   ipmi_peers [BMC [NETWORK]]  milliseconds: the time the BMC takes for an answer, one after the
//                               other, and the time there and back of each datagram; 0 and 5 when
//                               nothing is said
//   ipmi_peers loss [RUNS]      how many of RUNS reads by each give all that they give without loss
//                               when 10 and 30 % of the datagrams are lost, and how long they take
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Simulator.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
#include "support/TestEngine.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRuns = 5;

struct Cost {
  unsigned requests;  ///< within sessions
  unsigned datagrams;
  double milliseconds;
};

class Peers {
 public:
  Peers(std::string folder, const std::string& delay, std::chrono::microseconds oneWay = {})
      : folder_(std::move(folder)),
        simulator_(folder_ + "/sim", Test::Simulator::Commands::All),
        relay_(
            simulator_.Port(),
            [this](unsigned, std::string_view) { return random_() % 100 < loss_ ? 0U : 1U; },
            oneWay) {
    if (delay != "0") simulator_.Misbehave("0: delay " + delay + "\n2: delay " + delay);
    Test::WriteText(folder_ + "/pw", "secret\n");
    const std::string port = std::to_string(relay_.Port());
    ours_ = SAVERESTORE_TOOL " --quiet --target ipmi:admin@127.0.0.1:" + port +
            " --bmc-password-file pw --ipmi-workaround opensesspriv ";
    config_ =
        "ipmi-config -D LAN_2_0 -I 3 -W opensesspriv -u admin -p secret -h 127.0.0.1:" + port + " ";
    ipmitool_ = "ipmitool -I lanplus -C 3 -U admin -P secret -H 127.0.0.1 -p " + port + " ";
  }

  /// Each of the tools saves what it can read, over and over, while datagrams get lost.
  void RunLossy(int runs) {
    const std::string tidy = " | grep -v '^#' ";
    const std::pair<const char*, std::string> tools[] = {
        {"saverestore save",
         "rm -f out.ini; " + ours_ + "save --mode bmc out.ini && mv out.ini out"},
        {"ipmi-config --checkout", "{ " + Config("--checkout") + "; }" + tidy + ">out"},
        {"ipmitool user, lan, channel, sol", "{ " + Ipmitool() + "; } >out"}};
    for (const auto& [name, command] : tools) {
      std::string whole;
      for (const unsigned percent : {0U, 10U, 30U}) {
        loss_ = percent;
        int good = 0;
        std::vector<double> times;
        for (int run = 0; run < (percent == 0 ? 1 : runs); ++run) {
          const auto start = Clock::now();
          Shell("rm -f out; timeout 300 bash -c \"" + command + "\" || true");
          times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
          std::error_code none;
          const bool isThere = std::filesystem::exists(folder_ + "/out", none);
          const std::string out = isThere ? Test::ReadText(folder_ + "/out") : "";
          if (percent == 0) whole = out;
          good += static_cast<int>(!out.empty() && out == whole);
        }
        std::ranges::sort(times);
        std::printf("%-34s %2u %% lost: %2d of %2zu whole, median %6.1f s\n", name, percent, good,
                    times.size(), times[times.size() / 2]);
        std::fflush(stdout);
      }
    }
  }

  void Run() {
    const Cost facts = MeasureFacts();
    Print("read 5 users, LAN and SOL of 2 channels: the provider", facts, facts);
    Print("read them: ipmi-config --checkout", Measure(Config("--checkout")), facts);
    Print("read them: ipmitool user, lan, channel, sol", Measure(Ipmitool()), facts);
    Print("read all of the BMC: saverestore save",
          Measure(ours_ + "save --mode bmc --overwrite x.ini"), facts);

    std::string text = Test::ReadText(folder_ + "/x.ini");
    const std::size_t at = text.find("ARPInterval=") + 12;
    const Cost restore = Measure(ours_ + "restore --yes --no-backup y.ini", [&](int run) {
      text[at] = static_cast<char>('5' + run % 2);
      Test::WriteText(folder_ + "/y.ini", text);
    });
    Print("write one changed value of the file: saverestore restore", restore, restore);
    Shell(Config("--checkout", ">"));
    std::string config = Test::ReadText(folder_ + "/1.conf");
    const Cost commit = Measure(Config("--commit", "-n "), [&](int run) {
      const std::string names[] = {"four", "vier"};
      const std::size_t name = std::min(config.find(names[0]), config.find(names[1]));
      config.replace(name, 4, names[run % 2]);
      Test::WriteText(folder_ + "/1.conf", config);
    });
    Print("write one changed value of its files: ipmi-config --commit", commit, restore);
    Print("write one value: ipmitool user set name", Measure(ipmitool_ + "user set name 4 acht"),
          restore);
  }

 private:
  /// The sections with the facts that are compared.
  static constexpr const char* kSections =
      " -S User1 -S User2 -S User3 -S User4 -S User5 -S Lan_Conf -S Lan_Conf_Misc -S Lan_Channel "
      "-S SOL_Conf ";

  void Shell(const std::string& command) const {
    const std::string line = "cd '" + folder_ + "' && { " + command + "; } >>log 2>&1";
    // NOLINTNEXTLINE(cert-env33-c): the commands are those of this file
    if (std::system(line.c_str()) != 0) std::fprintf(stderr, "failed: %s\n", command.c_str());
  }

  /// ipmi-config knows one channel at a time; each has a file, which follows `file`.
  [[nodiscard]] std::string Config(const std::string& action, const std::string& file = "") const {
    std::string command;
    for (const std::string channel : {"1", "2"}) {
      command += (command.empty() ? "" : "; ") + config_ + "--lan-channel-number=" + channel +
                 " --sol-channel-number=" + channel + " " + action;
      if (action == "--checkout") command += kSections;
      if (!file.empty()) command += " " + file + channel + ".conf";
    }
    return command;
  }

  [[nodiscard]] std::string Ipmitool() const {
    std::string command;
    for (const std::string channel : {"1", "2"}) {
      for (const std::string& what : {"user list " + channel, "lan print " + channel,
                                      "channel info " + channel, "sol info " + channel}) {
        command += (command.empty() ? "" : "; ") + ipmitool_ + what;
      }
    }
    return command;
  }

  /// Reads the same facts in this process, from the login on.
  Cost MeasureFacts() {
    Ipmi::RemoteAddress address;
    address.host = "127.0.0.1:" + std::to_string(relay_.Port());
    address.user = "admin";
    address.password = "secret";
    address.workarounds = {"opensesspriv"};
    return Measure([&] {
      Ipmi::IpmiProvider provider(Ipmi::OpenRemote(address));
      NodeMap nodes;
      for (const std::string user : {"1", "2", "3", "4", "5"}) {
        provider.Read("/BMC/USER[" + user + "]", nodes);
        provider.Read("/BMC/SOL/USER[" + user + "]", nodes);
      }
      for (const char* path : {"/BMC/LAN[1]", "/BMC/LAN[2]", "/BMC/CHANNEL", "/BMC/SOL/CHANNEL"}) {
        provider.Read(path, nodes);
      }
    });
  }

  Cost Measure(const std::string& command, const std::function<void(int)>& prepare = {}) {
    return Measure([&] { Shell(command); }, prepare);
  }

  /// The median of the runs.
  Cost Measure(const std::function<void()>& act, const std::function<void(int)>& prepare = {}) {
    std::vector<unsigned> requests;
    std::vector<unsigned> datagrams;
    std::vector<double> times;
    for (int run = 0; run < kRuns; ++run) {
      if (prepare) prepare(run);
      simulator_.TakeRequests();
      const unsigned before = relay_.Requests();
      const auto start = Clock::now();
      act();
      times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
      datagrams.push_back(relay_.Requests() - before);
      requests.push_back(static_cast<unsigned>(simulator_.TakeRequests().size()));
    }
    std::ranges::sort(requests);
    std::ranges::sort(datagrams);
    std::ranges::sort(times);
    return {requests[kRuns / 2], datagrams[kRuns / 2], times[kRuns / 2]};
  }

  static void Print(const char* what, const Cost& cost, const Cost& ours) {
    std::printf("%-60s %4u requests %5.2fx %4u datagrams %5.2fx %8.1f ms %5.2fx\n", what,
                cost.requests, static_cast<double>(cost.requests) / ours.requests, cost.datagrams,
                static_cast<double>(cost.datagrams) / ours.datagrams, cost.milliseconds,
                cost.milliseconds / ours.milliseconds);
    std::fflush(stdout);
  }

  std::string folder_;
  std::atomic<unsigned> loss_ = 0;  ///< of 100 datagrams
  /// The same losses in each run of this program.
  std::mt19937 random_{1};  // NOLINT(cert-msc51-cpp): repeatable
  Test::Simulator simulator_;
  Test::Relay relay_;
  std::string ours_;
  std::string config_;
  std::string ipmitool_;
};

}  // namespace

int main(int argc, char** argv) {
  if (!Test::Simulator::IsUsable()) {
    std::fprintf(stderr, "ipmi_peers: ipmi_sim is not installed; run scripts/setup\n");
    return 1;
  }
  std::string folder = std::filesystem::temp_directory_path() / "ipmi-peers-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return 1;
  if (argc > 1 && std::string(argv[1]) == "loss") {
    Peers(folder, "0").RunLossy(argc > 2 ? std::stoi(argv[2]) : 10);
  } else {
    const int network = argc > 2 ? std::stoi(argv[2]) : argc > 1 ? 0 : 5;
    Peers(folder, argc > 1 ? argv[1] : "0", std::chrono::microseconds(network * 500)).Run();
  }
  std::filesystem::remove_all(folder);
  return 0;
}
