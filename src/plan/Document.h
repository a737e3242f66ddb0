#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plan/Backup.h"
#include "plan/Compare.h"
#include "plan/Confirmation.h"
#include "plan/FileCheck.h"
#include "plan/History.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "plan/Verification.h"
#include "plan/Write.h"

// The JSON documents of all commands, as text. docs/json.md describes every member; a change of a
// member is a new version of its schema. Bytes that are no UTF-8 become the replacement character.

namespace Planning {

/// What a restore would do: "saverestore-dry-run/1".
[[nodiscard]] std::string DryRunDocument(const Plan& plan);

/// What a restore has done: "saverestore-restore/1". `backup` has no file when none was saved.
/// `confirmation` of one that was to be kept.
[[nodiscard]] std::string RestoreDocument(
    const Plan& plan, const Saved& backup, const Written& written, const Report& report,
    const std::optional<Confirmation>& confirmation = std::nullopt);

/// Why a command has nothing else to tell: "saverestore-failure/1". `code` is the number of the
/// error; nothing for one of the tool itself.
[[nodiscard]] std::string FailureDocument(int exitCode, std::optional<int> code,
                                          const std::string& text);

/// What a save has come to: "saverestore-save/1".
[[nodiscard]] std::string SaveDocument(const Saved& saved, Mode mode, const std::string& platform);

/// How `file` differs from another file, or, without a name, from a server: "saverestore-diff/2".
[[nodiscard]] std::string DiffDocument(const Comparison& comparison, const std::string& file,
                                       const std::optional<std::string>& other);

/// What of a restored file has taken effect: "saverestore-verify/1".
[[nodiscard]] std::string VerifyDocument(const Verification& verification, const std::string& file,
                                         Mode mode);

/// What is wrong with a file: "saverestore-check/1".
[[nodiscard]] std::string CheckDocument(const std::vector<Finding>& findings,
                                        const std::string& file);

/// What a file is: "saverestore-show/1".
[[nodiscard]] std::string ShowDocument(const Configuration& content, const std::string& file);

/// What was written to a server: "saverestore-history/1", with all changes of each record.
[[nodiscard]] std::string HistoryDocument(const std::vector<HistoryRecord>& records);

/// A setting that waits for the next boot.
struct Waiting {
  std::string name;   ///< "SECTION::KEY"
  std::string value;  ///< that it will have
};

/// `pending --json`.
[[nodiscard]] std::string PendingDocument(const std::vector<Waiting>& waiting);

}  // namespace Planning
