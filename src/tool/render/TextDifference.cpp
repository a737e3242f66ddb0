#include "tool/render/TextDifference.h"

#include <string>
#include <vector>

namespace Tool {
namespace {

void ShowOneSided(const char* side, const std::vector<std::string>& sections,
                  const std::vector<const Planning::Setting*>& keys, const Messages& messages) {
  const std::string ending = std::string(": in the ") + side + " only";
  for (const std::string& section : sections) messages.Result("[" + section + "]" + ending);
  for (const Planning::Setting* setting : keys) messages.Result(setting->Name() + ending);
}

}  // namespace

void ShowComparison(const Planning::Comparison& comparison, const Sides& sides,
                    const Messages& messages) {
  for (const auto& [left, right] : comparison.different) {
    messages.Result(left->Name() + ": " + sides.left + " \"" + left->value + "\", " + sides.right +
                    " \"" + right->value + "\"");
  }
  ShowOneSided(sides.left, comparison.onlyLeftSections, comparison.onlyLeftKeys, messages);
  ShowOneSided(sides.right, comparison.onlyRightSections, comparison.onlyRightKeys, messages);
}

void ShowVerification(const Planning::Verification& verification, const Messages& messages) {
  for (const Planning::Verification::Missed& missed : verification.missed) {
    messages.Result(missed.Name() + ": file \"" + missed.wanted + "\", " +
                    (missed.present ? "machine \"" + *missed.present + "\""
                                    : "the machine has no such setting"));
  }
  for (const SDK::BootMessage& message : verification.messages) {
    const std::string name = verification.present.NameOf(message.path);
    messages.Result("The server says" + (message.time.empty() ? "" : " (" + message.time + ")") +
                    ": " + (name.empty() ? "" : name + ": ") + message.text);
  }
  messages.Result(std::to_string(verification.compared - verification.missed.size()) + " of " +
                  Counted(verification.compared, "setting") + " as in the file.");
}

}  // namespace Tool
