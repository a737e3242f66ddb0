#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "providers/redfish/Batch.h"
#include "providers/redfish/BmcTree.h"
#include "query/QueryProvider.h"

/// Which settings of the BMC are to change, in which order, and what that leads to.
namespace Redfish {

/// The order of changes. A resource is changed by one request, as late as any of its changes has to
/// be.
enum class BmcStage : std::uint8_t {
  Server,   ///< power policy, serial-over-LAN
  Account,  ///< that stays open, or is opened
  Alerts,   ///< e-mail, traps, the serial interface
  Protocol,
  Interface,
  AccountOff,  ///< that nobody can log in with any more
  // From here on the session may end with any change.
  OwnInterface,
  OwnAccount,
};

/// A property that is to get another value, by the paths of the settings that it is.
struct BmcChange {
  std::vector<std::string> paths;
  std::string wanted;
  const BmcRow* row;
};

/// The changes of one resource.
struct BmcGroup {
  Holder holder;
  std::string resource;  ///< its path; empty for an account that is made, and for subscriptions
  BmcStage stage;
  std::vector<BmcChange> changes;
  unsigned user = 0;         ///< the number of an account
  std::string name = {};     ///< of an account, once it is changed
  std::string opening = {};  ///< the path of the change by which somebody can log in who could not,
                             ///< or by another name; empty for none
  bool willBeOpen = false;   ///< somebody can log in afterwards
};

/// Finds out which settings are to change, and keeps those back that cannot. Settings that are one
/// property change together, or not at all where the batch wants several values for it.
class BmcPlan {
 public:
  /// `passwords` are those of accounts, by name. Both maps outlive the plan.
  /// \throws ResultStatus  as `Service::Get`.
  BmcPlan(BmcTree& tree, const SDK::SettingMap& settings, const SDK::SettingMap& passwords);

  /// In the order of the changes.
  [[nodiscard]] const std::vector<BmcGroup>& Groups() const { return groups_; }
  /// What is not sent, and why.
  [[nodiscard]] const std::vector<Kept>& KeptBack() const { return kept_; }
  /// How many settings were to change.
  [[nodiscard]] std::size_t Count() const { return count_; }

  /// Values that their settings do not take, whatever else holds; nothing may be sent then.
  [[nodiscard]] const std::vector<SDK::WriteNote>& Faults() const { return faults_; }
  /// What it would lead to (`QueryProvider::Foresee`).
  [[nodiscard]] std::vector<SDK::WriteForesight> Foresee() const;

 private:
  struct Wish {
    std::string path;
    std::string value;
    BmcTree::Found found;
    bool isChange = false;
  };
  /// What tells one property from another: its resource, with a place where there may be none.
  using Key = std::tuple<Holder, std::string, unsigned, std::string_view, std::string>;

  void Add(const std::string& path, const std::string& value);
  void AddTo(Wish wish);
  void Keep(const std::string& path, SDK::WriteForesight::Kind kind, std::string reason);
  void Refuse(const std::string& path, std::string reason);
  void Merge(const std::vector<Wish>& wishes);
  BmcGroup& GroupOf(const Wish& wish);
  void SortOutAccount(BmcGroup& group);
  void SortOutNewUser(std::uint8_t user, const SDK::SettingMap& settings);
  [[nodiscard]] std::string WhyNoNewUser(const BmcGroup& group, const std::string& role);
  [[nodiscard]] std::string WhyKept(const Wish& wish) const;
  [[nodiscard]] BmcStage StageOf(const BmcGroup& group);
  [[nodiscard]] bool IsOwnAccount(const BmcGroup& group);
  [[nodiscard]] bool IsOwnInterface(const std::string& resource);

  BmcTree& tree_;
  const SDK::SettingMap& settings_;
  const SDK::SettingMap& passwords_;
  std::map<Key, std::vector<Wish>> wishes_;
  std::map<std::uint8_t, SDK::SettingMap> newUsers_;
  std::vector<BmcGroup> groups_;
  std::vector<Kept> kept_;
  std::vector<SDK::WriteNote> faults_;
  std::size_t count_ = 0;
};

}  // namespace Redfish
