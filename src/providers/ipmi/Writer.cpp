#include "providers/ipmi/Writer.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <tuple>

#include "common/ErrorManager.h"
#include "providers/ipmi/Codec.h"
#include "providers/ipmi/CompletionCode.h"
#include "providers/ipmi/FieldTable.h"
#include "providers/ipmi/Instances.h"
#include "providers/ipmi/PageAccess.h"
#include "providers/ipmi/Reader.h"

namespace Ipmi {
namespace {

using SDK::WriteNote;

/// The order of writes. Within a stage they follow the table of pages.
enum class Stage : std::uint8_t {
  Server,    ///< power policy, host name, event filters
  UserName,  ///< before the account is opened
  UserOn,    ///< some BMCs keep the access of enabled users only
  UserAccess,
  Channel,  ///< SOL and LAN of each channel
  ChannelAccess,
  UserOff,
  // From here on the session may end with any write.
  OwnAccount,
  OwnChannelAccess,
  OwnAddress,
  OwnAccountOff,
};

/// A setting that is to get another value.
struct Change {
  std::string path;
  std::string wanted;
  const FieldRow* field;
  Place place;
  Stage stage = Stage::Server;

  [[nodiscard]] Kind PageKind() const { return RowOf(field->page).kind; }
};

/// The changes of one page, which one command writes. Changes are sorted so that those of one page
/// are neighbours, and pages of one LAN channel and stage too.
using Changes = std::vector<Change>;
using Run = std::span<const Change>;

auto SortKey(const Change& change) {
  const bool isLan = change.PageKind() == Kind::Lan;
  return std::tuple(change.stage, isLan ? change.place.channel : std::uint8_t{0},
                    change.field->page, change.place);
}

bool IsSamePage(const Change& a, const Change& b) {
  return SortKey(a) == SortKey(b);
}

bool IsSameLan(const Change& a, const Change& b) {
  return a.PageKind() == Kind::Lan && b.PageKind() == Kind::Lan && a.stage == b.stage &&
         a.place.channel == b.place.channel;
}

constexpr std::uint8_t kNullUser = 1;

bool IsOwnUser(Bmc& bmc, const Change& change) {
  if (!bmc.Session().IsRemote()) return false;
  if (bmc.Session().User().empty()) return change.place.user == kNullUser;
  const std::optional<Bytes> name = ReadPage(bmc, Page::UserName, change.place);
  if (!name) return false;
  const Bytes used(name->begin(), std::ranges::find(*name, 0));
  return std::string(used.begin(), used.end()) == bmc.Session().User();
}

Stage StageOf(Bmc& bmc, const Change& change) {
  const auto isOwnChannel = [&] { return change.place.channel == ChannelInUse(bmc); };
  switch (change.PageKind()) {
    case Kind::UserName:
      return IsOwnUser(bmc, change) ? Stage::OwnAccount : Stage::UserName;
    case Kind::UserEnable:
      if (change.wanted == "ENABLE") return Stage::UserOn;
      return IsOwnUser(bmc, change) ? Stage::OwnAccountOff : Stage::UserOff;
    case Kind::UserAccess:
    case Kind::PayloadAccess:
      return IsOwnUser(bmc, change) ? Stage::OwnAccount : Stage::UserAccess;
    case Kind::ChannelAccess:
      return isOwnChannel() ? Stage::OwnChannelAccess : Stage::ChannelAccess;
    case Kind::Lan:
      return IsAddress(change.field->page) && isOwnChannel() ? Stage::OwnAddress : Stage::Channel;
    case Kind::Sol:
      return Stage::Channel;
    default:
      return Stage::Server;
  }
}

constexpr std::uint8_t kFixedAddressInUse = 0x80;  // byte 1 of the page of the fixed IPv6 address
constexpr const char* kIpv6Source = "IPV6SOURCE";

/// Puts the value of a change into its page. \return why it does not fit; empty when it does.
std::string Apply(const Change& change, Bytes& page) {
  std::string objection = Encode(*change.field, change.wanted, page);
  // A dynamic address is one that is not fixed: how the BMC gets it has no bits to write.
  if (change.field->page == Page::LanIpv6Static) page.at(1) &= kFixedAddressInUse;
  return objection;
}

/// Why IPMI has no way to write a value that is right in itself; empty when it has one.
std::string NoWay(Bmc& bmc, const Change& change, const SDK::SettingMap& settings) {
  if (change.field->page != Page::LanIpv6Static) return {};
  const std::optional<Bytes> page = ReadOwnPage(bmc, change.field->page, change.place);
  const bool isFixed = page && (page->at(1) & kFixedAddressInUse) != 0;
  if (change.path.ends_with(kIpv6Source)) {
    if (isFixed || change.wanted == "STATIC") return {};
    return "IPMI has no command that chooses between dynamic addresses";
  }
  const std::string source = change.path.substr(0, change.path.rfind('/') + 1) + kIpv6Source;
  const auto wanted = settings.find(source);
  if (isFixed || (wanted != settings.end() && wanted->second == "STATIC")) return {};
  return "the address is a dynamic one";
}

/// Finds out which settings are to change, and refuses those that cannot.
class Plan {
 public:
  Plan(Bmc& bmc, const SDK::SettingMap& settings, WriteResult& result)
      : bmc_(bmc), settings_(settings), result_(result) {
    for (const auto& [path, value] : settings) Add(path, value);
    if (!faults_.empty()) {
      result_.notes.insert(result_.notes.end(), faults_.begin(), faults_.end());
      const WriteNote& first = faults_.front();
      ErrorManager::Raise(ErrorManager::ValueRefused, first.path, settings.at(first.path),
                          first.reason);
    }
    for (Change& change : changes_) change.stage = StageOf(bmc, change);
    std::ranges::stable_sort(changes_, {}, SortKey);
  }

