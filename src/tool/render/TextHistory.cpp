#include "tool/render/TextHistory.h"

#include <filesystem>
#include <string>

namespace Tool {

void ShowHistory(const std::vector<Planning::HistoryRecord>& records, const Messages& messages) {
  if (records.empty()) messages.Result("Nothing was written to this target.");
  for (const Planning::HistoryRecord& record : records) {
    std::string files;
    for (const auto& file : record.files)
      files += " " + std::filesystem::path(file.name).filename().string();
    messages.Result(std::to_string(record.number) + "  " + record.time + "  " + record.command +
                    files + ": " + Counted(record.changes.size(), "change") + ", " +
                    record.outcome);
  }
}

void ShowRecord(const Planning::HistoryRecord& record, const Messages& messages) {
  ShowHistory({record}, messages);
  for (const auto& file : record.files) {
    messages.Result("  file " + file.name +
                    (file.sha256.empty() ? "" : ", SHA-256 " + file.sha256));
  }
  messages.Result("  state before: " + record.backup);
  for (const Planning::Change& change : record.changes) {
    messages.Result("  " + change.Name() + "  " + change.from + " \u2192 " + change.to);
  }
}

}  // namespace Tool
