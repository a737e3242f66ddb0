#include "plan/History.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>

#include "common/AtomicFile.h"
#include "common/LocalTime.h"
#include "plan/Failure.h"
#include "plan/ValueJson.h"

namespace Planning {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

constexpr const char* kSchema = "saverestore-record/1";

std::string TimeText(const char* format) {
  return Common::LocalTime(std::time(nullptr), format);
}

ordered_json ToJson(const HistoryRecord& record) {
  ordered_json files = ordered_json::array();
  for (const SourceFile& file : record.files) {
    files.push_back({{"name", file.name}, {"sha256", file.sha256}});
  }
  ordered_json changes = ordered_json::array();
  for (const Change& change : record.changes) changes.push_back(JsonOf(change));
  ordered_json waiting = ordered_json::array();
  for (const Setting& setting : record.waiting) waiting.push_back(JsonOf(setting));
  return {{"schema", kSchema},         {"number", record.number}, {"time", record.time},
          {"command", record.command}, {"target", record.target}, {"files", files},
          {"changes", changes},        {"waiting", waiting},      {"outcome", record.outcome},
          {"version", record.version}};
}

/// \throws nlohmann::json::exception  a member is missing or of another type.
HistoryRecord FromJson(const ordered_json& json) {
  HistoryRecord record;
  record.number = json.at("number").get<unsigned>();
  record.time = json.at("time").get<std::string>();
  record.command = json.at("command").get<std::string>();
  record.target = json.at("target").get<std::string>();
  for (const ordered_json& file : json.at("files")) {
    record.files.push_back(
        {file.at("name").get<std::string>(), "", file.at("sha256").get<std::string>()});
  }
  for (const ordered_json& change : json.at("changes")) {
    record.changes.push_back(ChangeOf(change));
  }
  for (const ordered_json& setting : json.value("waiting", ordered_json::array())) {
    record.waiting.push_back(SettingOf(setting));
  }
  record.outcome = json.at("outcome").get<std::string>();
  record.version = json.at("version").get<std::string>();
  return record;
}

std::optional<HistoryRecord> Load(const fs::path& path) {
  try {
    std::ifstream file(path);
    const ordered_json json = ordered_json::parse(file);
    if (json.at("schema") != kSchema) return std::nullopt;
    HistoryRecord record = FromJson(json);
    record.backup = fs::path(path).replace_extension(".ini").string();
    return record;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;  // somebody else's file
  }
}

}  // namespace

std::vector<HistoryRecord> History::Records() const {
  std::vector<HistoryRecord> records;
  std::error_code error;
  fs::directory_iterator file(folder_, error);
  for (; !error && file != fs::directory_iterator(); file.increment(error)) {
    if (file->path().extension() != ".json") continue;
    if (auto record = Load(file->path())) records.push_back(std::move(*record));
  }
  std::ranges::sort(records, {}, &HistoryRecord::number);
  return records;
}

std::vector<HistoryRecord> History::RecordsOf(const std::string& target) const {
  std::vector<HistoryRecord> records = Records();
  std::erase_if(records, [&](const HistoryRecord& record) { return record.target != target; });
  return records;
}

void History::Begin(HistoryRecord& record) const {
  std::error_code error;
  // A folder that was there may be shared by others, "/tmp" say: it has its mode already.
  const bool isNew = !fs::exists(folder_, error);
  fs::create_directories(folder_, error);
  if (!error && isNew) fs::permissions(folder_, fs::perms::owner_all, error);
  if (error) {
    throw Failure(Failure::Kind::NotPermitted, "the history cannot be kept in \"" + folder_ +
                                                   "\": " + error.message() +
                                                   "; name a folder with "
                                                   "--backup-dir");
  }
  const std::vector<HistoryRecord> records = Records();
  record.number = records.empty() ? 1 : records.back().number + 1;
  record.time = TimeText("%Y-%m-%d %H:%M:%S");
  std::array<char, 16> number = {};
  std::snprintf(number.data(), number.size(), "%06u", record.number);
  record.backup = (fs::path(folder_) / (std::string(number.data()) + TimeText("-%Y%m%d-%H%M%S-") +
                                        record.command + ".ini"))
                      .string();
  record.outcome = "begun";
}

void History::Keep(const HistoryRecord& record) const {
  Common::AtomicFile file(BaseOf(record) + ".json");
  file.Write(RecordDocument(record) + "\n");
  file.Commit(Common::AtomicFile::Existing::Replace);
}

void History::Prune(const std::string& target, std::size_t most) const {
  const std::vector<HistoryRecord> records = RecordsOf(target);
  const std::size_t many = records.size() - std::min(most, records.size());
  for (std::size_t at = 0; at < many; ++at) {
    std::error_code error;  // what cannot be removed is tried again the next time
    for (const char* ending : {".ini", ".log", ".confirm", ".json"}) {
      fs::remove(BaseOf(records[at]) + ending, error);
    }
  }
}

std::string BaseOf(const HistoryRecord& record) {
  return record.backup.substr(0, record.backup.rfind('.'));
}

std::string RecordDocument(const HistoryRecord& record) {
  return ToJson(record).dump(2, ' ', false, ordered_json::error_handler_t::replace);
}

std::string HistoryFolder(const std::string& target) {
  std::string name;
  for (const char character : target) {
    const bool isPlain = std::isalnum(static_cast<unsigned char>(character)) != 0 ||
                         std::string_view("-.@:").find(character) != std::string_view::npos;
    name += isPlain ? character : '_';
  }
  const char* state = std::getenv("XDG_STATE_HOME");
  const char* home = std::getenv("HOME");
  fs::path folder = "/var/lib";
  if (state != nullptr && *state == '/') {
    folder = state;
  } else if (geteuid() != 0 && home != nullptr) {
    folder = fs::path(home) / ".local/state";
  }
  return (folder / "saverestore" / name).string();
}

}  // namespace Planning
