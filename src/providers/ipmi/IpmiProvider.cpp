#include "providers/ipmi/IpmiProvider.h"

#include <utility>

#include "common/ErrorManager.h"
#include "providers/ipmi/Reader.h"
#include "providers/ipmi/Writer.h"
#include "query/NodeTree.h"

namespace Ipmi {
namespace {

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
  const bool asksForChildren = path.ends_with(Query::kChildrenSuffix);
  const std::string node =
      asksForChildren ? path.substr(0, path.size() - Query::kChildrenSuffix.size()) : path;
  Query::ReadNodes(ReadTree(bmc_, node), path, results);
}

void IpmiProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  WriteResult result;
  {
    const KeepNotes keep(result, notes_);
    WriteSettings(bmc_, settings, result);
  }
  std::vector<SDK::WriteNote> failed = std::exchange(postponed_, {});
  failed.insert(failed.end(), result.notes.begin(), result.notes.end());
  const std::size_t changes = std::exchange(postponedChanges_, 0) + result.changes;
  if (failed.empty()) return;
  ErrorManager::Raise(ErrorManager::WritesRefused, std::to_string(failed.size()),
                      std::to_string(changes), failed.front().path, failed.front().reason);
}

void IpmiProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                   const std::string& /*password*/) {
  if (settings.empty()) return;
  ErrorManager::Raise(ErrorManager::NoSuchForm, bmc_.Session().Name(), settings.begin()->first);
}

void IpmiProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  SDK::SettingMap batch;
  for (const auto& [name, value] : settings) batch.emplace(path + "/" + name, value);
  WriteResult result;
  const KeepNotes keep(result, notes_);
  try {
    WriteSettings(bmc_, batch, result);
  } catch (const ResultStatus& failure) {
    // A value that cannot be written must not keep the rest of a restore from being sent.
    if (failure.getval() != ErrorManager::ValueRefused) throw;
    result.changes += result.notes.size();
  }
  postponed_.insert(postponed_.end(), result.notes.begin(), result.notes.end());
  postponedChanges_ += result.changes;
}

std::vector<SDK::WriteNote> IpmiProvider::TakeWriteNotes() {
  return std::exchange(notes_, {});
}

}  // namespace Ipmi
