#include "providers/ipmi/Restart.h"

#include <string>
#include <thread>

#include "common/ErrorManager.h"

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Command kGetStatus{0x00, 0x01};
constexpr Command kControl{0x00, 0x02};
constexpr std::uint8_t kPowerIsOn = 0x01;  ///< in the first byte of the status

/// What Chassis Control does (IPMI 2.0, table 28-4).
enum class Control : std::uint8_t { PowerUp = 1, HardReset = 3, SoftShutdown = 5 };

constexpr std::chrono::milliseconds kPause{500};

[[noreturn]] void Fail(const std::string& why) {
  ErrorManager::Raise(ErrorManager::WriteFailed, "The restart", why);
}

/// \return why the BMC refuses it; empty when it does not.
std::string Tell(Bmc& bmc, Control control) {
  const std::uint8_t completion = bmc.Tell({kControl, {static_cast<std::uint8_t>(control)}});
  return completion == 0 ? "" : Describe(completion, kControl);
}

void TellOrFail(Bmc& bmc, Control control) {
  if (const std::string refusal = Tell(bmc, control); !refusal.empty()) Fail(refusal);
}

bool IsOn(Bmc& bmc) {
  bmc.Forget([](const Request& request) { return request.command == kGetStatus; });
  const std::optional<Bytes>& status = bmc.Ask({kGetStatus, {}});
  return status && !status->empty() && (status->front() & kPowerIsOn) != 0;
}

/// Waits until the power is on, or off. \return false when it is not by `end`.
bool WaitForPower(Bmc& bmc, bool isOn, Clock::time_point end) {
  while (IsOn(bmc) != isOn) {
    if (Clock::now() >= end) return false;
    bmc.Session().Checkpoint();
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace

void RestartServer(Bmc& bmc, bool mayForce, std::chrono::seconds limit) {
  const auto start = Clock::now();
  const std::string refusal = Tell(bmc, Control::SoftShutdown);
  if (!refusal.empty() && !mayForce) Fail(refusal + "; --force resets it");
  const bool isOff =
      refusal.empty() && WaitForPower(bmc, false, start + (mayForce ? limit / 3 : limit));
  if (!isOff && !mayForce) Fail("the operating system has not ended; --force resets it");
  TellOrFail(bmc, isOff ? Control::PowerUp : Control::HardReset);
  if (!WaitForPower(bmc, true, start + limit)) {
    Fail("the server is not on after " + std::to_string(limit.count()) + " seconds");
  }
}

}  // namespace Ipmi
