// The command line: which commands there are, their options and help, and how a failure ends.
#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "common/Logger.h"
#include "plan/Configuration.h"
#include "plan/Failure.h"
#include "tool/ExitCodes.h"
#include "tool/commands/CaptureCommand.h"
#include "tool/commands/CheckCommand.h"
#include "tool/commands/ConvertCommand.h"
#include "tool/commands/DiffCommand.h"
#include "tool/commands/ShowCommand.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Messages.h"
#ifdef SAVERESTORE_REDFISH
#include "tool/commands/RegistryCommand.h"
#endif
#include "tool/commands/RestoreCommand.h"
#include "tool/commands/SaveCommand.h"
#include "tool/commands/VerifyCommand.h"
#include "tool/targets/Targets.h"

namespace Tool {
namespace {

/// The options that all commands share.
struct Globals {
  std::vector<std::string> targets;
  TargetOptions targetOptions;
  bool quiet = false;
  bool verbose = false;

  [[nodiscard]] Verbosity HowMuch() const {
    if (quiet) return Verbosity::Quiet;
    return verbose ? Verbosity::Verbose : Verbosity::Normal;
  }
};

std::string ExitCodeHelp() {
  std::string text = "Exit codes:\n";
  for (const ExitRow& row : ExitTable()) {
    std::string code = std::to_string(row.code);
    code.resize(4, ' ');
    text += "  " + code + row.meaning + "\n";
  }
  return text;
}

Planning::Mode ModeOf(const std::string& name) {
  const auto* mode = std::ranges::find(Planning::kModeNames, name, &Planning::ModeName::name);
  if (mode == std::end(Planning::kModeNames)) {
    throw CLI::ValidationError("\"" + name + "\" is not bios, bmc or all");
  }
  return mode->mode;
}

CLI::Option* AddMode(CLI::App& command, const std::string& description,
                     std::function<void(Planning::Mode)> take) {
  return command.add_option("--mode")
      ->description(description)
      ->type_name("bios|bmc|all")
      ->each([take](const std::string& name) { take(ModeOf(name)); });
}

CLI::Option* AddFile(CLI::App& command, std::string& file, const std::string& description) {
  return command.add_option("FILE", file, description)->required()->type_name("");
}

/// Opens the target of --target. `globals` outlives the command.
TargetOpener OpenerOf(const Globals& globals) {
  return [&globals] { return OpenTargets(globals.targets, globals.targetOptions); };
}

/// The options that reach the targets again, for a command that a person may repeat.
std::vector<std::string> WordsOf(const TargetOptions& options) {
  std::vector<std::string> words;
  const auto add = [&](const char* option, const std::string& value) {
    if (!value.empty()) words.insert(words.end(), {option, value});
  };
  add("--bmc-password-file", options.bmcPassword.file);
  add("--cacert", options.redfish.caFile);
  add("--pinned-key", options.redfish.pinnedKey);
  if (options.redfish.insecure) words.emplace_back("--insecure");
  for (const std::string& name : options.ipmiWorkarounds) add("--ipmi-workaround", name);
  return words;
}

/// A command that was chosen on the command line, ready to run.
using Command = std::function<int(const Globals&, const Messages&)>;

void AddSave(CLI::App& app, Command& chosen) {
  CLI::App* save = app.add_subcommand("save", "Save the target's configuration into a file");
  auto request = std::make_shared<SaveRequest>();
  AddFile(*save, request->file,
          "The file to write; its name ends in .ini, or in .scf for a stream file");
  AddMode(*save,
          "What to save: bios (with the boot order), bmc, or all; default: what the target has",
          [request](Planning::Mode mode) { request->mode = mode; });
  save->add_flag("--overwrite", request->overwrite, "Replace FILE when it exists");
  save->footer(
      "The file is written whole or not at all, readable by its owner alone.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json save --mode bios server.ini\n");
  save->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      RunSave(*request, messages);
      return int{ExitDone};
    };
  });
}

constexpr const char* kModeOfFile =
    "What to look at: bios (with the boot order), bmc, or all; default: what FILE holds";

void AddRestore(CLI::App& app, Command& chosen) {
  CLI::App* restore = app.add_subcommand("restore", "Write a file back into the target");
  auto request = std::make_shared<RestoreRequest>();
  AddFile(*restore, request->file, "The file to restore");
  AddMode(*restore,
          "What to restore: bios (with the boot order), bmc, or all; default: what FILE "
          "holds",
          [request](Planning::Mode mode) { request->mode = mode; });
  auto* password = restore->add_option_group("password");
  password->add_option("--password-file", request->password.file,
                       "Read the BIOS administrator password from the first line of this file");
  password->add_option("--password-fd", request->password.descriptor,
                       "Read it from this open file descriptor");
  password->add_flag("--ask-password", request->password.ask, "Ask for it on the terminal");
  password->require_option(0, 1);
  restore->add_flag("--skip-system-check", request->skipSystemCheck,
                    "Do not compare [SYSTEM] with the target");
  restore->add_flag("--skip-boot-order", request->skipBootOrder,
                    "Leave the boot order and the hard-disk order alone");
  restore->add_flag("--dry-run", request->dryRun, "Show what would be written, and write nothing");
  restore->add_flag("--no-backup", request->noBackup,
                    "Do not save the present configuration first");
  restore->add_option("--backup-dir", request->backupDir,
                      "Where the present configuration is saved; default: beside FILE");
  restore->add_flag("--yes", request->yes, "Do not ask");
  restore->add_flag("--json", request->json, "Report as JSON");
  restore->footer(
      "Checks FILE, saves the present configuration into a dated file, shows what will\n"
      "change, asks on a terminal, restores, and reports what became of each setting.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json restore --dry-run server.ini\n");
  restore->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      request->targets = globals.targets;
      request->targetWords = WordsOf(globals.targetOptions);
      return RunRestore(*request, messages);
    };
  });
}

