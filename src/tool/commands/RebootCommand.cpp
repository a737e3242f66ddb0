#include <CLI/CLI.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Writing.h"

namespace Tool {
namespace {

/// What `saverestore reboot` is asked to do.
struct RebootRequest : RestartOptions {
  TargetOpener openTarget;
};

int RunReboot(const RebootRequest& request, const Messages& messages) {
  const Planning::Server server(request.openTarget(), Watching(messages));
  RestartServer(server, request, messages);
  return ExitDone;
}

}  // namespace

void RestartServer(const Planning::Server& server, const RestartOptions& options,
                   const Messages& messages) {
  const Planning::Mounts& mounts = server.Providers();
  const auto bios = mounts.find("BIOS");
  const auto& mount = bios != mounts.end() ? bios->second : mounts.begin()->second;
  messages.Note("Restarting the server; this may take minutes.");
  const auto record = [&](const char* outcome) {
    Planning::HistoryRecord restart;
    restart.command = "reboot";
    restart.target = options.target;
    restart.outcome = outcome;
    options.journal(JournalRecordOf(restart, false));
  };
  try {
    mount.provider->Restart(options.mayForce, options.limit);
  } catch (...) {
    record("failed");
    throw;
  }
  record("done");
  const std::string done = "The server is up, with what waited for the boot.";
  if (messages.HasDocument()) {
    messages.Note(done);
  } else {
    messages.Result(done);
  }
}

void AddReboot(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<RebootRequest>();
  command.add_flag("--force", request->mayForce,
                   "End an operating system that does not end in time when asked");
  command
      .add_option_function<unsigned>(
          "--wait", [request](unsigned seconds) { request->limit = std::chrono::seconds(seconds); },
          "Seconds until it must be up again; default 900")
      ->option_text("SECONDS")
      ->check(CLI::Range(1, 86400));
  command.footer(
      "Restarts the server and waits until it is up and has taken over what waited.\n\n"
      "Example:\n"
      "  saverestore --target redfish:admin@bmc.example reboot\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      request->target = JoinedTargets(globals.targets.Names());
      ThrowIfGuarded(globals.targets.Names());
      return RunReboot(*request, messages);
    };
  });
}

}  // namespace Tool
