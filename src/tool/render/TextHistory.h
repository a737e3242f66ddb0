#pragma once

#include <vector>

#include "plan/History.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// Shows a line for each record.
void ShowHistory(const std::vector<Planning::HistoryRecord>& records, const Messages& messages);

/// Shows one record with its changes.
void ShowRecord(const Planning::HistoryRecord& record, const Messages& messages);

}  // namespace Tool
