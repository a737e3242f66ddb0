#include "providers/ipmi/IpmiProvider.h"

#include <algorithm>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/ipmi/Reader.h"
#include "providers/ipmi/Restart.h"
#include "providers/ipmi/Writer.h"

namespace Ipmi {
namespace {

bool IsFault(const SDK::WriteNote& note) {
  return note.fate == SDK::WriteNote::Fate::Refused || note.fate == SDK::WriteNote::Fate::Ignored;
}

/// Keeps the notes of a write also when it fails.
class KeepNotes {
 public:
  KeepNotes(const WriteResult& result, std::vector<SDK::WriteNote>& notes)
      : result_(result), notes_(notes) {}
  KeepNotes(const KeepNotes&) = delete;
  KeepNotes& operator=(const KeepNotes&) = delete;
  ~KeepNotes() { notes_.insert(notes_.end(), result_.notes.begin(), result_.notes.end()); }

 private:
  const WriteResult& result_;
  std::vector<SDK::WriteNote>& notes_;
};

}  // namespace

void IpmiProvider::Read(const std::string& path, NodeMap& results) {
  FieldTree(bmc_).Read(path, results);
}

void IpmiProvider::Expect(const std::vector<std::string>& trees) {
  bmc_.FetchAhead([&] {
    for (const std::string& tree : trees) {
      try {
        NodeMap ignored;
        FieldTree(bmc_).Read("/" + tree, ignored);
      } catch (const ResultStatus&) {  // a tree of which nothing is known yet has no nodes
      }
    }
  });
}

void IpmiProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  SDK::SettingMap batch = std::exchange(queued_, {});
  for (const auto& [path, value] : settings) batch[path] = value;
  WriteResult result;
  {
    const KeepNotes keep(result, notes_);
    WriteSettings(bmc_, batch, passwords_, result);
  }
  std::erase_if(result.notes, std::not_fn(IsFault));
  if (result.notes.empty()) return;
  const SDK::WriteNote& first = result.notes.front();
  ErrorManager::Raise(ErrorManager::WritesRefused, std::to_string(result.notes.size()),
                      std::to_string(result.changes), first.path, first.reason);
}

void IpmiProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                   const std::string& /*password*/) {
  if (settings.empty()) return;
  ErrorManager::Raise(ErrorManager::NoSuchForm, bmc_.Session().Name(), settings.begin()->first);
}

void IpmiProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  for (const auto& [name, value] : settings) queued_[path + "/" + name] = value;
}

std::vector<SDK::WriteForesight> IpmiProvider::Foresee(const SDK::SettingMap& settings) {
  return ForeseeWrites(bmc_, settings, passwords_);
}

void IpmiProvider::UsePasswords(const SDK::SettingMap& passwords) {
  Common::Wipe(passwords_);
  passwords_ = passwords;
}

void IpmiProvider::Restart(bool mayForce, std::chrono::seconds limit) {
  RestartServer(bmc_, mayForce, limit);
}

std::vector<SDK::WriteNote> IpmiProvider::TakeWriteNotes() {
  return std::exchange(notes_, {});
}

}  // namespace Ipmi
