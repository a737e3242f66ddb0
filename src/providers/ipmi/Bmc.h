#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "providers/ipmi/Message.h"

namespace Ipmi {

/// A BMC with the memory of its answers: a request that was asked before costs nothing, until a
/// write touches what it asked for.
class Bmc {
 public:
  explicit Bmc(std::unique_ptr<Transport> transport) : transport_(std::move(transport)) {}

  /// The data of the answer, or nothing when the BMC does not have what is asked for.
  /// \throws ResultStatus  Unreachable; NotPermitted; BadAnswer, when it neither gives nor denies.
  const std::optional<Bytes>& Ask(const Request& request);

  /// Changes something. \return the completion code. \throws ResultStatus  Unreachable.
  std::uint8_t Tell(const Request& request);

  /// Forgets the answers to the requests that `isTouched` holds for.
  void Forget(const std::function<bool(const Request&)>& isTouched);

  [[nodiscard]] const Transport& Session() const { return *transport_; }

 private:
  Answer SendPatiently(const Request& request);

  std::unique_ptr<Transport> transport_;
  std::map<Request, std::optional<Bytes>> answers_;
};

}  // namespace Ipmi
