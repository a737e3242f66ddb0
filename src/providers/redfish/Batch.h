#pragma once

#include <vector>

#include "providers/redfish/Writer.h"

namespace Redfish {

/// A setting that is not sent, as those who write and those who only look ahead are told.
struct Kept {
  std::string path;
  SDK::WriteNote::Fate fate;
  SDK::WriteForesight::Kind kind;
  std::string reason;
};

/// What a batch of settings comes to once it is checked: what is to be sent, and what is not.
struct Batch {
  Changes changes;
  SDK::SettingMap positions;     ///< of the boot order, that are named
  std::vector<BootEntry> order;  ///< with them; empty when it is as it will be anyway
  std::vector<Kept> kept;
};

}  // namespace Redfish