  [[nodiscard]] const Changes& Ordered() const { return changes_; }

 private:
  void Add(const std::string& path, const std::string& value) {
    for (const FieldRow& field : FieldTable()) {
      if (const std::optional<Place> place = PlaceOf(field, path)) {
        return AddKnown({path, value, &field, *place});
      }
    }
    if (!value.empty()) Refuse(path, "IPMI has no standard command for it");
  }

  void AddKnown(Change change) {
    const FieldRow& field = *change.field;
    if (change.wanted.empty() && !MayBeEmpty(field)) return;
    if (field.page == Page::UserEnable) change.place.channel = UserChannel(bmc_);
    const bool isThere = IsThere(bmc_, field, change.path);
    std::optional<Bytes> page;
    if (isThere) page = ReadOwnPage(bmc_, field.page, change.place);
    if (!page) {
      if (!change.wanted.empty()) Refuse(change.path, "the BMC does not have it");
      return;
    }
    change.wanted = Canonical(field, change.wanted);
    if (ReadField(bmc_, field, change.place) == change.wanted) return;
    if (RowOf(field.page).writeSize == 0) return Refuse(change.path, "it is read-only");
    if (std::string fault = Apply(change, *page); !fault.empty()) {
      faults_.push_back({change.path, WriteNote::Fate::Refused, std::move(fault)});
    } else if (std::string reason = NoWay(bmc_, change, settings_); !reason.empty()) {
      Refuse(change.path, std::move(reason));
    } else {
      changes_.push_back(std::move(change));
      ++result_.changes;
    }
  }

  void Refuse(const std::string& path, std::string reason) {
    result_.notes.push_back({path, WriteNote::Fate::Refused, std::move(reason)});
    ++result_.changes;
  }

  Bmc& bmc_;
  const SDK::SettingMap& settings_;
  WriteResult& result_;
  Changes changes_;
  std::vector<WriteNote> faults_;
};

/// The configuration of one LAN channel while it is changed: other writers stay out, and the BMC
/// takes the parameters over together at the end.
class LanTransaction {
 public:
  LanTransaction(Bmc& bmc, std::uint8_t channel) : bmc_(bmc), channel_(channel) {
    std::uint8_t completion = Set(kInProgress);
    for (int tries = 0; completion == kTaken && tries < kTries; ++tries) {
      std::this_thread::sleep_for(kPause);
      completion = Set(kInProgress);
    }
    if (completion == kTaken) {  // left behind by a writer that has died
      Set(kComplete);
      completion = Set(kInProgress);
    }
    isOpen_ = completion == 0;
  }
  LanTransaction(const LanTransaction&) = delete;
  LanTransaction& operator=(const LanTransaction&) = delete;
  ~LanTransaction() = default;

