#include "tool/commands/VerifyCommand.h"

#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "plan/Verification.h"
#include "tool/ExitCodes.h"
#include "tool/render/TextDifference.h"

namespace Tool {

int RunVerify(const VerifyRequest& request, const Messages& messages) {
  const Planning::ConfigurationFile file(request.file);
  const Planning::Mode mode = request.mode.value_or(ModeOf(file.Content()));
  const Planning::Server server(request.openTarget(), Watching(messages));
  const Planning::Verification verification = Planning::Verify(file.Content(), mode, server);
  if (request.json) {
    messages.Document(Planning::VerifyDocument(verification, request.file, mode));
  } else {
    ShowVerification(verification, messages);
  }
  return verification.missed.empty() ? ExitDone : ExitDifferent;
}

}  // namespace Tool
