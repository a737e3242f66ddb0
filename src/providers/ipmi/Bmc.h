#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "providers/ipmi/CompletionCode.h"
#include "providers/ipmi/Message.h"

namespace Ipmi {

/// How long a slow BMC is waited for.
struct Patience {
  std::chrono::milliseconds busy = std::chrono::seconds(15);   ///< while it says "not now"
  std::chrono::milliseconds settle = std::chrono::seconds(6);  ///< until it shows what it has taken
};

/// A BMC with the memory of its answers: a request that was asked before costs nothing, until a
/// write touches what it asked for.
class Bmc {
 public:
  explicit Bmc(std::unique_ptr<Transport> transport, const Patience& patience = {})
      : transport_(std::move(transport)), patience_(patience) {}

  /// The data of the answer, or nothing when the BMC does not have what is asked for. An answer
  /// that neither gives nor denies is none either, with a warning.
  /// \throws ResultStatus  Unreachable, also when it is busy for good; NotPermitted.
  const std::optional<Bytes>& Ask(const Request& request);

  /// Asks ahead, several requests at a time where the transport takes that, for what `read` is
  /// going to ask for. `read` is run without a BMC, again and again: what it asks for that is not
  /// known yet is noted and looks like absent, and it must not throw. It changes no answer;
  /// whatever is odd is left to be asked in the ordinary way.
  void FetchAhead(const std::function<void()>& read);

  /// The completion code of what was asked before; FFh, unspecified, of anything else.
  [[nodiscard]] std::uint8_t CompletionOf(const Request& request) const;

  /// Changes something. \return the completion code. \throws ResultStatus  Unreachable.
  std::uint8_t Tell(const Request& request);

  /// Forgets the answers to the requests that `isTouched` holds for.
  void Forget(const std::function<bool(const Request&)>& isTouched);

  /// Warns, once for each request, that its answer is left out of the setting that is read.
  void Warn(const Request& request, const std::string& why);

  /// Names the setting that is read while it exists, for warnings.
  class Subject {
   public:
    Subject(Bmc& bmc, const std::string& path) : bmc_(bmc) {
      bmc_.subject_ = path;
      bmc_.isStuck_ = false;
    }
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;
    ~Subject() {
      bmc_.subject_.clear();
      bmc_.isStuck_ = false;
    }

   private:
    Bmc& bmc_;
  };

  [[nodiscard]] const Transport& Session() const { return *transport_; }
  [[nodiscard]] const Patience& HowPatient() const { return patience_; }

 private:
  struct Known {
    std::optional<Bytes> data;
    std::uint8_t completion;
  };

  Answer SendPatiently(const Request& request);
  const std::optional<Bytes>& Keep(const Request& request, Answer answer);
  const std::optional<Bytes>& Note(const Request& request);
  [[nodiscard]] std::vector<Request> UnknownOf(const std::function<void()>& read);

  std::unique_ptr<Transport> transport_;
  Patience patience_;
  std::map<Request, Known> answers_;
  std::set<Request> warned_;
  std::vector<Request>* noted_ = nullptr;  ///< what is not known, while nothing is asked
  bool isStuck_ = false;  ///< the subject has met something unknown, which the rest may depend on
  std::string subject_;
  std::set<std::uint8_t> wornOut_;  ///< codes that a whole wait has not ended
  int busyInARow_ = 0;              ///< requests for which the BMC stayed busy
  std::string busyForGood_;         ///< why nothing is asked any more; empty while something is
};

}  // namespace Ipmi
