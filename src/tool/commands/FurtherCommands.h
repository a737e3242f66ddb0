#pragma once

#include <string>
#include <vector>

#include "plan/History.h"
#include "tool/commands/Writing.h"

// What a person may type after a write, as a shell takes it: on the same target, reached and
// written in the same way.

namespace Tool {

/// The command that takes the write of `record` back.
[[nodiscard]] std::string CommandBack(const WriteOptions& options,
                                      const Planning::HistoryRecord& record);

/// The same for a write after which the session's account is called `account`. The history is kept
/// under the old name, which is no longer let in.
[[nodiscard]] std::string CommandBackAs(const std::string& account, const WriteOptions& options,
                                        const Planning::HistoryRecord& record);

/// The commands that do so where the tool could not, over each way there is.
[[nodiscard]] std::vector<std::string> CommandsByHand(const WriteOptions& options,
                                                      const Planning::HistoryRecord& record);

/// The command that keeps what waits for that.
[[nodiscard]] std::string CommandToConfirm(const WriteOptions& options);

}  // namespace Tool
