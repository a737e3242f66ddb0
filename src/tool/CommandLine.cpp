// The command line: which commands there are, their options and help, and how a failure ends.
#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Logger.h"
#include "tool/ExitCodes.h"
#include "tool/Interrupt.h"
#include "tool/Messages.h"
#include "tool/SaveCommand.h"
#include "tool/Targets.h"

namespace Tool {
namespace {

/// The options that all commands share.
struct Globals {
  std::string target;
  bool quiet = false;
  bool verbose = false;

  [[nodiscard]] Verbosity HowMuch() const {
    if (quiet) return Verbosity::Quiet;
    return verbose ? Verbosity::Verbose : Verbosity::Normal;
  }
};

struct ModeName {
  std::string_view name;
  int mode;
};
constexpr auto kModes = std::to_array<ModeName>({{"bios", 0}, {"bmc", 1}, {"all", 2}});

std::string ExitCodeHelp() {
  std::string text = "Exit codes:\n";
  for (const ExitRow& row : ExitTable()) {
    std::string code = std::to_string(row.code);
    code.resize(4, ' ');
    text += "  " + code + row.meaning + "\n";
  }
  return text;
}

int ModeOf(const std::string& name) {
  const auto* mode = std::ranges::find(kModes, name, &ModeName::name);
  if (mode == kModes.end()) {
    throw CLI::ValidationError("\"" + name + "\" is not bios, bmc or all");
  }
  return mode->mode;
}

/// A command that was chosen on the command line, ready to run.
using Command = std::function<void(const Globals&, const Messages&)>;

void AddSave(CLI::App& app, Command& chosen) {
  CLI::App* save = app.add_subcommand("save", "Save the target's configuration into a file");
  auto request = std::make_shared<SaveRequest>();
  save->add_option("FILE", request->file, "The file to write; its name ends in .ini")
      ->required()
      ->type_name("");
  save->add_option("--mode")
      ->description("What to save: bios (with the boot order), bmc, or all (the default)")
      ->type_name("bios|bmc|all")
      ->each([request](const std::string& name) { request->mode = ModeOf(name); });
  save->add_flag("--overwrite", request->overwrite, "Replace FILE when it exists");
  save->footer(
      "The file is written whole or not at all, readable by its owner alone.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json save --mode bios server.ini\n");
  save->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = [&globals] { return OpenTarget(globals.target); };
      RunSave(*request, messages);
    };
  });
}

void AddTargets(CLI::App& app, Command& chosen) {
  CLI::App* targets = app.add_subcommand("targets", "List the kinds of target of this build");
  targets->footer("Example:\n  saverestore targets\n");
  targets->callback([&chosen] {
    chosen = [](const Globals&, const Messages&) {
      for (const TargetKind& kind : TargetKinds()) {
        std::printf("%-20s %s\n", kind.form, kind.summary);
      }
    };
  });
}

void Describe(CLI::App& app, Globals& globals, Command& chosen) {
  app.description(
      "Saves the configuration of a server (BIOS settings, boot order, BMC) to a file.");
  app.set_version_flag("--version", "saverestore " SAVERESTORE_VERSION);
  app.add_option("--target", globals.target,
                 "The server to work on, for example machine:server.json; see \"targets\"")
      ->type_name("KIND:PLACE");
  CLI::Option* quiet = app.add_flag("-q,--quiet", globals.quiet, "Print errors and warnings only");
  app.add_flag("-v,--verbose", globals.verbose, "Print every query")->excludes(quiet);
  app.require_subcommand(1);
  app.fallthrough();
  AddSave(app, chosen);
  AddTargets(app, chosen);
  app.footer(
      "Example:\n"
      "  saverestore --target machine:server.json save server.ini\n\n" +
      ExitCodeHelp());
}

/// Parses the arguments. \return true to go on with the chosen command, else `exitCode` is set.
bool Parse(CLI::App& app, int argc, const char* const* argv, int& exitCode) {
  try {
    app.parse(argc, argv);
    return true;
  } catch (const CLI::Success& request) {  // --help or --version
    exitCode = app.exit(request);
  } catch (const CLI::ParseError& fault) {
    std::string reason = fault.what();
    const std::vector<std::string> unknown = app.remaining(true);
    if (app.get_subcommands().empty() && !unknown.empty()) {
      const char* what = unknown.front().starts_with('-') ? "option" : "command";
      reason = std::string("there is no ") + what + " \"" + unknown.front() + "\"";
    }
    std::fprintf(stderr, "saverestore: %s\nRun \"saverestore --help\" for the commands.\n",
                 Printable(reason).c_str());
    exitCode = ExitUsage;
  }
  return false;
}

int Run(const Command& command, const Globals& globals) {
  const Messages messages(globals.HowMuch());
  LOGGER::Logger::CreateInstance()->SetSink([&](const LOGGER::LogRecord& record) {
    if (record.level <= LOGGER::Warning) {
      messages.Warning(record.text);
    } else {
      messages.Detail(record.text);
    }
  });
  try {
    CatchInterrupts();
    command(globals, messages);
    return ExitDone;
  } catch (const ToolError& fault) {
    messages.Error(fault.what());
    return fault.code;
  } catch (const ResultStatus& failure) {
    messages.Error("error " + std::to_string(failure.getval()) + ": " + failure.message());
    if (const std::string advice = AdviceOn(failure); !advice.empty()) messages.Error(advice);
    return ExitCodeOf(failure);
  } catch (const Interrupted&) {
    messages.Error("interrupted; nothing was written");
    return ExitFailed;
  } catch (const std::exception& fault) {
    messages.Error(std::string("internal error: ") + fault.what());
    return ExitFailed;
  }
}

}  // namespace

int Main(int argc, const char* const* argv) {
  Globals globals;
  Command command;
  CLI::App app;
  app.name("saverestore");
  Describe(app, globals, command);
  int exitCode = ExitDone;
  if (!Parse(app, argc, argv, exitCode)) return exitCode;
  return Run(command, globals);
}

}  // namespace Tool
