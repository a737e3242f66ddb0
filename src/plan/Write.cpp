#include "plan/Write.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>

#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"

namespace Planning {
namespace {

/// The module, with its messages about skipped items kept for the report.
class ReportedRestore final : public SDK::SaveRestore {
 public:
  explicit ReportedRestore(std::vector<std::string>& skipped) : skipped_(skipped) {}

 protected:
  void PrintSkip(const std::string& text) override { AddOnce(skipped_, text); }

 private:
  std::vector<std::string>& skipped_;
};

/// Runs the module's restore. \throws what it throws; the password is wiped in any case.
void RestoreNow(const Plan& plan, Mode mode, const std::string& password,
                std::vector<std::string>& skipped) {
  const Request& request = plan.request;
  SDK::SavenRestoreOptions options = OptionsFor(request.file, mode);
  options.skipSystemCheck = request.skipSystemCheck || !plan.uncompared.empty();
  options.skipBootOrder = request.skipBootOrder;
  password.copy(options.password, sizeof options.password - 1);
  struct Wipe {
    SDK::SavenRestoreOptions& record;
    ~Wipe() { explicit_bzero(record.password, sizeof record.password); }
  } wipe{options};
  ReportedRestore(skipped).Restore(options);
}

bool IsOfBios(const SDK::WriteNote& note) {
  return note.path.starts_with("/BIOS/");
}

void RestoreKeepingFailure(const Plan& plan, Mode mode, const std::string& password,
                           const Server& server, Written& written) {
  try {
    RestoreNow(plan, mode, password, written.skipped);
  } catch (const ResultStatus& thrown) {
    written.failure = thrown;
  }
  std::ranges::move(TakeWriteNotes(server.Providers()), std::back_inserter(written.notes));
  const bool onlyBmcRefused = written.failure &&
                              written.failure->getval() == ErrorManager::WritesRefused &&
                              std::ranges::none_of(written.notes, IsOfBios);
  if (mode != ModeAll || !onlyBmcRefused) return;
  RestoreKeepingFailure(plan, ModeBios, password, server, written);
}

/// Mounts the server itself when the scope ends, however it ends.
struct MountedAgain {
  const Mounts& mounts;
  ~MountedAgain() { MountTarget(mounts); }
};

}  // namespace

Written Write(const Plan& plan, const std::string& password, const Server& server) {
  Written written;
  written.skipped = plan.lost;
  Filter filter{plan.obstacles};
  if (plan.request.isPart) {
    filter.only.emplace();
    for (const Change& change : plan.changes) filter.only->insert(change.path);
  }
  MountTarget(Wrapped(server.Providers(), [&](const std::shared_ptr<SDK::QueryProvider>& provider) {
    return std::make_shared<DeliveringProvider>(provider, filter, written.deliveries);
  }));
  const MountedAgain again{server.Providers()};
  const AheadView ahead(server.Providers());
  RestoreKeepingFailure(plan, plan.request.mode, password, server, written);
  if (plan.request.isPart) written.skipped.clear();
  return written;
}

}  // namespace Planning
