#include "providers/ipmi/WritePlan.h"

#include <algorithm>
#include <tuple>

#include "common/ErrorManager.h"
#include "providers/ipmi/Codec.h"
#include "providers/ipmi/Instances.h"
#include "providers/ipmi/PageAccess.h"
#include "providers/ipmi/Reader.h"
#include "query/BmcRules.h"

namespace Ipmi {
namespace {

using SDK::WriteForesight;
using SDK::WriteNote;

constexpr std::uint8_t kNullUser = 1;
constexpr const char* kIpv6SourceName = "IPV6SOURCE";
constexpr const char* kDisable = "DISABLE";

auto SortKey(const Change& change) {
  const bool isLan = change.PageKind() == Kind::Lan;
  return std::tuple(change.stage, isLan ? change.place.channel : std::uint8_t{0},
                    change.field->page, change.place);
}

std::string UserPath(const Place& place, const char* leaf) {
  return "/BMC/USER[" + std::to_string(place.user) + "]/" + leaf;
}

/// The name in a page, byte by byte.
std::string RawName(const std::optional<Bytes>& page) {
  if (!page) return {};
  return {page->begin(), std::ranges::find(*page, 0)};
}

/// True when a session of the administrator still does what it does today.
bool IsAdministrator(const std::string& privilege) {
  return privilege == "ADMIN" || privilege == "OEM";
}

/// Why a change ends the session's way to the BMC, or makes it too weak to go back; empty when it
/// does neither.
std::string HowItLocksOut(Bmc& bmc, const Change& change) {
  const bool isPrivilege = change.path.ends_with("/PRIVILEGE");
  switch (change.stage) {
    case Stage::OwnName:
      return Query::kRenamesOwn;
    case Stage::OwnAccountOff:
      return Query::kDisablesOwn;
    case Stage::OwnAddress:
      return "the session goes to this channel; the BMC may get another address with it";
    case Stage::OwnAccess:
      if (change.place.channel != ChannelInUse(bmc)) return {};
      if (isPrivilege && IsAdministrator(change.wanted)) return {};
      if (!isPrivilege && change.wanted != kDisable) return {};
      if (change.PageKind() == Kind::PayloadAccess) return {};
      return Query::kWeakensOwn;
    case Stage::OwnChannelAccess:
      if (change.path.ends_with("/PRIVILEGE_LIMIT") && !IsAdministrator(change.wanted)) {
        return "the session goes over this channel, and has too little privilege then";
      }
      if (change.path.ends_with("/ACCESS_MODE") && change.wanted != "ALWAYS" &&
          change.wanted != "SHARED") {
        return "the session goes over this channel, which is closed then";
      }
      return {};
    default:
      return {};
  }
}

}  // namespace

bool IsSamePage(const Change& a, const Change& b) {
  return SortKey(a) == SortKey(b);
}

bool IsSameLan(const Change& a, const Change& b) {
  return a.PageKind() == Kind::Lan && b.PageKind() == Kind::Lan && a.stage == b.stage &&
         a.place.channel == b.place.channel;
}

std::string Apply(const Change& change, Bytes& page) {
  std::string objection = Encode(*change.field, change.wanted, page);
  // A dynamic address is one that is not fixed: how the BMC gets it has no bits to write. The last
  // byte is the status of the address, which is the BMC's own.
  if (change.field->page == Page::LanIpv6Static) {
    page.at(1) &= kFixedAddressInUse;
    page.back() = 0;
  }
  return objection;
}

WritePlan::WritePlan(Bmc& bmc, const SDK::SettingMap& settings, WriteResult& result)
    : bmc_(bmc), settings_(settings), result_(result) {
  for (const auto& [path, value] : settings) Add(path, value);
  if (!faults_.empty()) {
    result_.notes.insert(result_.notes.end(), faults_.begin(), faults_.end());
    const WriteNote& first = faults_.front();
    ErrorManager::Raise(ErrorManager::ValueRefused, first.path, settings.at(first.path),
                        first.reason);
  }
  for (Change& change : changes_) change.stage = StageOf(change);
  std::ranges::stable_sort(changes_, {}, SortKey);
}

void WritePlan::Add(const std::string& path, const std::string& value) {
  for (const FieldRow& field : FieldTable()) {
    if (const std::optional<Place> place = PlaceOf(field, path)) {
      return AddKnown({path, value, &field, *place});
    }
  }
  if (value.empty() || value == kNotTold) return;
  result_.notes.push_back({path, WriteNote::Fate::Skipped, Query::kNoSuchSetting});
  result_.absent.insert(path);
}

void WritePlan::AddKnown(Change change) {
  const FieldRow& field = *change.field;
  if (field.page == Page::UserEnable) change.place.channel = UserChannel(bmc_);
  std::optional<Bytes> page;
  if (IsThere(bmc_, field, change.path)) page = ReadOwnPage(bmc_, field.page, change.place);
  const bool saysNothing =
      change.wanted.empty() || (MayBeEmpty(field) && change.wanted == kNotTold);
  if (!page) {
    if (!saysNothing) Refuse(change.path, "the BMC does not have it");
    return;
  }
  change.wanted = Canonical(field, change.wanted);
  const std::optional<std::string> present = ReadField(bmc_, field, change.place, change.path);
  if (present == change.wanted || (!present && saysNothing)) return;
  if (std::string why = WhyKept(change); !why.empty()) {
    result_.notes.push_back({change.path, WriteNote::Fate::Skipped, std::move(why)});
    return;
  }
  if (RowOf(field.page).writeSize == 0) return Refuse(change.path, "it is read-only");
  if (std::string fault = Apply(change, *page); !fault.empty()) {
    faults_.push_back({change.path, WriteNote::Fate::Refused, std::move(fault)});
  } else if (std::string reason = NoWay(change); !reason.empty()) {
    Refuse(change.path, std::move(reason));
  } else {
    changes_.push_back(std::move(change));
    ++result_.changes;
  }
}

/// Why the BMC keeps what it has, whatever the value; empty when it does not. An empty value is
/// what a save writes for all that it could not read, and must not erase what a restore can read.
std::string WritePlan::WhyKept(const Change& change) const {
  const FieldRow& field = *change.field;
  if (change.wanted == kNotTold || Query::IsIntervalOfNone(change.path, settings_)) {
    return Query::kNotInFile;
  }
  if (change.wanted.empty() && !MayBeEmpty(field)) return Query::kEmptyKeeps;
  if (change.wanted.empty() && field.page == Page::UserName) {
    const std::string status = UserPath(change.place, "STATUS");
    const auto inFile = settings_.find(status);
    if (inFile != settings_.end() && inFile->second.empty() && Status(change.place)) {
      return Query::kUserNotInFile;
    }
  }
  return IsOwnAddress(field) ? Query::kOwnAddresses : "";
}

void WritePlan::Refuse(const std::string& path, std::string reason) {
  result_.notes.push_back({path, WriteNote::Fate::Refused, std::move(reason)});
  ++result_.changes;
}

/// Why a value that is right in itself is not written; empty when it is.
std::string WritePlan::NoWay(const Change& change) const {
  if (change.field->page == Page::UserName && change.wanted.empty()) {
    if (IsOwnUser(change.place)) return Query::kOwnName;
    if (WantedStatus(change.place) == "ENABLE") {
      return Query::kNamelessAccount;
    }
  }
  if (!change.path.ends_with(kIpv6SourceName) || change.wanted == "STATIC") return {};
  const std::optional<Bytes> page = ReadOwnPage(bmc_, change.field->page, change.place);
  if (page && (page->at(1) & kFixedAddressInUse) != 0) return {};
  return "IPMI has no command that chooses between dynamic addresses";
}

bool WritePlan::IsOwnUser(const Place& place) const {
  if (!bmc_.Session().IsRemote()) return false;
  if (bmc_.Session().User().empty()) return place.user == kNullUser;
  return RawName(ReadPage(bmc_, Page::UserName, place)) == bmc_.Session().User();
}

Stage WritePlan::StageOf(const Change& change) const {
  const auto isOwnChannel = [&] { return change.place.channel == ChannelInUse(bmc_); };
  switch (change.PageKind()) {
    case Kind::UserName:
      if (change.wanted.empty()) return Stage::UserNameless;
      return IsOwnUser(change.place) ? Stage::OwnName : Stage::UserName;
    case Kind::UserEnable:
      if (change.wanted != kDisable) return Stage::UserOn;
      return IsOwnUser(change.place) ? Stage::OwnAccountOff : Stage::UserOff;
    case Kind::UserAccess:
    case Kind::PayloadAccess:
      return IsOwnUser(change.place) ? Stage::OwnAccess : Stage::UserAccess;
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

/// The status of an account after the writes; empty when the BMC does not say.
std::string WritePlan::WantedStatus(const Place& place) const {
  const std::string path = UserPath(place, "STATUS");
  const auto wanted = std::ranges::find(changes_, path, &Change::path);
  if (wanted != changes_.end()) return wanted->wanted;
  // The batch is in the order of paths: the status may still be to come.
  const auto row = std::ranges::find(FieldTable(), Page::UserEnable, &FieldRow::page);
  const auto later = settings_.find(path);
  if (later != settings_.end() && !later->second.empty()) return Canonical(*row, later->second);
  return Status(place).value_or("");
}

std::optional<std::string> WritePlan::Status(const Place& place) const {
  const auto row = std::ranges::find(FieldTable(), Page::UserEnable, &FieldRow::page);
  return ReadField(bmc_, *row, place, UserPath(place, "STATUS"));
}

std::string WritePlan::FinalName(const Place& place) const {
  const auto wanted = std::ranges::find(changes_, UserPath(place, "NAME"), &Change::path);
  return wanted != changes_.end() ? wanted->wanted : RawName(ReadPage(bmc_, Page::UserName, place));
}

bool WritePlan::IsOpenNow(const Place& place) const {
  return Status(place) != kDisable;
}

bool WritePlan::WillBeOpen(const Place& place) const {
  return WantedStatus(place) != kDisable;
}

bool WritePlan::OpensAccount(const Change& change) const {
  if (change.stage == Stage::UserOn) return true;
  return change.stage == Stage::UserName && IsOpenNow(change.place) && WillBeOpen(change.place);
}

std::vector<WriteForesight> ForeseeWrites(Bmc& bmc, const SDK::SettingMap& settings,
                                          const SDK::SettingMap& passwords) {
  std::vector<WriteForesight> all;
  WriteResult result;
  const WritePlan plan(bmc, settings, result);
  for (const WriteNote& note : result.notes) {
    const auto kind = result.absent.contains(note.path)       ? WriteForesight::Kind::Absent
                      : note.fate == WriteNote::Fate::Refused ? WriteForesight::Kind::CannotTake
                                                              : WriteForesight::Kind::Keeps;
    all.push_back({note.path, kind, note.reason, ""});
  }
  for (const Change& change : plan.Ordered()) {
    if (std::string how = HowItLocksOut(bmc, change); !how.empty()) {
      all.push_back({change.path, WriteForesight::Kind::LocksOut, std::move(how),
                     change.place.user == 0 ? "" : plan.FinalName(change.place)});
    }
    if (!plan.OpensAccount(change)) continue;
    const std::string name = plan.FinalName(change.place);
    all.push_back(
        Query::OpensAccount(change.path, name, change.place.user, passwords.contains(name)));
  }
  return all;
}

}  // namespace Ipmi
