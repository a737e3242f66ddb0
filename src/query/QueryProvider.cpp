#include "query/QueryProvider.h"

#include "common/ErrorManager.h"

namespace SDK {

void QueryProvider::Restart(bool /*mayForce*/, std::chrono::seconds /*limit*/) {
  ErrorManager::Raise(ErrorManager::NoSuchForm, "the target", "a restart");
}

}  // namespace SDK
