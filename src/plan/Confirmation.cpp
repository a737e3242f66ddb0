#include "plan/Confirmation.h"

#include <set>
#include <utility>

#include "common/Secrets.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "plan/Write.h"

namespace Planning {
namespace {

constexpr const char* kFacts = "SYSTEM";
constexpr std::size_t kMostNamed = 3;

/// Names a few of many.
class Names {
 public:
  void Add(const std::string& text) {
    if (++count_ > kMostNamed) return;
    text_ += (text_.empty() ? "" : ", ") + text;
  }
  [[nodiscard]] std::string Text() const {
    if (count_ <= kMostNamed) return text_;
    return text_ + " and " + std::to_string(count_ - kMostNamed) + " more";
  }

 private:
  std::string text_;
  std::size_t count_ = 0;
};

/// How `other` has `setting` otherwise; empty when it has it so.
std::string DifferenceIn(const Setting& setting, const Configuration& other) {
  const Setting* there = other.Find(setting.section, setting.key);
  if (setting.section == kFacts) {  // not every way tells them
    if (there == nullptr || setting.value.empty() || there->value.empty()) return "";
  }
  if (there == nullptr) return setting.Name() + " is not there";
  if (there->value == setting.value) return "";
  // This text gets into logs that others read.
  if (Common::IsSecret(setting.key)) return setting.Name() + " is another one";
  return setting.Name() + " is \"" + there->value + "\" and not \"" + setting.value + "\"";
}

}  // namespace

const char* NameOf(Confirmation::Outcome outcome) {
  if (outcome == Confirmation::Outcome::Kept) return "kept";
  return outcome == Confirmation::Outcome::TakenBack ? "taken back" : "not taken back";
}

std::string TextOf(const Confirmation& confirmation) {
  if (confirmation.outcome == Confirmation::Outcome::Kept) return ", kept";
  if (confirmation.outcome == Confirmation::Outcome::TakenBack) {
    return "taken back: " + confirmation.reason;
  }
  return "NOT taken back (" + confirmation.reason + "): " + confirmation.failure;
}

std::string WhatTellsApart(const Configuration& present, const Configuration& other) {
  Names names;
  for (const Setting& setting : present.Settings()) {
    if (const std::string text = DifferenceIn(setting, other); !text.empty()) names.Add(text);
  }
  return names.Text();
}

std::string WhatHasTurned(const std::vector<Change>& changes, const Configuration& afterWrite,
                          const Configuration& anew) {
  std::set<std::pair<std::string, std::string>> written;
  for (const Change& change : changes) written.emplace(change.section, change.key);
  Names names;
  for (const Setting& setting : afterWrite.Settings()) {
    if (setting.section != kFacts && !written.contains({setting.section, setting.key})) continue;
    if (const std::string text = DifferenceIn(setting, anew); !text.empty()) names.Add(text);
  }
  return names.Text();
}

std::string TakeBack(const std::vector<Layer>& before, const std::string& password,
                     const Server& server) {
  LaidRequest laid = RequestOfLayers(before, {}, StateOf(server, ModeOf(before.front().content)));
  // Nobody is there to decide, and each setting that is back is better than none.
  laid.request.skipSystemCheck = laid.request.ignoresUnknown = laid.request.keepsGoing = true;
  const Plan plan = MakePlan(laid.request, server);
  for (const Finding& finding : plan.findings) {
    if (finding.weight == Finding::Weight::Error) return finding.text;
  }
  if (plan.changes.empty()) return "";
  const Written written = Write(plan, password, server);
  const Report report = ReportOf(plan, written, server);
  if (report.silence) return report.silence->message();
  Names names;
  for (const ReportRow& row : report.rows) {
    const bool isAsWanted = row.outcome != Outcome::NotApplied && row.outcome != Outcome::Unknown;
    if (!isAsWanted && !row.isReadOnly) {
      const std::string reason = Common::IsSecret(row.key) ? "" : " (" + row.reason + ")";
      names.Add(row.section + "::" + row.key + reason);
    }
  }
  return names.Text();
}

}  // namespace Planning
