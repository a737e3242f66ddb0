#pragma once

#include "plan/Report.h"
#include "plan/Write.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// Shows what has become of each setting; what is as it was only with --verbose. Of a server that
/// cannot be read any more it shows what is known of each write.
void ShowReport(const Planning::Report& report, const Planning::Written& written,
                const Messages& messages);

}  // namespace Tool
