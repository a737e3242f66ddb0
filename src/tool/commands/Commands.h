#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "tool/Journal.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace CLI {
class App;
}

namespace Tool {

/// The options that all commands share.
struct Globals {
  explicit Globals(Kinds& kinds) : targets(kinds) {}

  TargetChoice targets;
  bool quiet = false;
  bool verbose = false;
  bool noPager = false;
};

/// A command that was chosen on the command line, ready to run. \return the exit code.
using Command = std::function<int(const Globals&, const Messages&)>;

/// One line of the table of commands. Parsing and help follow from the tables.
struct CommandRow {
  const char* name;
  const char* summary;
  /// Adds the options and the help of the command to `command`, which the parser made for this row,
  /// and has it set `chosen` when it is the one.
  void (*add)(CLI::App& command, Command& chosen);
};

/// The commands of this build, in the order of the help.
[[nodiscard]] std::span<const CommandRow> CommandRows();

/// Makes the commands of `rows` known to `parent`; with `words`, the options of those alone that
/// are among them.
void AddCommands(CLI::App& parent, std::span<const CommandRow> rows, Command& chosen,
                 const std::vector<std::string>* words = nullptr);

// --- What the rows add: NameCommand.cpp

void AddSave(CLI::App& command, Command& chosen);
void AddRestore(CLI::App& command, Command& chosen);
void AddApply(CLI::App& command, Command& chosen);
void AddUndo(CLI::App& command, Command& chosen);
void AddConfirm(CLI::App& command, Command& chosen);
void AddHistory(CLI::App& command, Command& chosen);
void AddDiff(CLI::App& command, Command& chosen);
void AddVerify(CLI::App& command, Command& chosen);
void AddPending(CLI::App& command, Command& chosen);
void AddReboot(CLI::App& command, Command& chosen);
void AddCheck(CLI::App& command, Command& chosen);
void AddReport(CLI::App& command, Command& chosen);
void AddShow(CLI::App& command, Command& chosen);
void AddMachine(CLI::App& command, Command& chosen);
void AddCapture(CLI::App& command, Command& chosen);
void AddFromRegistry(CLI::App& command, Command& chosen);
void AddConvert(CLI::App& command, Command& chosen);
void AddExtract(CLI::App& command, Command& chosen);
void AddTargets(CLI::App& command, Command& chosen);

// --- What several of them share: Options.cpp

/// The argument FILE.
void AddFile(CLI::App& command, std::string& file, const std::string& description);

/// The option --mode. `mode` outlives the parse.
void AddMode(CLI::App& command, std::optional<Planning::Mode>& mode,
             const std::string& description);

/// The option --backup-dir of what reads a history.
void AddBackupDir(CLI::App& command, std::string& folder);

/// How --mode reads where a file decides.
inline constexpr const char* kModeOfFile =
    "What to look at: bios (with the boot order), bmc, or all; default: what FILE holds";

/// How long a restart may take where nobody says.
inline constexpr unsigned kRestartSeconds = 900;

/// How a server is to be restarted.
struct RestartOptions {
  std::string target;     ///< as the journal has it
  bool mayForce = false;  ///< end an operating system that does not end when it is asked to
  std::chrono::seconds limit{kRestartSeconds};
  JournalSink journal = SendToJournal;
};

/// Restarts the server, waits until it has taken over what waited (`QueryProvider::Restart`), and
/// tells the journal.
void RestartServer(const Planning::Server& server, const RestartOptions& options,
                   const Messages& messages);

/// Opens the target of --target. `globals` outlives the command.
[[nodiscard]] TargetOpener OpenerOf(const Globals& globals);

}  // namespace Tool
