#pragma once

#include "plan/Report.h"
#include "plan/Write.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// Shows what has become of each setting; what is as it was only with --verbose.
void ShowReport(const Planning::Report& report, const Planning::Written& written,
                const Messages& messages);

/// Shows what is known of the writes to a server that has fallen silent.
void ShowSilence(const Planning::Written& written, const Messages& messages);

}  // namespace Tool
