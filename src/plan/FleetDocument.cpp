// The JSON documents of single servers, read for a report about all of them.
#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "common/ErrorManager.h"
#include "common/WholeFile.h"
#include "plan/Failure.h"
#include "plan/FleetReport.h"

namespace Planning {
namespace {

using nlohmann::ordered_json;  // firmware facts in the order of the document
using Verdict = FleetItem::Verdict;

constexpr std::size_t kLargestDocument = std::size_t{64} * 1024 * 1024;
constexpr int kExitOfSilence = 69;  // EX_UNAVAILABLE of sysexits.h, the tool's code for it

/// What is wrong with a document, without its name.
struct Malformed {
  std::string text;
};

/// A member of the kind that its reader wants.
const ordered_json& Member(const ordered_json& object, const char* name,
                           ordered_json::value_t kind) {
  const auto member = object.is_object() ? object.find(name) : object.end();
  if (member == object.end() || member->type() != kind) {
    throw Malformed{std::string("\"") + name + "\" is missing or is no " +
                    (kind == ordered_json::value_t::array    ? "list"
                     : kind == ordered_json::value_t::object ? "object"
                                                             : "text")};
  }
  return *member;
}

const ordered_json& List(const ordered_json& object, const char* name) {
  return Member(object, name, ordered_json::value_t::array);
}

const std::string& Text(const ordered_json& object, const char* name) {
  return Member(object, name, ordered_json::value_t::string).get_ref<const std::string&>();
}

/// A member that documents of earlier versions of the tool do not have.
std::string TextIfAny(const ordered_json& object, const char* name) {
  const auto member = object.find(name);
  return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

bool IsTrue(const ordered_json& object, const char* name) {
  const auto member = object.find(name);
  return member != object.end() && member->is_boolean() && member->get<bool>();
}

const ordered_json& ListIfAny(const ordered_json& object, const char* name) {
  static const ordered_json kNone = ordered_json::array();
  return object.contains(name) ? List(object, name) : kNone;
}

/// The value of `name` with the text of `name` + "_text"; nothing for null.
std::optional<FleetItem::Value> ValueOf(const ordered_json& object, const std::string& name) {
  if (object.is_object() && object.contains(name) && object[name].is_null()) return std::nullopt;
  return FleetItem::Value{Text(object, name.c_str()), TextIfAny(object, (name + "_text").c_str())};
}

FleetItem ItemOf(const ordered_json& entry, const char* found, const char* wanted,
                 Verdict verdict) {
  return {Text(entry, "section"), Text(entry, "key"), ValueOf(entry, found), ValueOf(entry, wanted),
          verdict};
}

void AddTexts(const ordered_json& list, std::vector<std::string>& texts) {
  for (const ordered_json& text : list) {
    if (!text.is_string()) throw Malformed{"\"messages\" has an entry that is no text"};
    texts.push_back(text.get<std::string>());
  }
}

void ReadVerify(const ordered_json& content, FleetDocument& document) {
  std::set<std::string> waiting;
  for (const ordered_json& message : List(content, "messages")) {
    const std::string& setting = Text(message, "setting");
    if (IsTrue(message, "waiting")) waiting.insert(setting);
    document.messages.push_back((setting.empty() ? "" : setting + ": ") + Text(message, "text"));
  }
  for (const ordered_json& entry : List(content, "different")) {
    FleetItem item = ItemOf(entry, "machine", "file", Verdict::Differs);
    if (waiting.contains(item.section + "::" + item.key)) item.verdict = Verdict::WaitsForBoot;
    auto& items = IsTrue(entry, "read_only") ? document.own : document.items;
    items.push_back(std::move(item));
  }
  for (const ordered_json& entry : ListIfAny(content, "own")) {
    document.own.push_back(ItemOf(entry, "machine", "file", Verdict::LeftAlone));
  }
  document.waits = !waiting.empty();
}

void AddOneSided(const ordered_json& sides, bool isOfServer, FleetDocument& document) {
  for (const ordered_json& section : List(sides, "sections")) {
    if (!section.is_string()) throw Malformed{"\"sections\" has an entry that is no text"};
    FleetItem item{section.get<std::string>(), ""};
    (isOfServer ? item.found : item.wanted) = FleetItem::Value{};
    document.items.push_back(std::move(item));
  }
  for (const ordered_json& entry : List(sides, "keys")) {
    FleetItem item{Text(entry, "section"), Text(entry, "key")};
    (isOfServer ? item.found : item.wanted) = ValueOf(entry, "value");
    document.items.push_back(std::move(item));
  }
}

void ReadDiff(const ordered_json& content, FleetDocument& document) {
  for (const ordered_json& entry : List(content, "different")) {
    document.items.push_back(ItemOf(entry, "other", "file", Verdict::Differs));
  }
  for (const ordered_json& entry : ListIfAny(content, "own")) {
    document.own.push_back(ItemOf(entry, "other", "file", Verdict::LeftAlone));
  }
  AddOneSided(Member(content, "only_file", ordered_json::value_t::object), false, document);
  AddOneSided(Member(content, "only_other", ordered_json::value_t::object), true, document);
}

void ReadDryRun(const ordered_json& content, FleetDocument& document) {
  for (const ordered_json& entry : List(content, "changes")) {
    FleetItem item = ItemOf(entry, "from", "to", Verdict::WouldChange);
    if (const std::string value = TextIfAny(entry, "waiting"); entry.contains("waiting")) {
      item.reason = "\"" + value + "\" waits for the boot";
      document.waits = true;
    }
    document.items.push_back(std::move(item));
  }
  for (const ordered_json& entry : List(content, "obstacles")) {
    // Nobody can change it, or the server has no such thing: no fault of the file.
    if (IsTrue(entry, "read_only") || IsTrue(entry, "absent")) continue;
    document.items.push_back(ItemOf(entry, "from", "to", Verdict::CannotChange));
    document.items.back().reason = Text(entry, "reason");
  }
  for (const ordered_json& foreseen : List(content, "foresight")) {
    document.messages.push_back(Text(foreseen, "path") + ": " + Text(foreseen, "text"));
  }
  AddTexts(List(content, "messages"), document.messages);
}

struct OutcomeRow {
  const char* name;
  Verdict verdict;
  bool isDifference;
};
constexpr auto kOutcomes = std::to_array<OutcomeRow>({
    {"applied", Verdict::Applied, false},
    {"pending until the next boot", Verdict::Pending, false},
    {"not applied", Verdict::NotApplied, true},
    {"not read back", Verdict::NotReadBack, true},
});

void ReadRestore(const ordered_json& content, FleetDocument& document) {
  std::map<std::pair<std::string, std::string>, FleetItem> changes;
  for (const ordered_json& entry : ListIfAny(content, "changes")) {
    FleetItem item = ItemOf(entry, "from", "to", Verdict::Applied);
    changes.try_emplace({item.section, item.key}, std::move(item));
  }
  for (const ordered_json& entry : List(content, "settings")) {
    FleetItem item = ItemOf(entry, "present", "wanted", Verdict::LeftAlone);
    item.reason = TextIfAny(entry, "reason");
    const std::string& outcome = Text(entry, "outcome");
    const auto* row = std::ranges::find(kOutcomes, outcome, &OutcomeRow::name);
    if (row == kOutcomes.end()) {
      const bool isNamed = outcome == "skipped" && !item.wanted->value.empty();
      if (isNamed && item.wanted != item.found) document.own.push_back(std::move(item));
      continue;
    }
    if (const auto change = changes.find({item.section, item.key}); change != changes.end()) {
      item.found = change->second.found;
      item.wanted = change->second.wanted;
    }
    item.verdict = row->verdict;
    document.waits = document.waits || row->verdict == Verdict::Pending;
    if (row->isDifference && !IsTrue(entry, "read_only")) document.standing = Standing::Differs;
    document.items.push_back(std::move(item));
  }
  document.waits = document.waits || !ListIfAny(content, "waiting_from_before").empty();
  document.backup = Text(content, "backup");
  AddTexts(List(content, "messages"), document.messages);
}

void ReadFailure(const ordered_json& content, FleetDocument& document) {
  const auto exit = content.find("exit");
  if (exit == content.end() || !exit->is_number_integer()) {
    throw Malformed{"\"exit\" is missing or is no number"};
  }
  document.standing = *exit == kExitOfSilence ? Standing::Silent : Standing::Failed;
  document.failure = Text(content, "text");
}

/// The schemas that tell of a server, and how each is read.
struct SchemaRow {
  const char* name;
  const char* command;
  void (*read)(const ordered_json& content, FleetDocument& document);
  bool itemsDiffer;  ///< each item is a difference; else its outcome tells
};
constexpr auto kSchemas = std::to_array<SchemaRow>({
    {"saverestore-verify/1", "verify", ReadVerify, true},
    {"saverestore-diff/2", "diff", ReadDiff, true},
    {"saverestore-dry-run/1", "dry run", ReadDryRun, true},
    {"saverestore-restore/1", "restore", ReadRestore, false},
    {"saverestore-failure/1", "failure", ReadFailure, false},
});

FleetDocument DocumentOf(const ordered_json& content) {
  const std::string& schema = Text(content, "schema");
  const auto* row = std::ranges::find(kSchemas, schema, &SchemaRow::name);
  if (row == kSchemas.end()) {
    std::string known;
    for (const SchemaRow& one : kSchemas)
      known += (known.empty() ? "" : ", ") + std::string(one.name);
    throw Malformed{"its schema \"" + schema + "\" is none that tells of a server: " + known};
  }
  FleetDocument document;
  document.command = row->command;
  document.file = TextIfAny(content, "file");
  row->read(content, document);
  if (row->itemsDiffer && !document.items.empty()) document.standing = Standing::Differs;
  if (const auto failure = content.find("failure"); failure != content.end()) {
    document.failure = Text(*failure, "text");
    document.standing = failure->value("code", 0) == ErrorManager::Unreachable ? Standing::Silent
                                                                               : Standing::Failed;
  }
  if (const auto system = content.find("system"); system != content.end()) {
    for (const auto& [name, value] : system->items()) {
      document.system.emplace_back(name, Text(*system, name.c_str()));
    }
  }
  return document;
}

FleetDocument ReadDocument(const std::string& path) {
  std::vector<char> bytes;
  const Common::WholeFileResult result =
      Common::ReadWholeFile(path.c_str(), kLargestDocument, bytes);
  if (result.status != Common::WholeFileResult::Status::Ok) {
    throw Failure(Failure::Kind::NoInput,
                  "the document \"" + path + "\" cannot be read: " + result.reason);
  }
  try {
    if (bytes.empty()) throw Malformed{"it is empty: the command that was to write it has not"};
    return DocumentOf(ordered_json::parse(bytes));
  } catch (const Malformed& fault) {
    throw Failure(Failure::Kind::BadInput, "the document \"" + path + "\": " + fault.text);
  } catch (const ordered_json::exception& fault) {
    throw Failure(Failure::Kind::BadInput,
                  "the document \"" + path + "\" is no JSON of this tool: " + fault.what());
  }
}

/// The files that a path stands for.
std::vector<std::string> FilesOf(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) return {path};
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(path, error)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path().string());
  }
  if (error) {
    throw Failure(Failure::Kind::NotPermitted,
                  "the folder \"" + path + "\" cannot be read: " + error.message());
  }
  if (files.empty()) {
    throw Failure(Failure::Kind::NoInput, "the folder \"" + path + "\" has no *.json");
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace

std::vector<FleetServer> ReadFleet(const std::vector<std::string>& paths) {
  std::vector<FleetServer> servers;
  std::map<std::string, std::size_t> places;
  for (const std::string& path : paths) {
    for (const std::string& file : FilesOf(path)) {
      const std::string name = std::filesystem::path(file).stem().string();
      const auto [place, isNew] = places.try_emplace(name, servers.size());
      if (isNew) servers.push_back({name, {}});
      servers[place->second].documents.push_back(ReadDocument(file));
    }
  }
  return servers;
}

}  // namespace Planning
