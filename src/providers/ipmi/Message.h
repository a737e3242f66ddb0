#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
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

/// Several requests on their way to a BMC at a time; for reads alone.
class Window {
 public:
  Window() = default;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  virtual ~Window() = default;

  /// The answers in the order of the requests, each one that gives or denies what was asked for.
  /// Those that are missing can be asked for one after the other, which shows what is wrong.
  /// Throws only to stop (`Transport::Checkpoint`).
  virtual std::vector<std::optional<Answer>> Send(const std::vector<Request>& requests) = 0;
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
  /// Nothing where it would be no gain, or has been trouble. While there is a window, requests go
  /// through it alone.
  [[nodiscard]] virtual std::unique_ptr<Window> OpenWindow() { return nullptr; }
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
