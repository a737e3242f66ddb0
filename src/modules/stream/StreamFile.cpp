// Stream files (.scf). This build has none yet: a save to one is refused.
#include "modules/save/SaveRestore.h"

namespace SDK {

int SaveRestore::SaveSCFFile(const char* /*fileName*/, int /*mode*/) {
  constexpr int kUnsupported = 1;
  return kUnsupported;
}

}  // namespace SDK
