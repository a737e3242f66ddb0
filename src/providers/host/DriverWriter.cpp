#include "providers/host/DriverWriter.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/host/DriverPassword.h"

namespace Host {
namespace {

namespace fs = std::filesystem;
using Fate = SDK::WriteNote::Fate;

/// Whether a driver saves each write or many in one go, where it can do both. Firmware of this kind
/// takes 48 single saves until somebody enters its setup; after a save of many it takes no other
/// until a restart, which is why a few writes stay single.
class BulkSave {
 public:
  BulkSave(const fs::path& driver, const KernelWriter& write)
      : file_(driver / "attributes/save_settings"), write_(write), mode_(ReadText(file_).text) {}
  BulkSave(const BulkSave&) = delete;
  BulkSave& operator=(const BulkSave&) = delete;
  ~BulkSave() {
    if (isOurs_) static_cast<void>(write_(file_, "single\n"));
  }

  /// True when many settings wait in the driver, or may.
  [[nodiscard]] bool IsOn() const { return mode_ == "bulk"; }

  [[nodiscard]] const fs::path& File() const { return file_; }

  void Begin(std::size_t writes) {
    constexpr std::size_t kMostSingleSaves = 40;
    if (writes <= kMostSingleSaves || mode_ != "single") return;
    isOurs_ = write_(file_, "bulk\n") == 0;
    if (isOurs_) mode_ = "bulk";
  }

  /// Saves what was written. \return 0 or an errno
  int End() {
    const int error = write_(file_, "save\n");
    if (error == 0) isOurs_ = false;
    return error;
  }

 private:
  fs::path file_;
  const KernelWriter& write_;
  std::string mode_;
  bool isOurs_ = false;
};

bool WaitsForRestart(const fs::path& driver) {
  return ReadText(driver / "attributes/pending_reboot").text == "1";
}

/// What a refused write is when the password is not in doubt.
std::string Reason(int error) {
  return IsDenied(error) ? "the firmware keeps it locked: " + Words(error) : Words(error);
}

/// The writes to one driver while it has the password.
class Writing {
 public:
  Writing(const fs::path& driver, const std::string* password, const KernelWriter& write)
      : write_(write) {
    if (password != nullptr) password_.emplace(driver, *password, write);
    isProven_ = password == nullptr;
  }

  /// \return 0 or an errno \throws ResultStatus  PasswordRefused
  int Write(const fs::path& file, const std::string& text) {
    if (password_) password_->Give();
    const int error = write_(file, text);
    if (password_) password_->WriteDone();
    if (!isProven_ && MayBePassword(error)) RaiseWrongPassword(file, error);
    isProven_ = isProven_ || error == 0;
    return error;
  }

  /// Has the driver save what it was given, which is when some first look at the password.
  /// \return 0 or an errno
  int Save(BulkSave& bulk) {
    if (!bulk.IsOn()) return 0;
    if (password_) password_->Give();
    return bulk.End();
  }

  /// True when an error of `Save` can mean a wrong password.
  [[nodiscard]] bool MayBeOfPassword(int error) const {
    return password_.has_value() && MayBePassword(error);
  }

  [[noreturn]] void RaiseWrongPassword(const fs::path& file, int error) {
    std::string reason = "the firmware refused the first write with it, of " + file.string() +
                         " (" + Words(error) +
                         "); 1 attempt is used up, and firmware locks after a few";
    if (const std::string fault = password_->TakeBack(); !fault.empty()) reason += "; " + fault;
    ErrorManager::Raise(ErrorManager::PasswordRefused, reason);
  }

  /// \throws ResultStatus  WriteFailed
  void End() {
    const std::string fault = password_ ? password_->TakeBack() : "";
    if (!fault.empty()) {
      ErrorManager::Raise(ErrorManager::WriteFailed, password_->File().string(), fault);
    }
  }

 private:
  static bool MayBePassword(int error) { return IsDenied(error) || error == EINVAL; }

