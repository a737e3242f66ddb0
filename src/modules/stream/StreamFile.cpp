// Stream files (.scf). This build has none yet: each is refused.
#include "modules/save/SaveRestore.h"

namespace SDK {

namespace {
constexpr int kUnsupported = 1;
}  // namespace

int SaveRestore::SaveSCFFile(const char* /*fileName*/, int /*mode*/) {
  return kUnsupported;
}

int SaveRestore::ValidateStream(const char* /*fileName*/, const unsigned char*& /*buffer*/,
                                unsigned int& /*length*/, bool /*skipSystemCheck*/) {
  return kUnsupported;
}

}  // namespace SDK
