#include "tool/render/TextDifference.h"

#include <unistd.h>

#include <string>
#include <vector>

#include "plan/OptionText.h"
#include "tool/render/Listing.h"

namespace Tool {
namespace {

using Planning::Setting;

/// A value with the text that the comment of either side has for it: a person may have removed one.
std::string ShownOf(const std::string& value, const Setting& setting, const Setting& other) {
  const std::string text = Planning::OptionText(setting.comment, value);
  return Shown(value, text.empty() ? Planning::OptionText(other.comment, value) : text);
}

constexpr const char* kOwn = "the host's own";

/// How many differences are no fault, and not shown.
std::string OwnLine(std::size_t count) {
  if (count == 0) return "";
  return Counted(count, "difference") +
         " in what is the host's own, which a restore never writes; --all shows " +
         (count == 1 ? "it.\n" : "them.\n");
}

ListedSetting RowOf(const Planning::Comparison::Difference& difference, bool isOfRestore,
                    const char* remark = "") {
  const Setting& left = *difference.left;
  const Setting& right = *difference.right;
  const std::string ofLeft = ShownOf(left.value, left, right);
  const std::string ofRight = ShownOf(right.value, right, left);
  return {left.section, left.key,    isOfRestore ? Arrow(ofRight, ofLeft) : Arrow(ofLeft, ofRight),
          remark,       Tone::Plain, right.path};
}

void AddOneSided(const char* side, const std::vector<std::string>& sections,
                 const std::vector<const Setting*>& keys, std::vector<ListedSetting>& rows) {
  const std::string remark = std::string("in the ") + side + " only";
  for (const std::string& section : sections) {
    rows.push_back({section, "", "", remark, Tone::Open, ""});
  }
  for (const Setting* setting : keys) {
    rows.push_back({setting->section, setting->key, ShownOf(setting->value, *setting, *setting),
                    remark, Tone::Open, setting->path});
  }
}

ListedSetting RowOf(const Planning::Verification::Missed& missed,
                    const Planning::Configuration& present, const char* remark = "") {
  const Setting* now = present.Find(missed.section, missed.key);
  if (now == nullptr) {
    return {missed.section, missed.key, Shown(missed.wanted), "the machine has no such setting",
            Tone::Bad,      ""};
  }
  return {missed.section,
          missed.key,
          Arrow(ShownOf(now->value, *now, *now), ShownOf(missed.wanted, *now, *now)),
          missed.isReadOnly ? "read-only" : remark,
          missed.isReadOnly ? Tone::Open : Tone::Plain,
          now->path};
}

}  // namespace

void ShowComparison(const Planning::Comparison& comparison, const Sides& sides, bool showsOwn,
                    const Messages& messages) {
  std::vector<ListedSetting> rows;
  for (const auto& difference : comparison.different) {
    rows.push_back(RowOf(difference, sides.isOfRestore));
  }
  if (showsOwn) {
    for (const auto& difference : comparison.own) {
      rows.push_back(RowOf(difference, sides.isOfRestore, kOwn));
    }
  }
  AddOneSided(sides.left, comparison.onlyLeftSections, comparison.onlyLeftKeys, rows);
  AddOneSided(sides.right, comparison.onlyRightSections, comparison.onlyRightKeys, rows);
  std::string text = Listing(rows, StyleFor(STDOUT_FILENO, messages.IsVerbose()));
  if (!comparison.different.empty()) {
    text += Counted(comparison.different.size(), "value") + " differ" +
            (comparison.different.size() == 1 ? "s" : "") + " (" +
            (sides.isOfRestore ? Arrow(sides.right, sides.left) : Arrow(sides.left, sides.right)) +
            ").\n";
  }
  messages.Lines(text + (showsOwn ? "" : OwnLine(comparison.own.size())));
}

void ShowVerification(const Planning::Verification& verification, bool showsOwn,
                      const Messages& messages) {
  std::vector<ListedSetting> rows;
  for (const Planning::Verification::Missed& missed : verification.missed) {
    rows.push_back(RowOf(missed, verification.present));
  }
  if (showsOwn) {
    for (const Planning::Verification::Missed& missed : verification.own) {
      rows.push_back(RowOf(missed, verification.present, kOwn));
    }
  }
  std::string text = Listing(rows, StyleFor(STDOUT_FILENO, messages.IsVerbose()));
  for (const SDK::BootMessage& message : verification.messages) {
    const std::string name = verification.present.NameOf(message.path);
    text += Printable("The server says" + (message.time.empty() ? "" : " (" + message.time + ")") +
                      ": " + (name.empty() ? "" : name + ": ") + message.text) +
            "\n";
  }
  messages.Lines(text + std::to_string(verification.compared - verification.missed.size()) +
                 " of " + Counted(verification.compared, "setting") + " as in the file.\n" +
                 (showsOwn ? "" : OwnLine(verification.own.size())));
}

}  // namespace Tool
