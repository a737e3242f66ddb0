#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plan/Plan.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Terminal.h"

namespace Tool {

/// What is asked of a person, and what the command line has answered beforehand.
struct ConsentOptions {
  bool isGiven = false;        ///< --yes
  bool allowsLockout = false;  ///< --allow-lockout
  bool isPlanShown = true;     ///< standard output shows the plan to whoever sees it
};

/// Whether a plan may be carried out. A question is asked of somebody who has seen the plan, at the
/// terminal, wherever the standard streams lead.
class Consent {
 public:
  /// `plan` outlives this.
  /// \throws ToolError  usage: nobody can be asked, and the command line does not say enough.
  Consent(const Planning::Plan& plan, const ConsentOptions& options);

  /// Asks what there is to ask. Called behind the plan. \throws ToolError  the answer is no.
  void Ask(const Messages& messages) const;
  /// Asks once more: `changes` are about settings that somebody else has changed meanwhile.
  /// \throws ToolError  the answer is no, or nobody is to be asked.
  void AskAgain(const std::vector<Planning::Change>& changes, const Messages& messages) const;

 private:
  void Question(const std::string& text) const;

  const Planning::Plan& plan_;
  ConsentOptions options_;
  bool locksOut_;
  std::unique_ptr<Terminal> terminal_;
};

}  // namespace Tool
