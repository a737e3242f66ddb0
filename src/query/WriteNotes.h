#pragma once

#include <cstddef>
#include <vector>

#include "query/QueryProvider.h"

namespace Query {

/// Ends a batch of `count` writes: raises WritesRefused when some of `notes` say that a write was
/// not done. The failure names the first of them.
void RaiseRefusals(const std::vector<SDK::WriteNote>& notes, std::size_t count);

}  // namespace Query
