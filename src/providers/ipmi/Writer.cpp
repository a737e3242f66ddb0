#include "providers/ipmi/Writer.h"

#include <algorithm>
#include <set>
#include <thread>

#include "common/ErrorManager.h"
#include "providers/ipmi/CompletionCode.h"
#include "providers/ipmi/PageAccess.h"
#include "providers/ipmi/Reader.h"
#include "providers/ipmi/WritePlan.h"
#include "query/BmcRules.h"

namespace Ipmi {
namespace {

using Clock = std::chrono::steady_clock;
using Fate = SDK::WriteNote::Fate;
using Run = std::span<const Change>;

/// The configuration of one LAN channel while it is changed: other writers stay out, and the BMC
/// takes the parameters over together at the end.
class LanTransaction {
 public:
  LanTransaction(Bmc& bmc, std::uint8_t channel) : bmc_(bmc), channel_(channel) {
    std::uint8_t completion = SetPatiently(kInProgress, kTaken);
    if (completion == kTaken) {  // left behind by a writer that has died
      Set(kComplete);
      completion = Set(kInProgress);
    }
    isOpen_ = completion == 0;
  }
  LanTransaction(const LanTransaction&) = delete;
  LanTransaction& operator=(const LanTransaction&) = delete;
  ~LanTransaction() {
    try {
      Commit();
    } catch (...) {  // the session that it was about is lost, or somebody wants to stop
    }
  }

  /// \return the completion code. A BMC without this parameter has taken each write over at once.
  std::uint8_t Commit() {
    if (!isOpen_) return 0;
    isOpen_ = false;
    Set(kCommit);  // optional: the BMC may not know it
    std::uint8_t completion = Set(kComplete);
    for (int tries = 0; completion != 0 && tries < kTries; ++tries) {
      std::this_thread::sleep_for(kPause);
      completion = Set(kComplete);
    }
    return completion;
  }

 private:
  // IPMI 2.0, table 23-4, parameter 0
  static constexpr std::uint8_t kComplete = 0;
  static constexpr std::uint8_t kInProgress = 1;
  static constexpr std::uint8_t kCommit = 2;
  static constexpr std::uint8_t kTaken = 0x81;
  static constexpr int kTries = 5;
  static constexpr std::chrono::milliseconds kPause{200};

  std::uint8_t Set(std::uint8_t state) { return bmc_.Tell({kSetLan.set, {channel_, 0, state}}); }

  std::uint8_t SetPatiently(std::uint8_t state, std::uint8_t whileAnswerIs) {
    std::uint8_t completion = Set(state);
    for (int tries = 0; completion == whileAnswerIs && tries < kTries; ++tries) {
      std::this_thread::sleep_for(kPause);
      completion = Set(state);
    }
    return completion;
  }

  Bmc& bmc_;
  std::uint8_t channel_;
  bool isOpen_ = false;
};

class Execution {
 public:
  Execution(Bmc& bmc, const WritePlan& plan, const SDK::SettingMap& passwords,
            std::vector<SDK::WriteNote>& notes)
      : bmc_(bmc), plan_(plan), passwords_(passwords), notes_(notes) {}

  /// Writes all changes of the plan and reads each back.
  void Run() {
    const std::vector<Change>& changes = plan_.Ordered();
    for (auto at = changes.begin(); at != changes.end();) {
      const auto end = std::find_if_not(at, changes.end(), [&](const Change& other) {
        return IsSamePage(*at, other) || IsSameLan(*at, other);
      });
      bool isSent = false;
      try {
        if (at->stage >= Stage::OwnName) Settle();  // afterwards it may be too late to look
        isSent = true;
        WriteTogether({at, end});
        if (end == changes.end()) Settle();
      } catch (const ResultStatus& failure) {
        if (failure.getval() != ErrorManager::Unreachable) throw;
        NoteLoss({at, end}, !isSent ? kNotSent
                            : at->stage < Stage::OwnName
                                ? "the session was lost while it was written"
                                : "it was sent, and the session ended, which can be its effect");
        for (const Change* late : late_) {
          NoteLoss({late, 1}, "it was sent, but the session was lost before it could be read back");
        }
        NoteLoss({end, changes.end()}, kNotSent);
        throw;
      }
      at = end;
    }
  }

 private:
  static std::vector<Ipmi::Run> PagesOf(Ipmi::Run run) {
    std::vector<Ipmi::Run> pages;
    while (!run.empty()) {
      const auto end = std::ranges::find_if_not(
          run, [&](const Change& other) { return IsSamePage(run.front(), other); });
      const auto count = static_cast<std::size_t>(end - run.begin());
      pages.push_back(run.first(count));
      run = run.subspan(count);
    }
    return pages;
  }

  /// Writes pages of one LAN channel, or one page of anything else.
  void WriteTogether(Ipmi::Run run) {
    std::optional<LanTransaction> transaction;
    if (run.front().PageKind() == Kind::Lan) transaction.emplace(bmc_, run.front().place.channel);
    const std::vector<Ipmi::Run> pages = PagesOf(run);
    std::vector<Ipmi::Run> written;
    std::ranges::copy_if(pages, std::back_inserter(written),
                         [&](Ipmi::Run page) { return WriteChanges(page); });
    if (const std::uint8_t completion = transaction ? transaction->Commit() : std::uint8_t{0};
        completion != 0 && !written.empty()) {
      NoteAll(run, Fate::Pending,
              "the BMC has not ended the configuration of the channel: " +
                  Describe(completion, kSetLan.set));
    }
    for (const Ipmi::Run page : pages) Forget(page.front());
    for (const Ipmi::Run page : written) {
      for (const Change& change : page) {
        if (!IsKept(change)) late_.push_back(&change);
      }
    }
  }

