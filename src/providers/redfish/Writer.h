#pragma once

#include <map>
#include <string>
#include <vector>

#include "providers/redfish/ExtendedInfo.h"
#include "providers/redfish/Service.h"
#include "query/QueryProvider.h"

namespace Redfish {

/// The change of one attribute.
struct Change {
  std::string path;  ///< of its setting
  json value;
};

/// Changes by the name of the attribute.
using Changes = std::map<std::string, Change>;

/// Sends changes to the settings object of the BIOS. What the server refuses is left out and the
/// rest sent again; where its answer does not name what it refuses, each half is sent by itself.
class Writer {
 public:
  explicit Writer(Service& service) : service_(service) {}

  /// \return a note for each change that is pending, refused or ignored.
  /// \throws ResultStatus  as Service::Get. Notes taken before that are in `Notes`.
  void Write(Changes changes);

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
  bool namesApplyTime_ = false;
  Changes sent_;
  std::map<std::string, std::string> messages_;  ///< what the server says of attributes it took
  std::vector<SDK::WriteNote> notes_;
};

}  // namespace Redfish
