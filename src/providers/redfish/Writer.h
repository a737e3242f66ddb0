#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "providers/redfish/BootOrder.h"
#include "providers/redfish/ExtendedInfo.h"
#include "providers/redfish/Service.h"
#include "query/QueryProvider.h"

namespace Redfish {

/// The change of one attribute.
struct Change {
  std::string path;                  ///< of its setting
  std::vector<std::string> members;  ///< from the attribute to the value
  json value;
};

/// Changes by the name of the attribute.
using Changes = std::map<std::string, Change>;

/// The value that `members` lead to in an object; null where there is none.
[[nodiscard]] const json& AtMembers(const json& object, const std::vector<std::string>& members);

/// Sends changes to the settings object of the BIOS, all in one request: many servers make a job of
/// it and take no second one before they restart. What the server refuses is left out and the rest
/// sent again; where its answer does not name what it refuses, each half is sent by itself, as long
/// as that is not in vain.
class Writer {
 public:
  explicit Writer(Service& service) : service_(service) {}

  /// Sends the order along with the changes; for a server that keeps both in one object.
  void Add(const std::vector<BootEntry>& order) { order_ = &order; }

  /// \throws ResultStatus  as Service::Get. What has become of the changes until then is in
  /// `Notes`.
  void Write(Changes changes);

  /// What the server has answered to the order; none where it was not sent.
  [[nodiscard]] const std::optional<HttpAnswer>& OrderAnswer() const { return orderAnswer_; }

  /// A note for each change that is pending, refused or ignored.
  [[nodiscard]] const std::vector<SDK::WriteNote>& Notes() const { return notes_; }

 private:
  HttpAnswer Patch(const Changes& changes);
  void Send(Changes changes);
  void SendHalves(const Changes& changes, const std::string& reason);
  void RefuseAll(const Changes& changes, const std::string& reason);
  void KeepMessages(const HttpAnswer& answer);
  void ReadBack();

  Service& service_;
  std::string settings_;  ///< the path of the settings object
  const std::vector<BootEntry>* order_ = nullptr;
  std::optional<HttpAnswer> orderAnswer_;
  Changes sent_;
  int unnamed_ = 0;                              ///< refusals that have named nothing
  std::string firstReason_;                      ///< of the first of them
  bool isClosed_ = false;                        ///< the server takes no more changes
  std::map<std::string, std::string> messages_;  ///< what the server says of attributes it took
  std::vector<SDK::WriteNote> notes_;
};

}  // namespace Redfish
