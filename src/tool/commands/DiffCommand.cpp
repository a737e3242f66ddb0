#include "tool/commands/DiffCommand.h"

#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "tool/ExitCodes.h"
#include "tool/render/TextDifference.h"

namespace Tool {
namespace {

using Planning::Configuration;
using Planning::ConfigurationFile;

Configuration ReadTarget(const DiffRequest& request, Planning::Mode mode,
                         const Messages& messages) {
  const Planning::Server server(request.openTarget(), Watching(messages));
  CheckMode(server.Providers(), mode);
  Configuration configuration = Planning::ConfigurationOfTarget(mode);
  server.ThrowIfSilent();
  return configuration;
}

}  // namespace

int RunDiff(const DiffRequest& request, const Messages& messages) {
  const bool withTarget = request.other.empty();
  const ConfigurationFile file(request.file);
  const Configuration& whole = file.Content();
  const Planning::Mode mode = request.mode.value_or(withTarget ? ModeOf(whole) : Planning::ModeAll);
  const Configuration left = InMode(whole, mode);
  const Configuration right = withTarget ? ReadTarget(request, mode, messages)
                                         : InMode(ConfigurationFile(request.other).Content(), mode);
  const Planning::Comparison comparison = Compare(left, right);
  if (request.json) {
    const auto other = withTarget ? std::nullopt : std::optional(request.other);
    messages.Document(Planning::DiffDocument(comparison, request.file, other));
  } else {
    ShowComparison(comparison, withTarget ? Sides{"file", "machine"} : Sides{"first", "second"},
                   messages);
  }
  return comparison.IsEmpty() ? ExitDone : ExitDifferent;
}

}  // namespace Tool
