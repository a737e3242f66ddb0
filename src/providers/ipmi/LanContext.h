#pragma once

#include <freeipmi/freeipmi.h>

#include <chrono>
#include <memory>
#include <string>
#include <type_traits>

#include "providers/ipmi/Message.h"
#include "providers/ipmi/Session.h"

/// One session of libfreeipmi, which sends one request at a time.
namespace Ipmi {

struct CloseContext {
  void operator()(ipmi_ctx_t context) const {
    ipmi_ctx_close(context);
    ipmi_ctx_destroy(context);
  }
};
using Context = std::unique_ptr<std::remove_pointer_t<ipmi_ctx_t>, CloseContext>;

/// How a login is tried, and the session then kept.
struct Way {
  std::uint8_t suite;
  /// A BMC that is silent for so long has gone.
  std::chrono::milliseconds patience;
  /// A datagram without an answer is sent again after that. An answer to the first one no longer
  /// counts then, so it must be longer than the BMC takes.
  std::chrono::milliseconds resendAfter;
};

/// What has become of a login.
struct Opened {
  Context context;     ///< null when it has failed
  int number = 0;      ///< what the library then says; 0 when it names no fault
  std::string detail;  ///< the same in its words
};

/// Logs in with the privilege ADMIN.
[[nodiscard]] Opened OpenContext(const RemoteAddress& address, const Way& way);

/// Sends over an open context. \return false when the library fails; its number says why.
[[nodiscard]] bool SendOver(ipmi_ctx_t context, const Request& request, Answer& answer);

}  // namespace Ipmi