void AddDiff(CLI::App& app, Command& chosen) {
  CLI::App* diff = app.add_subcommand("diff", "Show how a file differs from the target or a file");
  auto request = std::make_shared<DiffRequest>();
  AddFile(*diff, request->file, "The file");
  diff->add_option("OTHER", request->other, "Another file, to compare without a target")
      ->type_name("");
  AddMode(*diff, kModeOfFile, [request](Planning::Mode mode) { request->mode = mode; });
  diff->add_flag("--json", request->json, "Print JSON");
  diff->footer(
      "Values compare as a restore would take them.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json diff server.ini\n");
  diff->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      return RunDiff(*request, messages);
    };
  });
}

void AddVerify(CLI::App& app, Command& chosen) {
  CLI::App* verify =
      app.add_subcommand("verify", "Show what of a restored file has taken effect at the boot");
  auto request = std::make_shared<VerifyRequest>();
  AddFile(*verify, request->file, "The file that was restored");
  AddMode(*verify, kModeOfFile, [request](Planning::Mode mode) { request->mode = mode; });
  verify->add_flag("--json", request->json, "Print JSON");
  verify->footer(
      "Settings that the target has and FILE does not name are no difference. With the\n"
      "differences come the messages that the target has left of its last boot.\n\n"
      "Example:\n"
      "  saverestore --target redfish:admin@bmc.example verify server.ini\n");
  verify->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      return RunVerify(*request, messages);
    };
  });
}

void AddCheck(CLI::App& app, Command& chosen) {
  CLI::App* check = app.add_subcommand("check", "Look for what is wrong with a file");
  auto request = std::make_shared<CheckRequest>();
  AddFile(*check, request->file, "The file");
  AddMode(*check, kModeOfFile, [request](Planning::Mode mode) { request->mode = mode; });
  check->add_flag("--json", request->json, "Print JSON");
  check->footer(
      "With a --target it also tells whether FILE can be restored there.\n\n"
      "Example:\n"
      "  saverestore check server.ini\n");
  check->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      if (!globals.targets.empty()) request->openTarget = OpenerOf(globals);
      return RunCheck(*request, messages);
    };
  });
}

void AddShow(CLI::App& app, Command& chosen) {
  CLI::App* show = app.add_subcommand("show", "Show what a file is");
  struct Request {
    std::string file;
    bool json = false;
  };
  auto request = std::make_shared<Request>();
  AddFile(*show, request->file, "The file");
  show->add_flag("--json", request->json, "Print JSON");
  show->footer("Example:\n  saverestore show server.ini\n");
  show->callback([request, &chosen] {
    chosen = [request](const Globals&, const Messages& messages) {
      return RunShow(request->file, request->json, messages);
    };
  });
}

void AddCapture(CLI::App& group, Command& chosen) {
  CLI::App* capture =
      group.add_subcommand("capture", "Keep all that a target has in a machine file");
  auto request = std::make_shared<CaptureRequest>();
  AddFile(*capture, request->file, "The machine file to write");
  capture->add_flag("--overwrite", request->overwrite, "Replace FILE when it exists");
  capture->footer(
      "For rehearsals, tests and bug reports: --target machine:FILE then reads like the target.\n"
      "Passwords are not kept. The file is written whole or not at all, readable by its owner\n"
      "alone.\n\n"
      "Example:\n"
      "  saverestore --target local machine capture server.json\n");
  capture->callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      request->targets = globals.targets;
      RunCapture(*request, messages);
      return int{ExitDone};
    };
  });
}

void AddConvert(CLI::App& app, Command& chosen) {
  CLI::App* convert = app.add_subcommand("convert", "Turn a text file into a stream file, or back");
  auto request = std::make_shared<ConvertRequest>();
  AddFile(*convert, request->from, "The file to read");
  convert->add_option("OTHER", request->to, "The file to write, of the other form")
      ->required()
      ->type_name("");
  convert->add_flag("--overwrite", request->overwrite, "Replace OTHER when it exists");
  convert->footer(
      "Text files end in .ini, stream files in .scf. Needs no target.\n\n"
      "Example:\n"
      "  saverestore convert server.ini server.scf\n");
  convert->callback([request, &chosen] {
    chosen = [request](const Globals&, const Messages& messages) {
      RunConvert(*request, messages);
      return int{ExitDone};
    };
  });
}

