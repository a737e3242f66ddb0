#include "query/WriteNotes.h"

#include <algorithm>
#include <string>

#include "common/ErrorManager.h"

namespace Query {

void RaiseRefusals(const std::vector<SDK::WriteNote>& notes, std::size_t count) {
  const auto isRefusal = [](const SDK::WriteNote& note) {
    using Fate = SDK::WriteNote::Fate;
    return note.fate == Fate::Refused || note.fate == Fate::Ignored;
  };
  const auto first = std::ranges::find_if(notes, isRefusal);
  if (first == notes.end()) return;
  ErrorManager::Raise(ErrorManager::WritesRefused,
                      std::to_string(std::ranges::count_if(notes, isRefusal)),
                      std::to_string(count), first->path, first->reason);
}

}  // namespace Query
