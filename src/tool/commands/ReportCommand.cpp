#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "common/AtomicFile.h"
#include "common/LocalTime.h"
#include "plan/FleetReport.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/render/HtmlReport.h"

namespace Tool {
namespace {

/// What `saverestore report` is asked to do.
struct ReportRequest {
  std::string out;
  std::vector<std::string> documents;
  bool overwrite = false;
};

int RunReport(const ReportRequest& request, const Messages& messages) {
  CheckReplaceable(request.out, request.overwrite);
  const Planning::FleetReport report =
      Planning::MakeFleetReport(Planning::ReadFleet(request.documents));
  std::size_t documents = 0;
  for (const Planning::FleetServer& server : report.servers) documents += server.documents.size();
  const std::string now = Common::LocalTime(std::time(nullptr), "%Y-%m-%d %H:%M %Z");
  Common::AtomicFile file(request.out);
  file.Write(HtmlReport(report, "Made on " + now + " of " + Counted(documents, "document") + "."));
  file.Commit(request.overwrite ? Common::AtomicFile::Existing::Replace
                                : Common::AtomicFile::Existing::Keep);
  messages.Result(Headline(report));
  return ExitDone;
}

}  // namespace

void AddReport(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<ReportRequest>();
  command.add_option("OUT", request->out, "The HTML file to write")->required()->type_name("");
  command
      .add_option(
          "DOCUMENTS", request->documents,
          "What verify, diff, restore, apply or undo have printed with --json, a file for a "
          "server; of folders all *.json")
      ->required()
      ->type_name("");
  command.add_flag("--overwrite", request->overwrite, "Replace OUT when it exists");
  command.footer(
      "Each file is a server of its name; the last of several with one name says how it\n"
      "stands. The page needs nothing but itself, and is readable by its owner alone.\n\n"
      "Example:\n"
      "  saverestore --target ipmi:admin@web-1 verify --json base.ini >run/web-1.json\n"
      "  saverestore report report.html run\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals&, const Messages& messages) {
      return RunReport(*request, messages);
    };
  });
}

}  // namespace Tool
