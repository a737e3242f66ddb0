#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "plan/Server.h"

namespace Planning {

/// What of a restored file has taken effect.
struct Verification {
  /// A setting of the file that the server does not have, or has with another value.
  struct Missed {
    std::string section;
    std::string key;
    std::string wanted;
    std::optional<std::string> present;  ///< without: the server has no such setting
    bool isReadOnly = false;             ///< no restore can change it

    [[nodiscard]] std::string Name() const { return section + "::" + key; }
  };
  std::size_t compared = 0;
  std::vector<Missed> missed;
  std::vector<Missed> own;  ///< likewise, of what a restore never writes
  /// True when nothing is missed that a restore could have written.
  [[nodiscard]] bool IsAsWanted() const;

  std::vector<SDK::BootMessage> messages;  ///< that the server has left of its last boot
  Configuration present;                   ///< what the server has
};

/// Compares what a restore of `wanted` in `mode` writes with the server, which has `present`.
[[nodiscard]] Verification Verify(const Configuration& wanted, Configuration present, Mode mode,
                                  const Server& server);

}  // namespace Planning
