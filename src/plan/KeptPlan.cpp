#include "plan/KeptPlan.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "plan/Compare.h"
#include "plan/Failure.h"
#include "plan/ValueJson.h"

namespace Planning {
namespace {

using nlohmann::ordered_json;

constexpr const char* kPlanSchema = "saverestore-plan/1";

ordered_json Kept(const Change& change) {
  ordered_json json = JsonOf(change);
  if (change.waiting) json["waiting"] = *change.waiting;
  return json;
}

Change KeptChange(const ordered_json& json) {
  Change change = ChangeOf(json);
  if (json.contains("waiting")) change.waiting = json.at("waiting").get<std::string>();
  return change;
}

ordered_json ListOf(const std::vector<Setting>& settings) {
  ordered_json list = ordered_json::array();
  for (const Setting& setting : settings) list.push_back(JsonOf(setting));
  return list;
}

/// The document without its digest.
ordered_json BodyOf(const KeptPlan& kept) {
  ordered_json files = ordered_json::array();
  for (const SourceFile& file : kept.files) {
    files.push_back({{"name", file.name}, {"path", file.path}, {"sha256", file.sha256}});
  }
  ordered_json changes = ordered_json::array();
  for (const Change& change : kept.changes) changes.push_back(Kept(change));
  return {{"schema", kPlanSchema},
          {"version", kept.version},
          {"target", kept.target},
          {"name", kept.name},
          {"files", files},
          {"firmware", ListOf(kept.firmware)},
          {"keep_going", kept.keepsGoing},
          {"ignore_unknown", kept.ignoresUnknown},
          {"changes", changes},
          {"wanted", ListOf(kept.wanted.Settings())}};
}

/// \throws nlohmann::json::exception  a member is missing or of another type.
KeptPlan PlanOf(const ordered_json& json) {
  KeptPlan kept;
  kept.version = json.at("version").get<std::string>();
  kept.target = json.at("target").get<std::string>();
  kept.name = json.at("name").get<std::string>();
  for (const ordered_json& file : json.at("files")) {
    kept.files.push_back({file.at("name").get<std::string>(), file.at("path").get<std::string>(),
                          file.at("sha256").get<std::string>()});
  }
  for (const ordered_json& setting : json.at("firmware")) {
    kept.firmware.push_back(SettingOf(setting));
  }
  kept.keepsGoing = json.at("keep_going").get<bool>();
  kept.ignoresUnknown = json.at("ignore_unknown").get<bool>();
  for (const ordered_json& change : json.at("changes")) kept.changes.push_back(KeptChange(change));
  for (const ordered_json& setting : json.at("wanted")) {
    kept.wanted.AddSection(SettingOf(setting).section);
    kept.wanted.Add(SettingOf(setting));
  }
  return kept;
}

/// Equal texts are equal documents: the order of the members is kept.
std::string DigestOf(const ordered_json& body) {
  return "sha256:" + Sha256(body.dump());
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

/// What is different in one setting, of which either plan may have no change.
std::string Difference(const Change* then, const Change* now, const Plan& plan) {
  const Change& either = then != nullptr ? *then : *now;
  if (IsBootOrder(either.section)) return either.section + " is another order now";
  if (then == nullptr) {
    return either.Name() + " was " + Quoted(either.to) + " as wanted, and is " +
           Quoted(now->waiting.value_or(now->from)) + " now";
  }
  if (now != nullptr && then->from != now->from) {
    return either.Name() + " was " + Quoted(then->from) + ", and is " + Quoted(now->from) + " now";
  }
  if (now != nullptr) return either.Name() + ": what waits for the boot is different now";
  const Setting* present = plan.present.Find(either.section, either.key);
  return either.Name() + " was " + Quoted(then->from) + ", and " +
         (present == nullptr             ? "the server has it no longer"
          : present->value == then->from ? "cannot be changed now"
                                         : "is " + Quoted(present->value) + " now");
}

void AddChanges(const KeptPlan& kept, const Plan& now, std::vector<std::string>& differences) {
  std::map<std::string, std::pair<const Change*, const Change*>> byPath;
  for (const Change& change : kept.changes) byPath[change.path].first = &change;
  for (const Change& change : now.changes) byPath[change.path].second = &change;
  for (const auto& [path, both] : byPath) {
    const auto [then, present] = both;
    const bool isSame = then != nullptr && present != nullptr && then->Name() == present->Name() &&
                        then->from == present->from && then->to == present->to &&
                        then->waiting == present->waiting;
    if (!isSame) AddOnce(differences, Difference(then, present, now));
  }
}

void AddFirmware(const KeptPlan& kept, const Plan& now, std::vector<std::string>& differences) {
  for (const Setting& setting : kept.firmware) {
    const Setting* present = now.present.Find(setting.section, setting.key);
    const std::string value = present == nullptr ? "" : present->value;
    if (value == setting.value) continue;
    differences.push_back(setting.Name() + " was " + Quoted(setting.value) + ", and is " +
                          Quoted(value) + " now");
  }
  if (now.present.Of("SYSTEM").size() > kept.firmware.size()) {
    differences.emplace_back("SYSTEM has more keys now");
  }
}

}  // namespace

KeptPlan KeptPlanOf(const Plan& plan, const std::string& target, const std::string& version) {
  const Request& request = plan.request;
  KeptPlan kept{version, target, request.name, request.files, {}, {}, plan.changes};
  for (const Setting* setting : plan.present.Of("SYSTEM")) kept.firmware.push_back(*setting);
  // A setting that the file has under another key is wanted under its own.
  const Configuration wanted =
      InMode(WithTakenValues(request.wanted, plan.present, plan.taken), request.mode);
  for (const Setting& setting : wanted.Settings()) {
    if (setting.section == "SYSTEM") continue;
    if (request.skipBootOrder && IsBootOrder(setting.section)) continue;
    // A wildcard is wanted where there is such a setting only.
    const bool isThere =
        plan.present.Find(setting.section, setting.key) != nullptr ||
        std::ranges::find(plan.changes, setting.Name(), &Change::Name) != plan.changes.end();
    if (setting.isOfWildcard && !isThere) continue;
    kept.wanted.AddSection(setting.section);
    kept.wanted.Add(setting);
  }
  kept.keepsGoing = request.keepsGoing;
  kept.ignoresUnknown = request.ignoresUnknown;
  return kept;
}

std::string PlanDocument(const KeptPlan& kept) {
  try {
    ordered_json document = BodyOf(kept);
    document["digest"] = DigestOf(document);
    return document.dump(2);
  } catch (const nlohmann::json::exception&) {
    throw Failure(Failure::Kind::Failed,
                  "a name or value is no UTF-8, and a plan cannot hold it; nothing was kept");
  }
}

KeptPlan ReadPlan(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw Failure(Failure::Kind::NoInput, Quoted(path) + " cannot be read");
  try {
    ordered_json document = ordered_json::parse(file);
    if (document.at("schema") != kPlanSchema) {
      throw Failure(Failure::Kind::BadInput, Quoted(path) + " is no plan of this version");
    }
    const std::string digest = document.at("digest").get<std::string>();
    document.erase("digest");
    if (digest != DigestOf(document)) {
      throw Failure(Failure::Kind::BadInput,
                    Quoted(path) + " is not as it was written: its digest does not fit");
    }
    return PlanOf(document);
  } catch (const nlohmann::json::exception& fault) {
    throw Failure(Failure::Kind::BadInput, Quoted(path) + " is no plan: " + fault.what());
  }
}

LaidRequest RequestOfPlan(const KeptPlan& kept, const std::string& path, const State& state) {
  LaidRequest laid = RequestOfLayers({{kept.name, kept.wanted}}, {}, state);
  laid.request.name = path;
  laid.request.files = {SourceOf(path)};
  std::ranges::copy(kept.files, std::back_inserter(laid.request.files));
  return laid;
}

std::vector<std::string> DifferencesSince(const KeptPlan& kept, const Plan& now,
                                          const std::string& target) {
  std::vector<std::string> differences;
  if (kept.target != target) {
    differences.push_back("it is for " + Quoted(kept.target) + ", and this is " + Quoted(target));
  }
  for (const SourceFile& file : kept.files) {
    if (file.path.empty() || Sha256OfFile(file.path) == file.sha256) continue;
    differences.push_back(Quoted(file.path) + " has changed since, or cannot be read");
  }
  AddFirmware(kept, now, differences);
  AddChanges(kept, now, differences);
  return differences;
}

}  // namespace Planning