  /// A BMC without this parameter has taken each write over at once.
  void Commit() {
    if (!isOpen_) return;
    Set(kCommit);  // optional: the BMC may not know it
    Set(kComplete);
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

  Bmc& bmc_;
  std::uint8_t channel_;
  bool isOpen_ = false;
};

class Execution {
 public:
  Execution(Bmc& bmc, std::vector<WriteNote>& notes) : bmc_(bmc), notes_(notes) {}

  /// Writes all of `changes` and reads each back.
  void Run(const Changes& changes) {
    for (auto at = changes.begin(); at != changes.end();) {
      const auto end = std::find_if_not(at, changes.end(), [&](const Change& other) {
        return IsSamePage(*at, other) || IsSameLan(*at, other);
      });
      try {
        WriteTogether({at, end});
      } catch (const ResultStatus& failure) {
        if (failure.getval() != ErrorManager::Unreachable) throw;
        NoteLoss({at, end}, at->stage < Stage::OwnAccount
                                ? "the session was lost while it was written"
                                : "it was sent, and the session ended, which can be its effect");
        NoteLoss({end, changes.end()}, "it was not sent: the session was lost before");
        throw;
      }
      at = end;
    }
  }

 private:
  using Pages = std::vector<Ipmi::Run>;

  static Pages PagesOf(Ipmi::Run run) {
    Pages pages;
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
    const Pages pages = PagesOf(run);
    Pages written;
    std::ranges::copy_if(pages, std::back_inserter(written),
                         [&](Ipmi::Run page) { return WriteChanges(page); });
    if (transaction) transaction->Commit();
    for (const Ipmi::Run page : pages) Forget(page.front());
    for (const Ipmi::Run page : written) ReadBack(page);
  }

  /// \return false when the BMC refuses; the notes then say so.
  bool WriteChanges(Ipmi::Run page) {
    const Change& first = page.front();
    Bytes data = ReadOwnPage(bmc_, first.field->page, first.place).value_or(Bytes{});
    for (const Change& change : page) static_cast<void>(Apply(change, data));
    const WriteOutcome outcome = WritePage(bmc_, first.field->page, first.place, data);
    if (outcome.completion == 0) return true;
    for (const Change& change : page) {
      Note(change, WriteNote::Fate::Refused, Describe(outcome.completion, outcome.command));
    }
    return false;
  }

  /// Some BMCs take a moment to show what they were told.
  void ReadBack(Ipmi::Run page) {
    for (const Change& change : page) {
      try {
        bool isKept = IsKept(change);
        for (int tries = 0; !isKept && tries < kTries; ++tries) {
          std::this_thread::sleep_for(kPause);
          Forget(change);
          isKept = IsKept(change);
        }
        if (isKept) continue;
        Note(change, WriteNote::Fate::Ignored, "the BMC accepted it and kept another value");
      } catch (const ResultStatus& failure) {
        if (failure.getval() == ErrorManager::Unreachable) throw;
        Note(change, WriteNote::Fate::Refused,
             "it was sent, but cannot be read back: " + failure.message());
      }
    }
  }

  void Forget(const Change& change) { ForgetPage(bmc_, change.field->page, change.place); }

  bool IsKept(const Change& change) {
    return ReadField(bmc_, *change.field, change.place) == change.wanted;
  }

  void NoteLoss(Ipmi::Run run, const char* reason) {
    for (const Change& change : run) {
      const bool isNoted = std::ranges::any_of(
          notes_, [&](const WriteNote& note) { return note.path == change.path; });
      if (!isNoted) Note(change, WriteNote::Fate::Refused, reason);
    }
  }

  void Note(const Change& change, WriteNote::Fate fate, std::string reason) {
    notes_.push_back({change.path, fate, std::move(reason)});
  }

  static constexpr int kTries = 4;
  static constexpr std::chrono::milliseconds kPause{250};

  Bmc& bmc_;
  std::vector<WriteNote>& notes_;
};

}  // namespace

void WriteSettings(Bmc& bmc, const SDK::SettingMap& settings, WriteResult& result) {
  const Plan plan(bmc, settings, result);
  Execution(bmc, result.notes).Run(plan.Ordered());
}

}  // namespace Ipmi
