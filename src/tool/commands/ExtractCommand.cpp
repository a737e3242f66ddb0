#include <CLI/CLI.hpp>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "plan/FileCheck.h"
#include "plan/Layers.h"
#include "plan/Template.h"
#include "tool/ExitCodes.h"
#include "tool/InputFile.h"
#include "tool/OutputFile.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"

namespace Tool {
namespace {

using Planning::Configuration;

/// What `saverestore extract` is asked to do.
struct ExtractRequest {
  std::vector<std::string> files;
  std::string to = kStandardStream;
  Planning::Selection selection;
  bool common = false;      ///< what the files share
  bool isBaseline = false;  ///< a file that may have placeholders
  bool overwrite = false;   ///< replace an existing file
};

void CheckUsage(const ExtractRequest& request) {
  if (request.common != (request.files.size() > 1)) {
    throw ToolError(ExitUsage, request.common ? "--common needs two files or more"
                                              : "of several files --common takes what they share");
  }
  if (!request.common && request.selection.IsAll()) {
    throw ToolError(ExitUsage, "say what to take: --only, --except, or --common of several files");
  }
  CheckHoldsPart(request.to);
}

Configuration Extracted(const ExtractRequest& request) {
  std::vector<Configuration> contents;
  for (const std::string& given : request.files) {
    const InputFile file(given);
    contents.push_back(Planning::WellFormed(file.Path(), file.Name()).Content());
    request.selection.ThrowIfIdle(contents.back());
  }
  return request.selection.Of(CommonTo(contents));
}

void Write(const Configuration& content, bool isBaseline, Common::AtomicFile& file) {
  Planning::WriteTextFile(file.TemporaryPath(), content);
  if (!isBaseline) return;
  std::ifstream text(file.TemporaryPath(), std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(text), {}};
  text.close();
  std::ofstream baseline(file.TemporaryPath(), std::ios::binary | std::ios::trunc);
  baseline << Planning::AsBaseline(whole);
  baseline.close();
  if (!baseline) throw ToolError(ExitFailed, "the baseline cannot be written; is the disk full?");
}

/// Writes a part of one file, or what several share, as a text file.
/// \throws ToolError, Failure, ResultStatus  nothing has been written then.
void RunExtract(const ExtractRequest& request, const Messages& messages) {
  CheckUsage(request);
  OutputFile output(request.to, request.overwrite);
  const Configuration content = Extracted(request);
  if (content.Settings().empty()) {
    throw ToolError(ExitDifferent,
                    request.common ? "the files have no setting in common" : "no setting is left");
  }
  Write(content, request.isBaseline, output.File());
  output.Commit();
  output.Tell("Extracted " + Counted(content.Settings().size(), "key") + " in " +
                  Counted(content.Sections().size(), "section") + ".",
              messages);
}

}  // namespace

void AddExtract(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<ExtractRequest>();
  command.add_option("FILE", request->files, "The file, or with --common the files")
      ->required()
      ->type_name("");
  AddSelection(command, request->selection);
  command.add_flag("--common", request->common,
                   "Take the settings that all files have with the same value");
  command.add_flag("--baseline", request->isBaseline,
                   "Write a baseline, in which ${NAME} may stand for a value");
  command.add_option("-o,--output", request->to,
                     "The file to write; its name ends in .ini. Default: standard output");
  command.add_flag("--overwrite", request->overwrite, "Replace the file when it exists");
  command.footer(
      "Values compare as a restore would take them. [SYSTEM] is common when all of it is.\n"
      "Needs no target.\n\n"
      "Example:\n"
      "  saverestore extract rack-1.ini rack-2.ini --common -o baseline.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals&, const Messages& messages) {
      RunExtract(*request, messages);
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
