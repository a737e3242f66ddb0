#pragma once

#include "plan/Report.h"
#include "plan/Write.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// Shows what has become of each setting of `plan`; what is as it was only with --verbose. Of a
/// server that cannot be read any more it shows what is known of each write.
void ShowReport(const Planning::Plan& plan, const Planning::Written& written,
                const Planning::Report& report, const Messages& messages);

}  // namespace Tool
