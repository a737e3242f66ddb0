#pragma once

#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "providers/redfish/BmcPlan.h"

namespace Redfish {

/// Sends the changes of a plan, one request for each resource, and reads each back.
///
/// What the service refuses by name is left out and the rest sent again; where its answer names
/// nothing, each change is sent by itself. A refusal stops nothing but what depends on it: an
/// account whose name or password is refused is not opened.
class BmcWriter {
 public:
  BmcWriter(BmcTree& tree, const BmcPlan& plan, const SDK::SettingMap& passwords)
      : tree_(tree), service_(tree.Of()), plan_(plan), passwords_(passwords) {}

  /// \throws ResultStatus  Unreachable, when the session is lost: the notes then also name what was
  ///                       not sent.
  void Write();

  /// A note for each change that is pending, refused or ignored.
  [[nodiscard]] const std::vector<SDK::WriteNote>& Notes() const { return notes_; }

 private:
  using Fate = SDK::WriteNote::Fate;
  using BmcChanges = std::vector<BmcChange>;

  void WriteGroup(const BmcGroup& group);
  void ChangeResource(const BmcGroup& group, BmcChanges changes);
  void ChangeEach(const BmcGroup& group, const BmcChanges& changes, const std::string& reason);
  void MakeAccount(const BmcGroup& group);
  void ReplaceSubscriptions(const BmcGroup& group);
  /// Where to send changes of a resource: to its settings object where that has them.
  [[nodiscard]] std::string PlaceOf(const std::string& resource, const BmcChanges& changes);
  HttpAnswer Send(const BmcGroup& group, const std::string& place, const BmcChanges& changes,
                  bool withPassword);
  HttpAnswer SendPatiently(const BmcGroup& group, const std::string& place,
                           const BmcChanges& changes, bool withPassword);
  [[nodiscard]] bool HasPassword(const BmcGroup& group) const;
  /// Takes those changes out that the answer names. \return how many.
  std::size_t TakeRefused(const HttpAnswer& answer, BmcChanges& changes);
  [[nodiscard]] bool Shows(const BmcChange& change);
  void ReadBack(const BmcChanges& changes, const std::string& settings, const HttpAnswer& answer);
  void Settle();
  void Note(const BmcChange& change, Fate fate, const std::string& reason);
  void NoteAll(const BmcChanges& changes, Fate fate, const std::string& reason);
  void NoteLost(const BmcGroup& group, const char* reason);

  static constexpr std::chrono::seconds kSettle{6};  ///< some BMCs show a value only then

  struct Late {
    BmcChange change;
    std::string reason;
  };

  BmcTree& tree_;
  Service& service_;
  const BmcPlan& plan_;
  const SDK::SettingMap& passwords_;
  std::vector<SDK::WriteNote> notes_;
  std::vector<Late> late_;       ///< sent, and not shown yet
  std::set<std::string> taken_;  ///< the first paths of changes that the server has accepted
};

}  // namespace Redfish
