#pragma once

#include <functional>
#include <string>
#include <vector>

#include "plan/KeptPlan.h"
#include "plan/Request.h"
#include "plan/Server.h"
#include "tool/Journal.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Confirming.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Password.h"

// What the commands that write have in common: restore, apply, undo. They differ in what is wanted.

namespace Tool {

/// How a command is to write.
struct WriteOptions {
  const char* command = "restore";  ///< its name, for the history
  TargetOpener openTarget;
  std::vector<std::string> targets;      ///< as given, for the command that goes back
  std::vector<std::string> targetWords;  ///< the options that reach them, likewise
  std::string announcement;              ///< what the first line of a plan calls the server
  bool skipSystemCheck = false;
  bool skipBootOrder = false;
  PasswordSource password;
  std::string userPasswordFile;  ///< for the accounts that are opened; empty for none
  bool keepsGoing = false;       ///< write the rest where the target cannot take some values
  bool ignoresUnknown = false;   ///< pass over names that the target does not know
  bool allowLockout = false;     ///< cut off the way to the target without asking
  bool dryRun = false;
  std::string planOut;  ///< where the plan of a dry run is kept; empty for nowhere
  const Planning::KeptPlan* keptPlan = nullptr;  ///< what was shown and must still hold
  bool noBackup = false;
  std::string backupDir;  ///< empty: where the history of the target is kept
  bool yes = false;
  bool json = false;
  bool reboot = false;  ///< restart the server where something waits for that, and verify
  bool force = false;   ///< that restart ends an operating system that does not end when asked
  ConfirmOptions confirm;
  bool tellsValues = false;             ///< tell the journal from what to what
  JournalSink journal = SendToJournal;  ///< where what was written is told
};

/// Adds the options to a command. `options` outlives the parse.
void AddWriteOptions(CLI::App& command, WriteOptions& options);

/// Takes what the command line says of the targets.
void TakeTargets(const Globals& globals, WriteOptions& options);

/// The targets of one server as one name, the same from every folder.
[[nodiscard]] std::string JoinedTargets(const std::vector<std::string>& targets);

/// Where the history of the options' target is kept.
[[nodiscard]] std::string HistoryFolderOf(const std::vector<std::string>& targets,
                                          const std::string& backupDir);

/// \throws ToolError  what was written to these targets waits to be kept.
void ThrowIfGuarded(const std::vector<std::string>& targets);

/// Works out what is wanted, once the server is open.
using RequestMaker = std::function<Planning::Request(const Planning::Server& server)>;

/// Checks what is wanted and the password, saves the present configuration, shows what will change,
/// asks for consent, writes, reads the server again and reports what became of each setting. What
/// would change nothing writes nothing, and no backup.
/// With --confirm it then waits until somebody keeps that, or takes it back.
/// \return ExitDone when all is as wanted, ExitDifferent when some setting is not; ExitTakenBack,
///         ExitNotTakenBack.
/// \throws ToolError, Failure, ResultStatus, Interrupted  it is refused (nothing is written then),
///                                                        or has failed.
int CarryOut(const WriteOptions& options, const RequestMaker& make, const Messages& messages);

}  // namespace Tool
