#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

namespace Ipmi {

using Bytes = std::vector<std::uint8_t>;

/// A command of the IPMI command set: network function of the request, and command number.
struct Command {
  std::uint8_t netFn;
  std::uint8_t number;
  // The check takes the comparison with 0 that is made here for one with a null pointer.
  auto operator<=>(const Command&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// A command with its request data.
struct Request {
  Command command;
  Bytes data;
  // The check takes the comparison with 0 that is made here for one with a null pointer.
  auto operator<=>(const Request&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// What the BMC says to a request: a completion code, 0 for done, and the data behind it.
struct Answer {
  std::uint8_t completion = 0;
  Bytes data;
};

/// Carries requests to one BMC and its answers back.
class Transport {
 public:
  Transport() = default;
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  virtual ~Transport() = default;

  /// Any completion code is an answer. \throws ResultStatus  Unreachable, NotPermitted, BadAnswer.
  virtual Answer Send(const Request& request) = 0;
  /// How messages name the BMC.
  [[nodiscard]] virtual const std::string& Name() const = 0;
  /// The user who is logged in; empty for the null user. \see IsRemote
  [[nodiscard]] virtual const std::string& User() const = 0;
  /// True when requests travel over a network channel of the BMC, which settings can cut off.
  [[nodiscard]] virtual bool IsRemote() const = 0;
  /// To be called again and again by whoever waits between requests; may throw to stop.
  virtual void Checkpoint() const {}
};

}  // namespace Ipmi
