#include "plan/Document.h"

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "plan/OptionText.h"

namespace Planning {
namespace {

/// The members that say what kind of obstacle it is.
constexpr auto kObstacleMembers = std::to_array<std::pair<const char*, Obstacle::Kind>>({
    {"read_only", Obstacle::Kind::ReadOnly},
    {"needs_restart", Obstacle::Kind::NeedsRestart},
    {"kept", Obstacle::Kind::Kept},
    {"absent", Obstacle::Kind::Absent},
});

using nlohmann::ordered_json;

std::string Dump(const ordered_json& document) {
  return document.dump(2, ' ', false, ordered_json::error_handler_t::replace);
}

ordered_json OneSided(const std::vector<std::string>& sections,
                      const std::vector<const Setting*>& settings) {
  ordered_json keys = ordered_json::array();
  for (const Setting* setting : settings) {
    keys.push_back(
        {{"section", setting->section}, {"key", setting->key}, {"value", setting->value}});
  }
  return {{"sections", sections}, {"keys", keys}};
}

ordered_json ChangeObject(const Change& change) {
  ordered_json object = {
      {"path", change.path},     {"section", change.section},    {"key", change.key},
      {"from", change.from},     {"from_text", change.fromText}, {"to", change.to},
      {"to_text", change.toText}};
  if (change.waiting) object["waiting"] = *change.waiting;
  return object;
}

/// True when the server has something else than before, or will have after its next boot, or may
/// have.
bool HasChanged(const Plan& plan, const Written& written) {
  return std::ranges::any_of(plan.changes, [&](const Change& change) {
    const auto delivery = written.deliveries.find(change.path);
    return delivery != written.deliveries.end() && delivery->second != Delivery::Refused &&
           std::ranges::none_of(written.notes, [&](const SDK::WriteNote& note) {
             return note.path == change.path && note.fate != SDK::WriteNote::Fate::Pending;
           });
  });
}

ordered_json ChangeList(const Plan& plan) {
  ordered_json changes = ordered_json::array();
  for (const Change& change : plan.changes) changes.push_back(ChangeObject(change));
  return changes;
}

/// The firmware facts of a server.
ordered_json SystemObject(const Configuration& present) {
  ordered_json system = ordered_json::object();
  for (const Setting* setting : present.Of("SYSTEM")) system[setting->key] = setting->value;
  return system;
}

/// What the setup screen shows for a value of a setting; empty where it has no text for it.
std::string TextOf(const Setting* setting, const std::string& value) {
  return setting == nullptr ? "" : Planning::OptionText(setting->comment, value);
}

}  // namespace

std::string DryRunDocument(const Plan& plan) {
  ordered_json writes = ordered_json::array();
  for (const RecordedWrite& write : plan.writes) {
    writes.push_back({{"path", write.path}, {"value", write.value}});
  }
  ordered_json obstacles = ordered_json::array();
  for (const Obstacle& obstacle : plan.obstacles) {
    obstacles.push_back(ChangeObject(obstacle.change));
    obstacles.back()["reason"] = obstacle.reason;
    for (const auto& [name, kind] : kObstacleMembers) {
      obstacles.back()[name] = obstacle.kind == kind;
    }
  }
  ordered_json foresight = ordered_json::array();
  for (const SDK::WriteForesight& foreseen : plan.foresight) {
    foresight.push_back({{"path", foreseen.path}, {"text", foreseen.text}});
  }
  return Dump({{"schema", "saverestore-dry-run/1"},
               {"file", plan.request.name},
               {"mode", NameOf(plan.request.mode)},
               {"system", SystemObject(plan.present)},
               {"changed", !plan.changes.empty()},
               {"changes", ChangeList(plan)},
               {"obstacles", obstacles},
               {"foresight", foresight},
               {"writes", writes},
               {"messages", plan.skipped}});
}

std::string RestoreDocument(const Plan& plan, const Saved& backup, const Written& written,
                            const Report& report, const std::optional<Confirmation>& confirmation) {
  ordered_json totals;
  for (const Outcome outcome : kAllOutcomes) totals[NameOf(outcome)] = report.Count(outcome);
  ordered_json settings = ordered_json::array();
  for (const ReportRow& row : report.rows) {
    const Setting* setting = plan.present.Find(row.section, row.key);
    settings.push_back({{"section", row.section},
                        {"key", row.key},
                        {"path", setting == nullptr ? "" : setting->path},
                        {"outcome", NameOf(row.outcome)},
                        {"wanted", row.wanted},
                        {"present", row.present},
                        {"reason", row.reason},
                        {"read_only", row.isReadOnly},
                        {"needs_restart", row.needsRestart}});
  }
  ordered_json document = {{"schema", "saverestore-restore/1"},
                           {"file", plan.request.name},
                           {"mode", NameOf(plan.request.mode)},
                           {"system", SystemObject(plan.present)},
                           {"backup", backup.file},
                           {"changed", HasChanged(plan, written)},
                           {"changes", ChangeList(plan)},
                           {"totals", totals},
                           {"settings", settings},
                           {"messages", written.skipped}};
  if (written.failure) {
    document["failure"] = {{"code", written.failure->getval()},
                           {"text", written.failure->message()}};
  }
  if (confirmation) {
    document["confirmation"] = {{"outcome", NameOf(confirmation->outcome)},
                                {"reason", confirmation->reason},
                                {"failure", confirmation->failure}};
  }
  return Dump(document);
}

std::string FailureDocument(int exitCode, std::optional<int> code, const std::string& text) {
  ordered_json document = {{"schema", "saverestore-failure/1"}, {"exit", exitCode}};
  if (code) document["code"] = *code;
  document["text"] = text;
  return Dump(document);
}

std::string DiffDocument(const Comparison& comparison, const std::string& file,
                         const std::optional<std::string>& other) {
  const auto listed = [](const std::vector<Comparison::Difference>& differences) {
    ordered_json list = ordered_json::array();
    for (const auto& [ofFile, ofOther] : differences) {
      list.push_back({{"section", ofFile->section},
                      {"key", ofFile->key},
                      {"file", ofFile->value},
                      {"file_text", TextOf(ofOther, ofFile->value)},
                      {"other", ofOther->value},
                      {"other_text", TextOf(ofOther, ofOther->value)}});
    }
    return list;
  };
  return Dump({{"schema", "saverestore-diff/2"},
               {"file", file},
               {"other", other ? ordered_json(*other) : ordered_json()},
               {"different", listed(comparison.different)},
               {"own", listed(comparison.own)},
               {"only_file", OneSided(comparison.onlyLeftSections, comparison.onlyLeftKeys)},
               {"only_other", OneSided(comparison.onlyRightSections, comparison.onlyRightKeys)}});
}

std::string VerifyDocument(const Verification& verification, const std::string& file, Mode mode) {
  const auto listed = [&](const std::vector<Verification::Missed>& all) {
    ordered_json list = ordered_json::array();
    for (const Verification::Missed& missed : all) {
      const Setting* setting = verification.present.Find(missed.section, missed.key);
      list.push_back({{"section", missed.section},
                      {"key", missed.key},
                      {"file", missed.wanted},
                      {"file_text", TextOf(setting, missed.wanted)},
                      {"machine", missed.present ? ordered_json(*missed.present) : nullptr},
                      {"machine_text", TextOf(setting, missed.present.value_or(""))},
                      {"read_only", missed.isReadOnly}});
    }
    return list;
  };
  ordered_json messages = ordered_json::array();
  for (const SDK::BootMessage& message : verification.messages) {
    messages.push_back({{"setting", verification.present.NameOf(message.path)},
                        {"time", message.time},
                        {"fault", message.isFault},
                        {"waiting", message.isWaiting},
                        {"text", message.text}});
  }
  return Dump({{"schema", "saverestore-verify/1"},
               {"file", file},
               {"mode", NameOf(mode)},
               {"system", SystemObject(verification.present)},
               {"compared", verification.compared},
               {"different", listed(verification.missed)},
               {"own", listed(verification.own)},
               {"messages", messages}});
}

std::string SaveDocument(const Saved& saved, Mode mode, const std::string& platform) {
  return Dump({{"schema", "saverestore-save/1"},
               {"file", saved.file},
               {"mode", NameOf(mode)},
               {"platform", platform},
               {"sections", saved.sections},
               {"keys", saved.keys},
               {"messages", saved.warnings}});
}

std::string CheckDocument(const std::vector<Finding>& findings, const std::string& file) {
  ordered_json list = ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"severity", finding.weight == Finding::Weight::Warning ? "warning" : "error"},
                    {"line", finding.line},
                    {"text", finding.text}});
  }
  return Dump({{"schema", "saverestore-check/1"}, {"file", file}, {"findings", list}});
}

