#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "common/Descriptor.h"
#include "common/ErrorManager.h"
#include "providers/ipmi/CompletionCode.h"
#include "providers/ipmi/FieldTable.h"
#include "providers/ipmi/Session.h"

// The kernel's IPMI driver, spoken to directly: libfreeipmi would wait a minute for each answer of
// a BMC that has gone, and nothing could stop it.

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;

/// True for the completion codes that the driver, or what stands between it and the BMC, gives for
/// a BMC that says nothing or does not run. A BMC gives them for single requests, too.
bool CanBeSilence(std::uint8_t completion) {
  constexpr auto kOfDriver = std::to_array<std::uint8_t>({0xC3, 0xD1, 0xD2, 0xFF});
  return std::ranges::find(kOfDriver, completion) != kOfDriver.end();
}

class LocalSession final : public Transport {
 public:
  explicit LocalSession(LocalAddress address)
      : address_(std::move(address)),
        device_(open(address_.device.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK)) {
    if (!device_.IsOpen()) RaiseUnopened(errno);
  }

  Answer Send(const Request& request) override {
    if (!whyGone_.empty()) Lose(whyGone_);
    if (!isSilent_) lastWord_ = Clock::now();
    Answer answer = Exchange(request);
    if (isSilent_ && Left().count() <= 0 && !HasAWord()) {
      Lose(Describe(answer.completion, request.command));
    }
    return answer;
  }

  [[nodiscard]] const std::string& Name() const override { return address_.device; }
  [[nodiscard]] const std::string& User() const override { return user_; }
  [[nodiscard]] bool IsRemote() const override { return false; }
  void Checkpoint() const override { address_.checkpoint(); }

 private:
  [[noreturn]] void RaiseUnopened(int error) const {
    if (error == EACCES || error == EPERM) {
      ErrorManager::Raise(ErrorManager::NotPermitted, address_.device,
                          "run the command as root, or as a user who may read and write it");
    }
    if (error == ENOENT || error == ENXIO || error == ENODEV) {
      ErrorManager::Raise(ErrorManager::Unreachable,
                          "there is no " + address_.device +
                              "; load the kernel modules ipmi_devintf and ipmi_si (or ipmi_ssif), "
                              "or the machine has no BMC");
    }
    RaiseFault(error);
  }

  [[noreturn]] void RaiseFault(int error) const {
    ErrorManager::Raise(ErrorManager::Unreachable,
                        address_.device + ": " + std::generic_category().message(error));
  }

  [[noreturn]] void Lose(const std::string& why) {
    whyGone_ = why;
    ErrorManager::Raise(ErrorManager::Unreachable, address_.device + ": " + why);
  }

  /// How much longer a silent BMC is waited for.
  [[nodiscard]] std::chrono::milliseconds Left() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(lastWord_ + address_.patience -
                                                                 Clock::now());
  }

  /// Leaves `isSilent_` to say whether the answer can be the driver's.
  Answer Exchange(const Request& request) {
    isSilent_ = true;
    SendToDriver(request);
    Answer answer;
    while (!Receive(answer)) WaitForDriver();
    isSilent_ = CanBeSilence(answer.completion);
    return answer;
  }

  /// Some BMCs answer one request so for good, and every other one as they should.
  bool HasAWord() {
    constexpr std::chrono::milliseconds kForOne{1500};
    lastWord_ = Clock::now() - address_.patience + kForOne;
    Exchange({kGetDeviceId, {}});
    return !isSilent_;
  }

  void SendToDriver(const Request& request) {
    Bytes data = request.data;
    ipmi_system_interface_addr bmc = {IPMI_SYSTEM_INTERFACE_ADDR_TYPE, IPMI_BMC_CHANNEL, 0};
    ipmi_req message = {};
    message.addr = reinterpret_cast<unsigned char*>(&bmc);
    message.addr_len = sizeof bmc;
    message.msgid = ++number_;
    message.msg = {request.command.netFn, request.command.number,
                   static_cast<unsigned short>(data.size()), data.data()};
    if (ioctl(device_.Get(), IPMICTL_SEND_COMMAND, &message) != 0) RaiseFault(errno);
  }

  /// \return false when there is no answer to the last request yet.
  bool Receive(Answer& answer) {
    for (;;) {
      std::array<unsigned char, IPMI_MAX_ADDR_SIZE> sender = {};
      std::array<unsigned char, 512> data = {};
      ipmi_recv message = {};
      message.addr = sender.data();
      message.addr_len = sender.size();
      message.msg.data = data.data();
      message.msg.data_len = data.size();
      if (ioctl(device_.Get(), IPMICTL_RECEIVE_MSG_TRUNC, &message) != 0 && errno != EMSGSIZE) {
        if (errno == EAGAIN || errno == EINTR) return false;
        RaiseFault(errno);
      }
      // Events, and the answer to a request that was given up, are nobody's.
      const bool isOurs = message.recv_type == IPMI_RESPONSE_RECV_TYPE && message.msgid == number_;
      if (!isOurs) continue;
      const std::size_t length = std::min<std::size_t>(message.msg.data_len, data.size());
      answer.completion = length == 0 ? IPMI_UNKNOWN_ERR_COMPLETION_CODE : data[0];
      answer.data.assign(data.begin() + std::min<std::ptrdiff_t>(1, std::ptrdiff_t(length)),
                         data.begin() + std::ptrdiff_t(length));
      return true;
    }
  }

  void WaitForDriver() {
    constexpr std::chrono::milliseconds kSlice{500};
    const std::chrono::milliseconds left = Left();
    if (left.count() <= 0) Lose("no answer");
    pollfd readable = {device_.Get(), POLLIN, 0};
    // Who wants to stop does not break off the requests of a BMC that answers.
    if (poll(&readable, 1, static_cast<int>(std::min(kSlice, left).count())) == 0) Checkpoint();
  }

  LocalAddress address_;
  Common::Descriptor device_;
  std::string user_;
  long number_ = 0;        ///< of the last request
  bool isSilent_ = false;  ///< nothing since `lastWord_` came from the BMC itself
  std::string whyGone_;    ///< empty while it is there
  Clock::time_point lastWord_;
};

}  // namespace

std::unique_ptr<Transport> OpenLocal(const LocalAddress& address) {
  return std::make_unique<LocalSession>(address);
}

}  // namespace Ipmi