  const KernelWriter& write_;
  std::optional<DriverPassword> password_;
  bool isProven_;  ///< a write with the password was taken
};

/// What has become of a write that the driver has taken.
std::optional<SDK::WriteNote> NoteOn(const Change& change, int unsaved, bool isPending) {
  if (unsaved != 0) {
    return SDK::WriteNote{change.path, Fate::Refused, "it was not saved: " + Reason(unsaved)};
  }
  const bool isShown =
      SameValue(*change.attribute, ReadText(change.attribute->ValueFile()).text, change.value);
  if (isPending) {
    return SDK::WriteNote{change.path, Fate::Pending,
                          isShown ? "the firmware waits for a restart"
                                  : "to be verified: until the restart the firmware shows another "
                                    "value"};
  }
  if (isShown) return std::nullopt;
  return SDK::WriteNote{change.path, Fate::Ignored, "the firmware kept its value"};
}

}  // namespace

void ArrangeByTerms(std::vector<Change>& changes, const ValueOf& valueOf,
                    std::vector<SDK::WriteNote>& notes) {
  std::map<std::string, std::string> wanted;
  for (const Change& change : changes) wanted[change.attribute->OwnName()] = change.value;
  const ValueOf valueAfter = [&](const std::string& name) {
    const auto found = wanted.find(name);
    return found == wanted.end() ? valueOf(name) : std::optional(found->second);
  };
  std::vector<Change> phases[3];  // what the batch locks, what it leaves, what it unlocks
  for (Change& change : changes) {
    int phase = 1;
    std::string objection;
    for (const Term& term : change.attribute->terms) {
      const std::string ofTerm = Objection(term, change.value);
      if (ofTerm.empty()) continue;
      const bool isNow = Holds(term, valueOf).value_or(false);
      const bool isAfter = Holds(term, valueAfter).value_or(false);
      if (isNow && isAfter && objection.empty()) objection = ofTerm;
      if (term.effect == Term::Effect::Force && isAfter) objection = ofTerm;
      if (isNow != isAfter) phase = isNow ? 2 : 0;
    }
    if (objection.empty()) {
      phases[phase].push_back(std::move(change));
    } else {
      notes.push_back({change.path, Fate::Refused, objection});
    }
  }
  changes.clear();
  for (std::vector<Change>& phase : phases) std::ranges::move(phase, std::back_inserter(changes));
}

void WriteToDriver(const fs::path& driver, const std::vector<Change>& changes,
                   const std::string* password, const KernelWriter& write,
                   std::vector<SDK::WriteNote>& notes) {
  BulkSave bulk(driver, write);
  if (bulk.IsOn() && WaitsForRestart(driver)) {
    for (const Change& change : changes) {
      notes.push_back({change.path, Fate::Refused,
                       "the driver has saved many settings in one go and takes no other before a "
                       "restart"});
    }
    return;
  }
  bulk.Begin(changes.size());
  Writing writing(driver, password, write);
  std::vector<const Change*> waiting;
  waiting.reserve(changes.size());
  for (const Change& change : changes) waiting.push_back(&change);
  std::vector<const Change*> taken;
  std::map<const Change*, int> refused;
  for (bool again = true; again;) {  // a setting may depend on one behind it
    const std::size_t before = taken.size();
    for (const Change* change : std::exchange(waiting, {})) {
      const std::string text = Written(*change->attribute, change->value) + "\n";
      const int error = writing.Write(change->attribute->ValueFile(), text);
      if (error == 0) {
        taken.push_back(change);
      } else if (refused.emplace(change, error).second) {
        waiting.push_back(change);
      }
      if (error == 0) refused.erase(change);
    }
    again = !waiting.empty() && taken.size() > before;
  }
  const int unsaved = taken.empty() ? 0 : writing.Save(bulk);
  for (const auto& [change, error] : refused) {
    notes.push_back({change->path, Fate::Refused, Reason(error)});
  }
  const bool isPending = WaitsForRestart(driver);
  for (const Change* change : taken) {
    if (auto note = NoteOn(*change, unsaved, isPending)) notes.push_back(std::move(*note));
  }
  if (writing.MayBeOfPassword(unsaved)) writing.RaiseWrongPassword(bulk.File(), unsaved);
  writing.End();
}

}  // namespace Host
