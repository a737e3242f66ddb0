#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "providers/ipmi/Bmc.h"
#include "providers/ipmi/FieldTable.h"
#include "providers/ipmi/Writer.h"

/// Which settings of a batch are to change, in which order, and what that leads to.
namespace Ipmi {

/// The order of writes. Within a stage they follow the table of pages.
enum class Stage : std::uint8_t {
  Server,    ///< power policy, host name, event filters
  UserName,  ///< before the account is opened
  UserOn,    ///< some BMCs keep the access of enabled users only
  UserAccess,
  Channel,  ///< SOL and LAN of each channel
  ChannelAccess,
  UserOff,
  UserNameless,  ///< once nobody can log in there
  // From here on the session may end with any write. What weakens it stands behind what needs it.
  OwnName,
  OwnAddress,
  OwnChannelAccess,
  OwnAccess,
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

/// Puts the value of a change into its page. \return why it does not fit; empty when it does.
std::string Apply(const Change& change, Bytes& page);

/// Finds out which settings are to change, and refuses those that cannot.
class WritePlan {
 public:
  /// \throws ResultStatus  ValueRefused, with a note in `result` for each fault; as `Bmc::Ask`.
  WritePlan(Bmc& bmc, const SDK::SettingMap& settings, WriteResult& result);

  /// In the order of the writes. Those of one page are neighbours, and pages of one LAN channel and
  /// stage too.
  [[nodiscard]] const std::vector<Change>& Ordered() const { return changes_; }

  /// The name of the account that `place` names, after the writes.
  [[nodiscard]] std::string FinalName(const Place& place) const;
  /// True unless the BMC says that the account is disabled, now or after the writes.
  [[nodiscard]] bool IsOpenNow(const Place& place) const;
  [[nodiscard]] bool WillBeOpen(const Place& place) const;
  /// True when somebody can log in with it who could not, or by another name.
  [[nodiscard]] bool OpensAccount(const Change& change) const;

 private:
  void Add(const std::string& path, const std::string& value);
  void AddKnown(Change change);
  void Refuse(const std::string& path, std::string reason);
  [[nodiscard]] std::string WhyKept(const Change& change) const;
  [[nodiscard]] std::string NoWay(const Change& change) const;
  [[nodiscard]] Stage StageOf(const Change& change) const;
  [[nodiscard]] bool IsOwnUser(const Place& place) const;
  [[nodiscard]] std::string WantedStatus(const Place& place) const;
  [[nodiscard]] std::optional<std::string> Status(const Place& place) const;

  Bmc& bmc_;
  const SDK::SettingMap& settings_;
  WriteResult& result_;
  std::vector<Change> changes_;
  std::vector<SDK::WriteNote> faults_;
};

/// True when one command writes both, or when they are of one LAN channel and written together.
[[nodiscard]] bool IsSamePage(const Change& a, const Change& b);
[[nodiscard]] bool IsSameLan(const Change& a, const Change& b);

}  // namespace Ipmi
