#include "plan/PasswordCheck.h"

#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"
#include "plan/Failure.h"

namespace Planning {
namespace {

/// The module's own question to the server, without the restore that follows it.
class PasswordProbe final : public SDK::SaveRestore {
 public:
  void Ask(const std::string& password) { ValidatePassword(password.c_str()); }
};

}  // namespace

void CheckAdminPassword(const Plan& plan, const std::string& password, const Server& server) {
  if (plan.request.mode == ModeBmc) return;
  try {
    PasswordProbe().Ask(password);
  } catch (const ResultStatus& failure) {
    if (failure.getval() != ErrorManager::PasswordRefused || !password.empty()) throw;
    throw Failure(Failure::Kind::NotPermitted,
                  "no BIOS administrator password was given, and the target asks for one; give it "
                  "with --ask-password, --password-file or --password-fd");
  }
  server.ThrowIfSilent();
}

}  // namespace Planning