std::string ShowDocument(const Configuration& content, const std::string& file) {
  ordered_json system = ordered_json::object();
  for (const Setting& setting : content.Settings()) {
    if (setting.section == "SYSTEM") system[setting.key] = setting.value;
  }
  ordered_json sections = ordered_json::array();
  const std::map<std::string, std::size_t> counts = content.KeysPerSection();
  for (const std::string& section : content.Sections()) {
    sections.push_back({{"section", section}, {"keys", counts.at(section)}});
  }
  return Dump({{"schema", "saverestore-show/1"},
               {"file", file},
               {"mode", NameOf(ModeOf(content))},
               {"system", system},
               {"sections", sections}});
}

std::string HistoryDocument(const std::vector<HistoryRecord>& records) {
  ordered_json list = ordered_json::array();
  for (const HistoryRecord& record : records) {
    ordered_json one = ordered_json::parse(RecordDocument(record));
    one.erase("schema");
    one["backup"] = record.backup;
    list.push_back(std::move(one));
  }
  return Dump({{"schema", "saverestore-history/1"}, {"records", list}});
}

std::string PendingDocument(const std::vector<Waiting>& waiting) {
  ordered_json list = ordered_json::array();
  for (const Waiting& setting : waiting) {
    list.push_back({{"setting", setting.name}, {"value", setting.value}});
  }
  return Dump({{"schema", "saverestore-pending/1"}, {"waiting", list}});
}

}  // namespace Planning
