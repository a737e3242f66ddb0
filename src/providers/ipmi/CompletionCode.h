#pragma once

#include <cstdint>
#include <string>

#include "providers/ipmi/Message.h"

namespace Ipmi {

/// What a completion code says of a read.
enum class Verdict {
  Done,
  Absent,      ///< the BMC does not have what was asked for
  Busy,        ///< ask again
  NotNow,      ///< ask again, but it can be for good
  NotAllowed,  ///< the session may not ask
  Failed,      ///< says nothing of what was asked for
};

[[nodiscard]] Verdict Judge(std::uint8_t completion);

/// A completion code of `command` in words, a part of a sentence that ends in the code itself.
[[nodiscard]] std::string Describe(std::uint8_t completion, const Command& command);

/// For example "command 0Ch/02h".
[[nodiscard]] std::string Describe(const Command& command);

/// For example "command 0Ch/02h with 01 10 00 00".
[[nodiscard]] std::string Describe(const Request& request);

}  // namespace Ipmi
