#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "common/AtomicFile.h"
#include "modules/save/RowSink.h"
#include "modules/stream/StreamFile.h"
#include "plan/ConfigurationFile.h"
#include "plan/FileCheck.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"

namespace Tool {
namespace {

/// What `saverestore convert` is asked to do.
struct ConvertRequest {
  std::string from;
  std::string to;
  bool overwrite = false;  ///< replace an existing file
};

void WriteText(Common::AtomicFile& file, const std::vector<Scf::Section>& sections) {
  SDK::IniFile text(file.TemporaryPath().c_str());
  for (const Scf::Section& section : sections) {
    text.Rows().BeginSection(section.name);
    for (const SDK::Row& row : section.rows) text.Rows().Write(row);
  }
  try {
    text.Finish();
  } catch (const ResultStatus&) {
    file.RaiseWhyFull();
    throw;
  }
}

/// A stream holds what belongs to a server; anything else in a text file has no place in it.
void WarnOfStrangers(const std::vector<Scf::Section>& sections, const Messages& messages) {
  for (const Scf::Section& section : sections) {
    if (SDK::Stream::BlockOf(section.name) != nullptr) continue;
    messages.Warning("the section " + section.name +
                     " belongs to no server and has no place in a stream file; it is left out");
  }
}

void WriteStream(Common::AtomicFile& file, const Planning::ConfigurationFile& source,
                 const Messages& messages) {
  WarnOfStrangers(source.Sections(), messages);
  try {
    const std::vector<unsigned char> bytes =
        SDK::Stream::Encode(source.Sections(), ModeOf(source.Content()));
    file.Write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  } catch (const Scf::Damaged& fault) {
    throw ToolError(ExitFailed, std::string("the stream file cannot be written: ") + fault.what());
  }
}

/// Writes the text file `from` as the stream file `to`, or the other way round, whole or not at
/// all. Needs no target.
/// \throws ToolError, ResultStatus  nothing has been written then.
void RunConvert(const ConvertRequest& request, const Messages& messages) {
  const bool toStream = Planning::IsStreamName(request.to);
  if (toStream == Planning::IsStreamName(request.from)) {
    throw ToolError(ExitUsage,
                    "one of the two files must be a stream file, ending in .scf, and "
                    "the other a text file, ending in .ini");
  }
  CheckDestination(request.to, request.overwrite);
  const Planning::ConfigurationFile source = Planning::WellFormed(request.from);
  Common::AtomicFile file(request.to);
  if (toStream) {
    WriteStream(file, source, messages);
  } else {
    WriteText(file, source.Sections());
  }
  file.Commit(request.overwrite ? Common::AtomicFile::Existing::Replace
                                : Common::AtomicFile::Existing::Keep);
  messages.Result("Converted " + request.from + " to " + request.to + ": " +
                  Counted(source.Content().Sections().size(), "section") + ", " +
                  Counted(source.Content().Settings().size(), "key") + ".");
}

}  // namespace

void AddConvert(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<ConvertRequest>();
  AddFile(command, request->from, "The file to read");
  command.add_option("OTHER", request->to, "The file to write, of the other form")
      ->required()
      ->type_name("");
  command.add_flag("--overwrite", request->overwrite, "Replace OTHER when it exists");
  command.footer(
      "Text files end in .ini, stream files in .scf. Needs no target.\n\n"
      "Example:\n"
      "  saverestore convert server.ini server.scf\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals&, const Messages& messages) {
      RunConvert(*request, messages);
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
