#pragma once

#include "plan/Compare.h"
#include "plan/Verification.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// How the two sides of a comparison are called.
struct Sides {
  const char* left;
  const char* right;
  /// Values read from the right to the left: what a restore of the left one would change.
  bool isOfRestore = false;
};

/// Shows how two sides differ. What differs in settings that a restore never writes is shown with
/// `showsOwn`, and else counted.
void ShowComparison(const Planning::Comparison& comparison, const Sides& sides, bool showsOwn,
                    const Messages& messages);

/// Shows what of a restored file has not taken effect, and what the server says of that.
void ShowVerification(const Planning::Verification& verification, bool showsOwn,
                      const Messages& messages);

}  // namespace Tool
