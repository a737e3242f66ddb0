#include "providers/ipmi/Session.h"

#include <fcntl.h>
#include <freeipmi/freeipmi.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "common/Descriptor.h"
#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "providers/ipmi/CompletionCode.h"

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kWorkarounds = std::to_array<Workaround>({
    {"authcap", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES},
    {"intel20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION},
    {"supermicro20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION},
    {"sun20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION},
    {"opensesspriv", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE},
    {"integritycheckvalue", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NON_EMPTY_INTEGRITY_CHECK_VALUE},
    {"nochecksumcheck", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NO_CHECKSUM_CHECK},
});

/// Best first: SHA-256 with AES, SHA-1 with AES. Suite 0 has no authentication at all.
constexpr auto kCipherSuites = std::to_array<std::uint8_t>({17, 3});

/// What a failure of the library is to the callers of this one.
struct FailureRow {
  int number;
  int error;
  const char* text;
};

constexpr auto kFailures = std::to_array<FailureRow>({
    {IPMI_ERR_PERMISSION, ErrorManager::NotPermitted, "the permission is missing"},
    {IPMI_ERR_USERNAME_INVALID, ErrorManager::NotPermitted, "it has no such user"},
    {IPMI_ERR_PASSWORD_INVALID, ErrorManager::NotPermitted, "the password is wrong"},
    {IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, ErrorManager::NotPermitted,
     "it broke off the login, mostly because the password is wrong"},
    {IPMI_ERR_K_G_INVALID, ErrorManager::NotPermitted,
     "it wants a BMC key (K_g), which is not supported"},
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, ErrorManager::NotPermitted,
     "the privilege of the user is too low"},
    {IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, ErrorManager::NotPermitted,
     "the user does not get the privilege ADMIN there, or the BMC needs the workaround "
     "\"opensesspriv\""},
    {IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE, ErrorManager::NotPermitted,
     "it offers no way to log in with this privilege; some BMCs need the workaround \"authcap\""},
    {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, ErrorManager::NotPermitted,
     "it offers neither cipher suite 17 nor 3"},
    {IPMI_ERR_IPMI_2_0_UNAVAILABLE, ErrorManager::BadAnswer, "it does not speak IPMI 2.0"},
    {IPMI_ERR_CONNECTION_TIMEOUT, ErrorManager::Unreachable, "no answer"},
    {IPMI_ERR_SESSION_TIMEOUT, ErrorManager::Unreachable, "the session is lost"},
    {IPMI_ERR_MESSAGE_TIMEOUT, ErrorManager::Unreachable, "no answer"},
    {IPMI_ERR_DRIVER_TIMEOUT, ErrorManager::Unreachable, "no answer from the driver"},
    {IPMI_ERR_HOSTNAME_INVALID, ErrorManager::Unreachable, "there is no host of that name"},
});

[[noreturn]] void RaiseFailure(const std::string& name, int number, const std::string& detail) {
  const auto* row = std::ranges::find(kFailures, number, &FailureRow::number);
  const std::string text = row == kFailures.end() ? detail : row->text;
  const int error = row == kFailures.end() ? int{ErrorManager::Unreachable} : row->error;
  if (error == ErrorManager::Unreachable) ErrorManager::Raise(error, name + ": " + text);
  ErrorManager::Raise(error, name, text);
}

struct CloseContext {
  void operator()(ipmi_ctx_t context) const {
    ipmi_ctx_close(context);
    ipmi_ctx_destroy(context);
  }
};
using Context = std::unique_ptr<std::remove_pointer_t<ipmi_ctx_t>, CloseContext>;

Context MakeContext() {
  Context context(ipmi_ctx_create());
  if (!context) throw std::bad_alloc();
  return context;
}

/// Sends over an open context. \return false when the library fails; its number says why.
bool SendOver(ipmi_ctx_t context, const Request& request, Answer& answer) {
  Bytes buffer = {request.command.number};
  buffer.insert(buffer.end(), request.data.begin(), request.data.end());
  std::array<std::uint8_t, 512> reply = {};
  const int length = ipmi_cmd_raw(context, 0, request.command.netFn, buffer.data(),
                                  static_cast<unsigned>(buffer.size()), reply.data(),
                                  static_cast<unsigned>(reply.size()));
  if (length < 0) return false;
  // The command number comes back before the completion code.
  answer.completion = length < 2 ? 0xFF : reply[1];
  answer.data.assign(reply.begin() + std::min(length, 2), reply.begin() + length);
  return true;
}

class RemoteSession final : public Transport {
 public:
  // A copy: what is moved from would keep a short password.
  explicit RemoteSession(const RemoteAddress& address) : address_(address) { Open(); }
  RemoteSession(const RemoteSession&) = delete;
  RemoteSession& operator=(const RemoteSession&) = delete;
  ~RemoteSession() override = default;

  Answer Send(const Request& request) override {
    if (!context_) RaiseFailure(address_.host, IPMI_ERR_SESSION_TIMEOUT, {});
    // A person has been asked something meanwhile: the library takes a pause for a lost session,
    // and a BMC ends one after a minute.
    if (Clock::now() - lastAnswer_ > address_.patience / 2) Open();
    Answer answer;
    if (!SendOver(context_.get(), request, answer)) {
      const int number = ipmi_ctx_errnum(context_.get());
      const std::string detail = ipmi_ctx_errormsg(context_.get());
      context_.reset();  // every further request would wait in vain
      RaiseFailure(address_.host, number, detail + " at " + Describe(request.command));
    }
    lastAnswer_ = Clock::now();
    return answer;
  }

  [[nodiscard]] const std::string& Name() const override { return address_.host; }
  [[nodiscard]] const std::string& User() const override { return address_.user; }
  [[nodiscard]] bool IsRemote() const override { return true; }

 private:
  void Open() {
    context_.reset();
    unsigned workarounds = 0;
    for (const Workaround& workaround : kWorkarounds) {
      if (std::ranges::find(address_.workarounds, workaround.name) != address_.workarounds.end()) {
        workarounds |= workaround.flag;
      }
    }
    int number = 0;
    std::string detail;
    for (const std::uint8_t suite : kCipherSuites) {
      Context context = MakeContext();
      const auto patience = static_cast<unsigned>(address_.patience.count());
      const auto resendAfter = static_cast<unsigned>(address_.resendAfter.count());
      if (ipmi_ctx_open_outofband_2_0(
              context.get(), address_.host.c_str(),
              address_.user.empty() ? nullptr : address_.user.c_str(),
              address_.password.empty() ? nullptr : address_.password.c_str(), nullptr, 0,
              IPMI_PRIVILEGE_LEVEL_ADMIN, suite, patience, resendAfter, workarounds,
              IPMI_FLAGS_DEFAULT) == 0) {
        context_ = std::move(context);
        lastAnswer_ = Clock::now();
        return;
      }
      number = ipmi_ctx_errnum(context.get());
      detail = ipmi_ctx_errormsg(context.get());
      // BMCs without a suite say so in different ways; a login that is refused is not tried again.
      const bool lacksSuite = number == IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE ||
                              number == IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE ||
                              number == IPMI_ERR_IPMI_ERROR;
      if (!lacksSuite) break;
    }
    RaiseFailure(address_.host, number, detail);
  }

  RemoteAddress address_;
  Common::WipeOnExit<std::string> wipe_{address_.password};
  Context context_;
  Clock::time_point lastAnswer_;
};

class LocalSession final : public Transport {
 public:
  explicit LocalSession(const std::string& device) : device_(device) {
    CheckAccess();
    context_ = MakeContext();
    if (ipmi_ctx_open_inband(context_.get(), IPMI_DEVICE_OPENIPMI, 0, 0, 0, device.c_str(), 0,
                             IPMI_FLAGS_DEFAULT) < 0) {
      RaiseFailure(device_, ipmi_ctx_errnum(context_.get()), ipmi_ctx_errormsg(context_.get()));
    }
  }

  Answer Send(const Request& request) override {
    Answer answer;
    if (!SendOver(context_.get(), request, answer)) {
      RaiseFailure(device_, ipmi_ctx_errnum(context_.get()), ipmi_ctx_errormsg(context_.get()));
    }
    return answer;
  }

  [[nodiscard]] const std::string& Name() const override { return device_; }
  [[nodiscard]] const std::string& User() const override { return user_; }
  [[nodiscard]] bool IsRemote() const override { return false; }

 private:
  /// The library says the same of all that can be wrong with the device.
  void CheckAccess() const {
    const Common::Descriptor device(open(device_.c_str(), O_RDWR | O_CLOEXEC));
    if (device.IsOpen()) return;
    const int error = errno;
    if (error == EACCES || error == EPERM) {
      ErrorManager::Raise(ErrorManager::NotPermitted, device_,
                          "run the command as root, or as a user who may read and write it");
    }
    if (error == ENOENT || error == ENXIO || error == ENODEV) {
      ErrorManager::Raise(ErrorManager::Unreachable,
                          "there is no " + device_ +
                              "; load the kernel modules ipmi_devintf and ipmi_si (or ipmi_ssif), "
                              "or the machine has no BMC");
    }
    ErrorManager::Raise(ErrorManager::Unreachable,
                        device_ + ": " + std::generic_category().message(error));
  }

  std::string device_;
  std::string user_;
  Context context_;
};

}  // namespace

std::span<const Workaround> Workarounds() {
  return kWorkarounds;
}

std::unique_ptr<Transport> OpenRemote(const RemoteAddress& address) {
  return std::make_unique<RemoteSession>(address);
}

std::unique_ptr<Transport> OpenLocal(const std::string& device) {
  return std::make_unique<LocalSession>(device);
}

}  // namespace Ipmi
