#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Password.h"

namespace Tool {

/// What `saverestore restore` is asked to do.
struct RestoreRequest {
  TargetOpener openTarget;
  std::vector<std::string> targets;      ///< as given, for the command that goes back
  std::vector<std::string> targetWords;  ///< the options that reach them, likewise
  std::string file;
  std::optional<Planning::Mode> mode;  ///< without one, the mode of the file
  bool skipSystemCheck = false;
  bool skipBootOrder = false;
  PasswordSource password;
  std::string userPasswordFile;  ///< for the accounts that the restore opens; empty for none
  bool keepsGoing = false;       ///< write the rest where the target cannot take some values
  bool ignoresUnknown = false;   ///< pass over names that the target does not know
  bool allowLockout = false;     ///< cut off the way to the target without asking
  bool dryRun = false;
  bool noBackup = false;
  std::string backupDir;  ///< empty: beside the file
  bool yes = false;
  bool json = false;
  bool reboot = false;  ///< restart the server where something waits for that, and verify
  bool force = false;   ///< that restart does not ask the operating system
};

/// Checks the file and the password, saves the machine's present configuration, shows what will
/// change, asks for consent, restores, reads the machine again and reports what became of each
/// setting. A restore that would change nothing writes nothing, and no backup.
/// \return ExitDone when all is as wanted, ExitDifferent when some setting is not.
/// \throws ToolError, Failure, ResultStatus, Interrupted  the file is refused (nothing is written
///                                                        then), or the restore has failed.
int RunRestore(const RestoreRequest& request, const Messages& messages);

}  // namespace Tool
