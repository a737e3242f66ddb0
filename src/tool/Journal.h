#pragma once

#include <functional>
#include <string>
#include <vector>

#include "plan/History.h"

// Who wrote what to which server, told to the machine's journal, where whoever wrote it cannot take
// it back.

namespace Tool {

/// One record of the journal: "NAME=value" texts, the first of them MESSAGE. A name may repeat.
using JournalRecord = std::vector<std::string>;

/// The record of a write by the user of this process. `withValues` has it tell each change with its
/// values, other than secrets (`Common::IsSecret`).
[[nodiscard]] JournalRecord JournalRecordOf(const Planning::HistoryRecord& write, bool withValues);

/// Where records go.
using JournalSink = std::function<void(const JournalRecord& record)>;

/// Sends a record to the journal, or, on a machine without one, its texts to syslog. A machine that
/// has neither keeps none.
void SendToJournal(const JournalRecord& record);

}  // namespace Tool