#ifdef SAVERESTORE_REDFISH
void AddFromRegistry(CLI::App& group, Command& chosen) {
  CLI::App* registry = group.add_subcommand(
      "from-registry", "Make a machine file of a published BIOS attribute registry");
  auto request = std::make_shared<RegistryRequest>();
  auto files = std::make_shared<std::vector<std::string>>();
  registry->add_option("FILES", *files, "REGISTRY.json [VALUES.json] OUT.json")
      ->required()
      ->expected(2, 3)
      ->type_name("");
  registry->add_flag("--overwrite", request->overwrite, "Replace OUT.json when it exists");
  registry->footer(
      "VALUES.json holds the attributes of a Bios resource; without it the settings have the\n"
      "registry's own values. Needs no target.\n\n"
      "Example:\n"
      "  saverestore machine from-registry registry.json server.json\n");
  registry->callback([request, files, &chosen] {
    chosen = [request, files](const Globals&, const Messages& messages) {
      request->registry = files->front();
      request->out = files->back();
      if (files->size() == 3) request->values = (*files)[1];
      RunFromRegistry(*request, messages);
      return int{ExitDone};
    };
  });
}

#endif

void AddMachine(CLI::App& app, Command& chosen) {
  CLI::App* machine = app.add_subcommand("machine", "Make machine files");
  machine->require_subcommand(1);
  AddCapture(*machine, chosen);
#ifdef SAVERESTORE_REDFISH
  AddFromRegistry(*machine, chosen);
#endif
}

#ifdef SAVERESTORE_REDFISH
void AddRedfishOptions(CLI::App& app, RedfishOptions& options) {
  app.add_option("--cacert", options.caFile,
                 "Trust a Redfish service by the certificates in this PEM file");
  app.add_option("--pinned-key", options.pinnedKey,
                 "Trust a Redfish service by its public key: sha256//BASE64");
  app.add_flag("--insecure", options.insecure, "Trust any Redfish service; for tests only");
  app.add_option("--timeout", options.timeout,
                 "Seconds to wait for a sign of life of a Redfish service; default 30")
      ->check(CLI::Range(1, 600));
}
#endif

void AddTargets(CLI::App& app, Command& chosen) {
  CLI::App* targets = app.add_subcommand("targets", "List the kinds of target of this build");
  targets->footer("Example:\n  saverestore targets\n");
  targets->callback([&chosen] {
    chosen = [](const Globals&, const Messages&) {
      for (const TargetKind& kind : TargetKinds()) {
        std::printf("%-20s %s\n", kind.form, kind.summary);
      }
      return int{ExitDone};
    };
  });
}

void Describe(CLI::App& app, Globals& globals, Command& chosen) {
  app.description(
      "Saves the configuration of a server (BIOS settings, boot order, BMC) to a file and restores "
      "it.");
  app.set_version_flag("--version", "saverestore " SAVERESTORE_VERSION);
  app.add_option("--target", globals.targets,
                 "The server to work on, for example machine:server.json; see \"targets\". Given\n"
                 "twice, one is for the BIOS and the other for the BMC")
      ->type_name("KIND:PLACE")
      ->allow_extra_args(false);
  PasswordSource& password = globals.targetOptions.bmcPassword;
  password.prompt = "Password of the BMC user: ";
  auto* bmcPassword = app.add_option_group("bmc-password");
  bmcPassword->add_option("--bmc-password-file", password.file,
                          "Read the password of the BMC user from the first line of this file");
  bmcPassword->add_option("--bmc-password-fd", password.descriptor,
                          "Read it from this open file descriptor; default: ask on the terminal");
  bmcPassword->require_option(0, 1);
#ifdef SAVERESTORE_IPMI
  app.add_option("--ipmi-workaround", globals.targetOptions.ipmiWorkarounds,
                 "A departure from IPMI that the BMC needs, for example opensesspriv; repeatable")
      ->type_name("NAME")
      ->allow_extra_args(false);
#endif
#ifdef SAVERESTORE_REDFISH
  AddRedfishOptions(app, globals.targetOptions.redfish);
#endif
  CLI::Option* quiet = app.add_flag("-q,--quiet", globals.quiet, "Print errors and warnings only");
  app.add_flag("-v,--verbose", globals.verbose, "Print every query")->excludes(quiet);
  app.require_subcommand(1);
  app.fallthrough();
  AddSave(app, chosen);
  AddRestore(app, chosen);
  AddDiff(app, chosen);
  AddVerify(app, chosen);
  AddCheck(app, chosen);
  AddShow(app, chosen);
  AddMachine(app, chosen);
  AddConvert(app, chosen);
  AddTargets(app, chosen);
  app.footer(
      "Example:\n"
      "  saverestore --target machine:server.json save server.ini\n"
      "  saverestore --target machine:server.json restore --dry-run server.ini\n\n" +
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
    messages.Error(fault.what());
    return fault.code;
  } catch (const Planning::Failure& fault) {
    messages.Error(fault.what());
    return ExitCodeOf(fault.kind);
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