  /// \return false when the BMC refuses; the notes then say so.
  bool WriteChanges(Ipmi::Run page) {
    const Change& first = page.front();
    const bool isNotOff = first.stage != Stage::UserOff && first.stage != Stage::OwnAccountOff;
    if (isNotOff && closed_.contains(first.place.user)) {
      NoteAll(page, Fate::Refused, Query::kAccountStaysClosed);
      return false;
    }
    if (!SetPassword(first)) {
      NoteAll(page, Fate::Refused, "the password was not taken, so the account is not opened");
      return false;
    }
    std::optional<Bytes> data = ReadOwnPage(bmc_, first.field->page, first.place);
    if (!data && RowOf(first.field->page).size != 0) {  // what stands beside it would be lost
      NoteAll(page, Fate::Refused, "the BMC has stopped telling its value");
      return false;
    }
    if (!data) data.emplace();  // a text that it has not had yet
    for (const Change& change : page) static_cast<void>(Apply(change, *data));
    const WriteOutcome outcome = WritePage(bmc_, first.field->page, first.place, *data);
    if (outcome.completion == 0) {
      if (first.PageKind() == Kind::ChannelAccess) PutInForce(page);
      return true;
    }
    if (first.PageKind() == Kind::UserName) closed_.insert(first.place.user);
    NoteAll(page, Fate::Refused, Describe(outcome.completion, outcome.command));
    return false;
  }

  /// Sets the password that was given for an account before it is opened. \return false when the
  /// BMC does not take it.
  bool SetPassword(const Change& change) {
    if (!plan_.OpensAccount(change) || hasPassword_.contains(change.place.user)) return true;
    const auto password = passwords_.find(plan_.FinalName(change.place));
    if (password == passwords_.end()) return true;
    hasPassword_.insert(change.place.user);
    if (WritePassword(bmc_, change.place.user, password->second).completion == 0) return true;
    closed_.insert(change.place.user);
    return false;
  }

  /// A channel's access is two settings: what is stored, which the page is, and what is in force.
  void PutInForce(Ipmi::Run page) {
    const Place& place = page.front().place;
    std::optional<Bytes> data = ReadAccessInForce(bmc_, place);
    if (!data) return;  // there is but one
    for (const Change& change : page) static_cast<void>(Apply(change, *data));
    const WriteOutcome outcome = WriteAccessInForce(bmc_, place, *data);
    if (outcome.completion == 0) return;
    NoteAll(page, Fate::Pending,
            "it is stored, and in force when the BMC restarts: " +
                Describe(outcome.completion, outcome.command));
  }

  /// Waits for the BMC to show what it has taken. Some take seconds.
  void Settle() {
    const auto end = Clock::now() + bmc_.HowPatient().settle;
    for (;;) {
      std::erase_if(late_, [&](const Change* change) { return IsKept(*change); });
      if (late_.empty() || Clock::now() > end) break;
      bmc_.Session().Checkpoint();
      std::this_thread::sleep_for(kPause);
      for (const Change* change : late_) Forget(*change);
    }
    for (const Change* change : late_) {
      if (Read(*change)) {
        Note(*change, Fate::Ignored, "the BMC accepted it and kept another value");
      } else {
        Note(*change, Fate::Refused, "the BMC accepted it, but does not show it any more");
      }
      Forget(*change);  // whoever reports it looks again
    }
    late_.clear();
  }

  void Forget(const Change& change) { ForgetPage(bmc_, change.field->page, change.place); }

  std::optional<std::string> Read(const Change& change) {
    return ReadField(bmc_, *change.field, change.place, change.path);
  }

  bool IsKept(const Change& change) { return Read(change) == change.wanted; }

  void NoteLoss(Ipmi::Run run, const char* reason) {
    for (const Change& change : run) {
      const bool isNoted = std::ranges::any_of(
          notes_, [&](const SDK::WriteNote& note) { return note.path == change.path; });
      if (!isNoted) Note(change, Fate::Refused, reason);
    }
  }

  void NoteAll(Ipmi::Run run, Fate fate, const std::string& reason) {
    for (const Change& change : run) Note(change, fate, reason);
  }

  void Note(const Change& change, Fate fate, std::string reason) {
    notes_.push_back({change.path, fate, std::move(reason)});
  }

  static constexpr std::chrono::milliseconds kPause{250};
  static constexpr const char* kNotSent = "it was not sent: the session was lost before";

  Bmc& bmc_;
  const WritePlan& plan_;
  const SDK::SettingMap& passwords_;
  std::vector<SDK::WriteNote>& notes_;
  std::vector<const Change*> late_;     ///< written, and not shown yet
  std::set<std::uint8_t> closed_;       ///< users that are not to be opened
  std::set<std::uint8_t> hasPassword_;  ///< users whose password this batch has set
};

}  // namespace

void WriteSettings(Bmc& bmc, const SDK::SettingMap& settings, const SDK::SettingMap& passwords,
                   WriteResult& result) {
  const WritePlan plan(bmc, settings, result);
  Execution(bmc, plan, passwords, result.notes).Run();
}

}  // namespace Ipmi
