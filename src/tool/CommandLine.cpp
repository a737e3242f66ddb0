// The command line: the parse, what all commands share, and how a failure ends.
#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "common/ErrorManager.h"
#include "common/Logger.h"
#include "plan/Document.h"
#include "plan/Failure.h"
#include "tool/Completion.h"
#include "tool/ExitCodes.h"
#include "tool/Help.h"
#include "tool/commands/Commands.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Messages.h"

namespace Tool {
namespace {

using Words = std::vector<std::string>;

constexpr std::string_view kComplete = "--complete";  // not in the help: for shells alone

std::string ExitCodeHelp() {
  std::string text = "Exit codes:\n";
  for (const ExitRow& row : ExitTable()) {
    std::string code = std::to_string(row.code);
    code.resize(4, ' ');
    text += "  " + code + row.meaning + "\n";
  }
  return text;
}

std::string VersionText(const Kinds& kinds) {
  std::string text = "saverestore " SAVERESTORE_VERSION "\nBack ends:";
  for (const std::string& name : kinds.Names()) text += " " + name;
  return text;
}

/// `words`: as AddCommands takes them.
void Describe(CLI::App& app, Globals& globals, Command& chosen, const Words* words = nullptr) {
  app.formatter(MakeHelpFormatter());  // before the commands, which take it over
  app.description(
      "Saves the configuration of a server (BIOS settings, boot order, BMC) to a file and restores "
      "it.");
  app.set_version_flag("--version", [&globals] { return VersionText(globals.targets.AllKinds()); });
  globals.targets.AddOptions(app);
  CLI::Option* quiet = app.add_flag("-q,--quiet", globals.quiet, "Print errors and warnings only");
  app.add_flag("-v,--verbose", globals.verbose, "Print every query")->excludes(quiet);
  app.add_flag("--no-pager", globals.noPager, "Never show long listings through a pager");
  app.require_subcommand(1);
  app.fallthrough();
  AddCommands(app, CommandRows(), chosen, words);
  app.footer(
      "Example:\n"
      "  saverestore --target machine:server.json save server.ini\n"
      "  saverestore --target machine:server.json restore --dry-run server.ini\n\n" +
      ExitCodeHelp());
}

/// What has come of a parse.
enum class Parsed {
  Command,  ///< go on with the chosen command
  End,      ///< the exit code is set
  Again,    ///< it takes the options of all kinds of target to say what is the matter
};

Parsed EndWithHelp(CLI::App& app, const CLI::Success& request, const Kinds& kinds, int& exitCode) {
  const bool isForAll = app.get_subcommands().empty() && request.get_name() == "CallForHelp";
  if (isForAll && !kinds.AreAllLoaded()) return Parsed::Again;
  std::ostringstream text;  // a stream of its own would lose why it could not be written
  exitCode = app.exit(request, text, text);
  std::fputs(text.str().c_str(), stdout);
  return Parsed::End;
}

/// Ends with what is wrong. Options of a back end that could not be loaded are unknown.
Parsed EndWithFault(const CLI::App& app, const CLI::ParseError& fault, const Words& words,
                    const Kinds& kinds, int& exitCode) {
  if (!kinds.AreAllLoaded()) return Parsed::Again;
  exitCode = ExitUsage;
  std::string reason = WhatIsUnknown(app);
  try {
    for (const std::string& name : KindsNamed(words)) kinds.ThrowIfFaulty(name);
  } catch (const ToolError& faulty) {
    reason = faulty.what();
    exitCode = faulty.code;
  }
  if (reason.empty()) reason = WithoutSecrets(fault.what(), words);
  std::fprintf(stderr, "saverestore: %s\nRun \"saverestore --help\" for the commands.\n",
               Printable(reason).c_str());
  return Parsed::End;
}

Parsed Parse(CLI::App& app, const Words& words, const Kinds& kinds, int& exitCode) {
  try {
    app.parse(Words(words.rbegin(), words.rend()));  // the parser takes them from the end
    return Parsed::Command;
  } catch (const CLI::Success& request) {  // --help or --version
    return EndWithHelp(app, request, kinds, exitCode);
  } catch (const CLI::ParseError& fault) {
    return EndWithFault(app, fault, words, kinds, exitCode);
  }
}

Verbosity HowMuch(const Globals& globals) {
  if (globals.quiet) return Verbosity::Quiet;
  return globals.verbose ? Verbosity::Verbose : Verbosity::Normal;
}

/// Says why a command has failed; where a document was asked for and there is none, in one as well.
/// \return its exit code.
int Fail(int exitCode, std::optional<int> code, const std::string& text, bool isJson,
         const Messages& messages) {
  messages.Error((code ? "error " + std::to_string(*code) + ": " : "") + text);
  if (isJson && !messages.HasDocument()) {
    messages.Document(Planning::FailureDocument(exitCode, code, text));
  }
  return exitCode;
}

int Run(const Command& command, const Globals& globals, bool isJson) {
  const Messages messages(HowMuch(globals), !globals.noPager);
  const auto fail = [&](int exitCode, const std::string& text) {
    return Fail(exitCode, std::nullopt, text, isJson, messages);
  };
  std::set<std::string> warned;  // a restore and its rehearsal say the same
  LOGGER::Logger::CreateInstance()->SetSink([&](const LOGGER::LogRecord& record) {
    if (record.level <= LOGGER::Warning) {
      if (warned.insert(record.text).second) messages.Warning(record.text);
    } else {
      messages.Detail(record.text);
    }
  });
  try {
    CatchInterrupts();
    return command(globals, messages);
  } catch (const ToolError& fault) {
    return fail(fault.code, fault.what());
  } catch (const Planning::Failure& fault) {
    return fail(ExitCodeOf(fault.kind), fault.what());
  } catch (const ResultStatus& failure) {
    if (IsInterrupted() && failure.getval() == ErrorManager::Unreachable) {
      // The request that was given up has failed, not the target.
      return fail(ExitFailed, "interrupted while it waited for the target");
    }
    Fail(ExitCodeOf(failure), failure.getval(), failure.message(), isJson, messages);
    if (const std::string advice = AdviceOn(failure); !advice.empty()) messages.Error(advice);
    return ExitCodeOf(failure);
  } catch (const Interrupted&) {
    return fail(ExitFailed, "interrupted; nothing was written");
  } catch (const std::exception& fault) {
    return fail(ExitFailed, std::string("internal error: ") + fault.what());
  }
}

/// Tells a shell's completion what could stand for the last word, a line each.
int Complete(Words words) {
  const bool isQuoted = words.front() != kComplete;  // bash hands over the words as they were typed
  words.erase(words.begin());
  if (isQuoted) std::ranges::transform(words, words.begin(), Unquoted);
  Kinds kinds;
  for (const std::string& name : KindsNamed(words)) kinds.Load(name);
  Globals globals(kinds);
  Command command;
  CLI::App app;
  Describe(app, globals, command);
  for (const Candidate& each : CandidatesFor(words, app, kinds)) {
    std::printf("%s\t%s\n", Printable(each.word).c_str(), Printable(each.meaning).c_str());
  }
  return ExitDone;
}

/// True when the chosen command was asked for a document.
bool WantsJson(const CLI::App& app) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  if (commands.empty()) return false;
  const CLI::Option* json = commands.front()->get_option_no_throw("--json");
  return json != nullptr && json->count() > 0;
}

}  // namespace

int Main(int argc, const char* const* argv) {
  const Words words(argv + std::min(argc, 1), argv + argc);
  if (!words.empty() && words.front().starts_with(kComplete)) return Complete(words);
  Kinds kinds;
  for (const std::string& name : KindsNamed(words)) kinds.Load(name);
  for (;;) {
    Globals globals(kinds);
    Command command;
    CLI::App app;
    app.name("saverestore");
    // Most of the work of a start would be for commands that do not run.
    Describe(app, globals, command, kinds.AreAllLoaded() ? nullptr : &words);
    int exitCode = ExitDone;
    const Parsed parsed = Parse(app, words, kinds, exitCode);
    if (parsed == Parsed::End) return exitCode;
    if (parsed == Parsed::Command) return Run(command, globals, WantsJson(app));
    kinds.LoadAll();
  }
}

}  // namespace Tool
