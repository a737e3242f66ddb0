#include "tool/Journal.h"

#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#ifdef SAVERESTORE_SYSTEMD
#include <sys/uio.h>
#endif

#include "common/Secrets.h"
#include "common/Text.h"
#ifdef SAVERESTORE_SYSTEMD
#include "tool/Systemd.h"
#endif
#include "tool/terminal/Messages.h"

namespace Tool {
namespace {

using Planning::Change;
using Planning::HistoryRecord;

/// Of the records of writes, so that they are found: journalctl MESSAGE_ID=…
constexpr const char* kMessageId = "9ab757339f5a496a86df41d41cb7ce85";
constexpr const char* kChangeField = "SAVERESTORE_CHANGE=";

/// Who has started this process; `sudo` and the like change the effective user only on request.
std::string UserName() {
  const passwd* user = getpwuid(getuid());
  return user == nullptr ? std::to_string(getuid()) : user->pw_name;
}

/// Whom root was before `sudo`; empty when nobody says.
std::string UserBeforeSudo() {
  const char* user = std::getenv("SUDO_USER");
  return user == nullptr ? "" : user;
}

std::string TextOf(const Change& change) {
  if (Common::IsSecret(change.key)) return change.Name() + ": not told, it is secret";
  return change.Name() + ": " + change.from + " \u2192 " + change.to;
}

std::string MessageOf(const HistoryRecord& write) {
  const std::string before = UserBeforeSudo();
  return write.command + " of " + write.target + " by " + UserName() +
         (before.empty() ? "" : " (sudo by " + before + ")") + ": " +
         (write.changes.empty() ? "" : Counted(write.changes.size(), "change") + ", ") +
         write.outcome;
}

void SendToSyslog(const JournalRecord& record) {
  openlog("saverestore", LOG_PID, LOG_AUTHPRIV);
  for (const std::string& field : record) {
    const bool isTold = &field == &record.front() || field.starts_with(kChangeField);
    if (!isTold) continue;
    // A value cannot begin a line of its own.
    syslog(LOG_NOTICE, "%s", Common::Printable(field.substr(field.find('=') + 1)).c_str());
  }
  closelog();
}

}  // namespace

JournalRecord JournalRecordOf(const HistoryRecord& write, bool withValues) {
  JournalRecord record = {
      "MESSAGE=" + MessageOf(write),
      std::string("MESSAGE_ID=") + kMessageId,
      "PRIORITY=" + std::to_string(LOG_NOTICE),
      "SYSLOG_FACILITY=" + std::to_string(LOG_FAC(LOG_AUTHPRIV)),
      "SYSLOG_IDENTIFIER=saverestore",
      "SAVERESTORE_COMMAND=" + write.command,
      "SAVERESTORE_TARGET=" + write.target,
      "SAVERESTORE_USER=" + UserName(),
      "SAVERESTORE_CHANGES=" + std::to_string(write.changes.size()),
      "SAVERESTORE_OUTCOME=" + write.outcome,
  };
  if (const std::string before = UserBeforeSudo(); !before.empty()) {
    record.push_back("SAVERESTORE_SUDO_USER=" + before);
  }
  if (write.number != 0) record.push_back("SAVERESTORE_NUMBER=" + std::to_string(write.number));
  for (const Planning::SourceFile& file : write.files) {
    record.push_back("SAVERESTORE_FILE=" + file.name);
  }
  if (!withValues) return record;
  for (const Change& change : write.changes) record.push_back(kChangeField + TextOf(change));
  return record;
}

void SendToJournal(const JournalRecord& record) {
#ifdef SAVERESTORE_SYSTEMD
  // The library says nothing when there is no journal.
  const bool hasJournal = access("/run/systemd/journal/socket", W_OK) == 0;
  if (const Systemd* systemd = hasJournal ? LoadSystemd() : nullptr; systemd != nullptr) {
    std::vector<iovec> fields;
    fields.reserve(record.size());
    for (const std::string& field : record) {
      fields.push_back({const_cast<char*>(field.data()), field.size()});
    }
    if (systemd->sendToJournal(fields.data(), static_cast<int>(fields.size())) >= 0) return;
  }
#endif
  SendToSyslog(record);
}

}  // namespace Tool
