#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "plan/Change.h"
#include "plan/SourceFile.h"

namespace Planning {

/// How many records a history keeps unless it is told otherwise.
inline constexpr std::size_t kKeptRecords = 50;

/// The outcome of what was given up behind the copy of the state before.
inline constexpr const char* kNothingWritten = "nothing was written";

/// One write to a server, as its history keeps it.
struct HistoryRecord {
  unsigned number = 0;  ///< counts up from 1 over all that was ever kept
  std::string time;     ///< local, "2026-11-25 03:12:00"
  std::string command;  ///< "restore", "apply", "undo"
  std::string target;   ///< as given
  std::vector<SourceFile> files;
  std::vector<Change> changes;   ///< as they were planned
  std::vector<Setting> waiting;  ///< for the next boot, before them: of the state before, too
  std::string outcome;           ///< "done", or what went otherwise; "begun" when it was never told
  std::string version;           ///< of the tool
  std::string backup;            ///< the file with the state before
};

/// What was written to one server: for each write the state before, as a file that can be restored,
/// and a record beside it, "NUMBER-DATE-COMMAND.ini" and ".json". The folder is readable by its
/// owner alone. A record holds no more than a save does.
class History {
 public:
  explicit History(std::string folder) : folder_(std::move(folder)) {}

  [[nodiscard]] const std::string& Folder() const { return folder_; }

  /// The records, oldest first. Files that are none are passed over. Empty without a folder.
  [[nodiscard]] std::vector<HistoryRecord> Records() const;

  /// Those of one target: a folder may hold the records of several.
  [[nodiscard]] std::vector<HistoryRecord> RecordsOf(const std::string& target) const;

  /// Gives a record its number, its time and the name of its backup, and makes the folder.
  /// \throws Failure  the folder cannot be made.
  void Begin(HistoryRecord& record) const;

  /// Keeps a record, in the place of an earlier state of it. \throws ResultStatus
  void Keep(const HistoryRecord& record) const;

  /// Removes the oldest records of `target`, with what their guards have left, until `most` are
  /// left.
  void Prune(const std::string& target, std::size_t most) const;

 private:
  std::string folder_;
};

/// The path of a record's files without their ending.
[[nodiscard]] std::string BaseOf(const HistoryRecord& record);

/// A record as text, the JSON document that stands beside its backup.
[[nodiscard]] std::string RecordDocument(const HistoryRecord& record);

/// Where the history of a server is kept: below $XDG_STATE_HOME, else ~/.local/state; of root below
/// /var/lib. `target` is how the server is named.
[[nodiscard]] std::string HistoryFolder(const std::string& target);

}  // namespace Planning
