#pragma once

#include <vector>

#include "providers/redfish/Writer.h"

namespace Redfish {

/// What a batch of settings comes to once it is checked: what is to be sent, and what is not.
struct Batch {
  Changes changes;
  SDK::SettingMap positions;     ///< of the boot order, that are named
  std::vector<BootEntry> order;  ///< with them; empty when it is as it will be anyway
  std::vector<SDK::WriteNote> notes;
};

}  // namespace Redfish
