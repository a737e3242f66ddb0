#include "providers/ipmi/Session.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "providers/ipmi/CompletionCode.h"
#include "providers/ipmi/FieldTable.h"
#include "providers/ipmi/LanContext.h"
#include "providers/ipmi/SideSessions.h"

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;

/// Ours: no session beside the first, however slow the answers are.
constexpr const char* kOneSession = "onesession";

constexpr auto kWorkarounds = std::to_array<Workaround>({
    {"authcap", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_AUTHENTICATION_CAPABILITIES},
    {"intel20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION},
    {"supermicro20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION},
    {"sun20", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION},
    {"opensesspriv", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE},
    {"integritycheckvalue", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NON_EMPTY_INTEGRITY_CHECK_VALUE},
    {"nochecksumcheck", IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_NO_CHECKSUM_CHECK},
    {kOneSession, 0},
});

/// IPMI 2.0, table 22-20, those with authentication, integrity and encryption: SHA-256 with AES,
/// SHA-1 with AES, and for BMCs that have neither, MD5 with AES.
constexpr auto kCipherSuites = std::to_array<std::uint8_t>({17, 3, 8, 12});

/// What a failure of the library is to the callers of this one.
struct FailureRow {
  int number;
  int error;
  const char* text;
};

constexpr auto kFailures = std::to_array<FailureRow>({
    {IPMI_ERR_USERNAME_INVALID, ErrorManager::LoginRefused, "it has no such user"},
    {IPMI_ERR_PASSWORD_INVALID, ErrorManager::LoginRefused, "the password is wrong"},
    {IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, ErrorManager::LoginRefused,
     "it broke off the login, mostly because the password is wrong"},
    {IPMI_ERR_K_G_INVALID, ErrorManager::LoginRefused,
     "it wants a BMC key (K_g), and not the one that was given"},
    {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, ErrorManager::LoginRefused,
     "the privilege of the user is too low"},
    {IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED, ErrorManager::LoginRefused,
     "the user does not get the privilege ADMIN there, or the BMC needs the workaround "
     "\"opensesspriv\""},
    {IPMI_ERR_AUTHENTICATION_TYPE_UNAVAILABLE, ErrorManager::LoginRefused,
     "it offers no way to log in with this privilege; some BMCs need the workaround \"authcap\""},
    {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, ErrorManager::LoginRefused,
     "it offers none of the cipher suites that were tried"},
    {IPMI_ERR_IPMI_2_0_UNAVAILABLE, ErrorManager::BadAnswer, "it does not speak IPMI 2.0"},
    {IPMI_ERR_CONNECTION_TIMEOUT, ErrorManager::Unreachable, "no answer"},
    {IPMI_ERR_SESSION_TIMEOUT, ErrorManager::Unreachable, "the session is lost"},
    {IPMI_ERR_MESSAGE_TIMEOUT, ErrorManager::Unreachable, "no answer"},
    {IPMI_ERR_HOSTNAME_INVALID, ErrorManager::Unreachable, "there is no host of that name"},
});

/// `detail` is what the library says of it.
FailureRow RowFor(int number, const std::string& detail) {
  const auto* row = std::ranges::find(kFailures, number, &FailureRow::number);
  return row != kFailures.end() ? *row
                                : FailureRow{number, ErrorManager::Unreachable, detail.c_str()};
}

[[noreturn]] void RaiseFailure(const std::string& name, int number, const std::string& detail) {
  const FailureRow row = RowFor(number, detail);
  if (row.error == ErrorManager::Unreachable)
    ErrorManager::Raise(row.error, name + ": " + row.text);
  ErrorManager::Raise(row.error, name, row.text);
}

/// What a login that has failed means for the next try.
enum class Login { Done, Refused, NoSuite, Silent, Doubtful, Muddled };

Login Judge(int number) {
  switch (number) {
    case 0:
      return Login::Done;
    case IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE:  // BMCs without a suite say so in different ways
    case IPMI_ERR_BAD_RMCPPLUS_STATUS_CODE:
    case IPMI_ERR_IPMI_ERROR:
      return Login::NoSuite;
    case IPMI_ERR_CONNECTION_TIMEOUT:
    case IPMI_ERR_SESSION_TIMEOUT:
    case IPMI_ERR_MESSAGE_TIMEOUT:
      return Login::Silent;
    case IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT:  // a wrong password, or a datagram was lost
      return Login::Doubtful;
    default:  // not tried again: BMCs lock accounts
      return Login::Refused;
  }
}

class RemoteSession final : public Transport {
 public:
  // A copy: what is moved from would keep a short password.
  explicit RemoteSession(const RemoteAddress& address) : address_(address) { LogIn(); }
  RemoteSession(const RemoteSession&) = delete;
  RemoteSession& operator=(const RemoteSession&) = delete;
  ~RemoteSession() override = default;

  Answer Send(const Request& request) override {
    if (!context_) RaiseFailure(address_.host, IPMI_ERR_SESSION_TIMEOUT, {});
    // A person has been asked something meanwhile: the library takes a pause for a lost session,
    // and a BMC ends one after a minute.
    if (Clock::now() - lastAnswer_ > way_.patience / 2) LogInAgain(way_);
    Answer answer;
    auto sent = Clock::now();
    while (!SendOver(context_.get(), request, answer)) {
      const bool isSilent = Judge(ipmi_ctx_errnum(context_.get())) == Login::Silent;
      if (!isSilent || ++slowness_ == kSlowness.size()) Lose(request);
      LogInAgain({way_.suite, address_.patience / 2, ResendAfter(slowness_)});
      sent = Clock::now();
    }
    // It is the network that has lost something, and not the BMC that is slow.
    if (Clock::now() - sent < address_.resendAfter) slowness_ = 0;
    lastAnswer_ = Clock::now();
    return answer;
  }

  [[nodiscard]] std::unique_ptr<Window> OpenWindow() override {
    if (hasTrouble_ || !context_ || roundTrip_ < kSlow) return nullptr;
    if (HasWorkaround(address_, kOneSession)) return nullptr;
    const std::size_t beside = SessionsToSpare();
    if (beside == 0) return nullptr;
    const auto sendOwn = [this](const Request& request, Answer& answer) {
      address_.checkpoint();
      if (!SendOver(context_.get(), request, answer)) return false;
      lastAnswer_ = Clock::now();
      return true;
    };
    const auto patience = std::min(kBrief, way_.patience) / 3;
    const Way way{way_.suite, patience, std::min(way_.resendAfter, patience / 2)};
    return std::make_unique<SideSessions>(address_, way, beside, sendOwn, hasTrouble_);
  }

  [[nodiscard]] const std::string& Name() const override { return address_.host; }
  [[nodiscard]] const std::string& User() const override { return address_.user; }
  [[nodiscard]] bool IsRemote() const override { return true; }
  void Checkpoint() const override { address_.checkpoint(); }

 private:
  /// How much longer than at first a datagram is waited for, the slower a BMC seems to be. A
  /// session that is lost once is no sign of that.
  static constexpr auto kSlowness = std::to_array<int>({1, 1, 2, 6});
  /// Logins in which the BMC said something are tried so often: a lost message has many faces.
  static constexpr int kMostLogins = 4;
  static constexpr std::chrono::milliseconds kBrief{3000};

  /// A BMC of which several things are asked at a time, when an answer takes so long.
  static constexpr std::chrono::milliseconds kSlow{4};
  /// Capabilities, Open Session, RAKP 1 and 3, and the privilege.
  static constexpr int kLoginRoundTrips = 5;

  /// How many sessions can be opened and one is still left for others; also 0 when answers are
  /// quicker than the login was, or something is odd.
  [[nodiscard]] std::size_t SessionsToSpare() {
    const Request request{kGetSessionInfo, {0}};
    Answer answer;
    const auto start = Clock::now();
    hasTrouble_ = !SendOver(context_.get(), request, answer) ||
                  Clock::now() - start > way_.resendAfter || answer.completion != 0 ||
                  answer.data.size() < 3;
    if (hasTrouble_) return 0;
    lastAnswer_ = Clock::now();
    // IPMI 2.0, table 22-25: handle, possible sessions, sessions in use
    const std::size_t possible = answer.data[1] & 0x3FU;
    const std::size_t used = answer.data[2] & 0x3FU;
    if (lastAnswer_ - start < kSlow || possible <= used + 1) return 0;
    return std::min(kMostBeside, possible - used - 1);
  }

  [[nodiscard]] std::chrono::milliseconds ResendAfter(std::size_t slowness) const {
    return kSlowness.at(slowness) * address_.resendAfter;
  }

  /// Every suite gets a short time, and when the BMC was silent, once more what is left of its
  /// patience.
  void LogIn() {
    const auto end = Clock::now() + address_.patience;
    std::vector<std::uint8_t> suites(kCipherSuites.begin(), kCipherSuites.end());
    if (address_.cipherSuite != 0) suites = {address_.cipherSuite};
    for (int round = 0; round < kMostLogins; ++round) {
      const bool isSecond = round > 0;
      bool wasSilent = false;
      isHeard_ = false;
      for (const std::uint8_t suite : suites) {
        address_.checkpoint();
        auto patience = std::min(kBrief, address_.patience / 3);
        if (isSecond) {
          const auto left =
              std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
          // The library looks at the clock when it sends again, and the pauses before that grow.
          patience = std::max(left - ResendAfter(2), patience);
        }
        const Login login = Try({suite, patience, ResendAfter(isSecond ? 2 : 0)});
        if (login == Login::Done) return;
        if (login == Login::Refused || (login == Login::Doubtful && isSecond)) {
          RaiseFailure(address_.host, number_, detail_);
        }
        wasSilent |= login != Login::NoSuite;
        if (login == Login::Muddled || login == Login::Doubtful) break;
        if (wasSilent && suite == kCipherSuites[1]) break;
        if (isSecond && !isHeard_ && Clock::now() > end) break;
      }
      if (isSecond && !(wasSilent && isHeard_)) break;
    }
    RaiseFailure(address_.host, number_, detail_);
  }

  /// \throws ResultStatus  Unreachable, whatever the reason: the session is lost.
  void LogInAgain(const Way& way) {
    isHeard_ = false;
    Login login = Try(way);
    for (int tries = 1; tries < kMostLogins && login != Login::Done; ++tries) {
      if (login == Login::Refused || !isHeard_) break;
      login = Try(way);
    }
    if (login == Login::Done) return;
    ErrorManager::Raise(ErrorManager::Unreachable,
                        address_.host +
                            ": the session is lost, and another one cannot be opened (" +
                            RowFor(number_, detail_).text + ")");
  }

  [[nodiscard]] Login Try(const Way& way) {
    context_.reset();
    const auto start = Clock::now();
    Opened opened = OpenContext(address_, way);
    if (opened.context) {
      context_ = std::move(opened.context);
      way_ = way;
      lastAnswer_ = Clock::now();
      roundTrip_ = std::chrono::duration_cast<std::chrono::milliseconds>(lastAnswer_ - start) /
                   kLoginRoundTrips;
      return Login::Done;
    }
    number_ = opened.number;
    detail_ = opened.detail;
    isHeard_ |= number_ != IPMI_ERR_CONNECTION_TIMEOUT && number_ != IPMI_ERR_HOSTNAME_INVALID;
    if (number_ != 0) return Judge(number_);
    number_ = IPMI_ERR_SESSION_TIMEOUT;  // the library names no fault when it gets a message twice
    return Login::Muddled;
  }

  [[noreturn]] void Lose(const Request& request) {
    const int number = ipmi_ctx_errnum(context_.get());
    const std::string detail = ipmi_ctx_errormsg(context_.get());
    context_.reset();  // every further request would wait in vain
    RaiseFailure(address_.host, number, detail + " at " + Describe(request.command));
  }

  RemoteAddress address_;
  Common::WipeOnExit<std::string> wipePassword_{address_.password};
  Common::WipeOnExit<std::string> wipeKey_{address_.bmcKey};
  Context context_;
  Way way_ = {};
  std::size_t slowness_ = 0;  ///< which of `kSlowness` the BMC seems to need
  bool isHeard_ = false;      ///< the BMC has said something to a login
  int number_ = 0;            ///< of the library, for the last login that has failed
  std::string detail_;
  Clock::time_point lastAnswer_;
  std::chrono::milliseconds roundTrip_{0};  ///< of the login, in the mean
  bool hasTrouble_ = false;                 ///< with requests side by side
};

}  // namespace

std::span<const Workaround> Workarounds() {
  return kWorkarounds;
}

bool HasWorkaround(const RemoteAddress& address, std::string_view name) {
  return std::ranges::find(address.workarounds, name) != address.workarounds.end();
}

std::span<const std::uint8_t> CipherSuites() {
  return kCipherSuites;
}

std::unique_ptr<Transport> OpenRemote(const RemoteAddress& address) {
  return std::make_unique<RemoteSession>(address);
}

}  // namespace Ipmi
