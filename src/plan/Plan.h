#pragma once

#include <string>
#include <vector>

#include "plan/Change.h"
#include "plan/Configuration.h"
#include "plan/FileCheck.h"
#include "plan/Rehearsal.h"
#include "plan/Request.h"
#include "plan/Server.h"

// A restore goes through stages, each of which hands a value on:
//
//     const Plan plan = MakePlan(request, server);          // reads only
//     const Saved backup = SaveBackup(plan, folder, server);  // Backup.h
//     const Written written = Write(plan, password, server);  // Write.h
//     const Report report = ReportOf(plan, written, server);  // Report.h
//
// None of them prints or asks. Whoever calls them shows the values and decides whether to go on.

namespace Planning {

/// What a restore would do to a server.
struct Plan {
  Request request;
  std::vector<Finding> findings;      ///< of the file by itself, then of the file on this server
  Configuration present;              ///< what the server has
  std::vector<RecordedWrite> writes;  ///< all that would be sent
  std::vector<Change> changes;        ///< those of them that change something
  std::vector<Obstacle> obstacles;    ///< what would change too, but cannot
  std::vector<SDK::WriteForesight> foresight;  ///< what the changes lead to beyond themselves
  std::vector<std::string> skipped;            ///< what the restore says about items it passes over
  std::vector<std::string> lost;  ///< what of the file it cannot keep; also in `skipped`
  std::vector<TakenValue> taken;  ///< values that it takes from other keys
  /// What of [SYSTEM] cannot be compared and need not be, also in `findings`. The plan has compared
  /// the rest; the module would want all of it.
  std::vector<std::string> uncompared;

  [[nodiscard]] bool IsRefused() const {
    return HasErrors(findings) || (HasUnknown(findings) && !request.ignoresUnknown);
  }
  /// How many changes the server takes only once it has restarted with the others.
  [[nodiscard]] std::size_t NeedingRestart() const;
};

/// What of `settings`, BMC values that tell nothing, the server keeps as it is.
/// \throws ResultStatus  it cannot be asked.
[[nodiscard]] std::vector<SDK::WriteForesight> KeptOf(const SDK::SettingMap& settings,
                                                      const Server& server);

/// Works out what a restore would do, by rehearsing it. Writes nothing.
/// \throws Failure       the server has no such part, or the file's name is too long.
/// \throws ResultStatus  the server has fallen silent, or the file's name has another form.
[[nodiscard]] Plan MakePlan(const Request& request, const Server& server);

}  // namespace Planning
