#include "providers/host/HostProvider.h"

#include <algorithm>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "providers/host/BootVariables.h"
#include "providers/host/DmiFacts.h"
#include "providers/host/FirmwareAttributes.h"
#include "query/NodeTree.h"
#include "query/PasswordRequest.h"

namespace Host {
namespace {

using Query::kPasswordPath;

/// The writes of a batch that change something, by what takes them.
struct Changes {
  SDK::SettingMap settings;
  SDK::SettingMap bootOrder;

  [[nodiscard]] std::size_t Count() const { return settings.size() + bootOrder.size(); }
};

/// Sorts a batch, and refuses what cannot be written at all.
Changes ChangesIn(const SDK::SettingMap& batch, const NodeMap& tree,
                  const FirmwareAttributes& attributes, const BootVariables& boot) {
  Changes changes;
  for (const auto& [path, value] : batch) {
    const auto node = tree.find(path);
    if (node == tree.end()) {
      if (value.empty()) continue;  // what a save wrote for a setting that this machine lacks
      ErrorManager::Raise(ErrorManager::NoSuchNode, path);
    }
    const std::vector<std::string>& values = node->second.values;
    if (!values.empty() && values.front() == value) continue;
    if (attributes.Has(path)) {
      attributes.Check(path, value);
      changes.settings.emplace(path, value);
    } else if (boot.Has(path)) {
      changes.bootOrder.emplace(path, value);
    } else if (!Query::ChildrenAmong(values, path).empty() || node->second.kind == NODE_MENU) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, value, "it holds other nodes");
    } else {
      ErrorManager::Raise(ErrorManager::ReadOnlyNode, path, value);
    }
  }
  return changes;
}

/// Raises WritesRefused when some of `notes`, on `count` writes, say so.
void RaiseRefusals(const std::vector<SDK::WriteNote>& notes, std::size_t count) {
  const auto isRefusal = [](const SDK::WriteNote& note) {
    return note.fate != SDK::WriteNote::Fate::Pending;
  };
  const auto first = std::ranges::find_if(notes, isRefusal);
  if (first == notes.end()) return;
  ErrorManager::Raise(ErrorManager::WritesRefused,
                      std::to_string(std::ranges::count_if(notes, isRefusal)),
                      std::to_string(count), first->path, first->reason);
}

}  // namespace

HostProvider::HostProvider(HostRoots roots) : roots_(std::move(roots)) {}

HostProvider::~HostProvider() {
  Common::Wipe(password_);
}

FirmwareAttributes HostProvider::Attributes() const {
  return FirmwareAttributes(roots_.sysfs / "class/firmware-attributes");
}

std::filesystem::path HostProvider::DmiFolder() const {
  return roots_.sysfs / "class/dmi/id";
}

NodeMap HostProvider::TreeOf(const FirmwareAttributes& attributes,
                             const BootVariables& boot) const {
  NodeMap tree;
  tree["/BIOS"].kind = NODE_MENU;
  if (attributes.AddTo(tree)) tree["/BIOS"].values = {"/BIOS/Advanced"};
  tree["/BIOS/UEFI231Aware"].values = {"True"};
  boot.AddTo(tree);
  AddDmiFacts(DmiFolder(), tree);
  return tree;
}

void HostProvider::Read(const std::string& path, NodeMap& results) {
  if (!tree_) tree_ = TreeOf(Attributes(), BootVariables(roots_.efivarfs));
  Query::ReadNodes(*tree_, path, results);
}

void HostProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  const auto request = settings.find(kPasswordPath);
  if (request != settings.end()) {
    const std::string_view once = Query::PasswordIn(request->second);
    CheckPassword(once);
    Common::Wipe(password_);
    password_.assign(once);
  }
  SDK::SettingMap others;  // without the password: a copy of it would stay in memory
  for (const auto& [path, value] : settings) {
    if (path != kPasswordPath) others.emplace(path, value);
  }
  if (others.empty()) return;
  const Common::WipeOnExit wipe(password_);
  Apply(others, password_);
}

void HostProvider::WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) {
  CheckPassword(password);
  Apply(settings, password);
}

void HostProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) {
    for (const auto& [name, value] : settings) CheckPassword(value);
    return;
  }
  SDK::SettingMap batch;
  for (const auto& [name, value] : settings) batch.emplace(path + "/" + name, value);
  Apply(batch, "");
}

std::string HostProvider::PlatformName() {
  return PlatformFrom(DmiFolder());
}

std::vector<SDK::WriteNote> HostProvider::TakeWriteNotes() {
  return std::exchange(notes_, {});
}

void HostProvider::CheckPassword(std::string_view password) const {
  const bool isNeeded = Attributes().NeedsPassword();
  if (password.empty() != isNeeded) return;
  ErrorManager::Raise(ErrorManager::PasswordRefused,
                      isNeeded ? "this machine asks for one" : "none is set on this machine");
}

void HostProvider::Apply(const SDK::SettingMap& settings, const std::string& password) {
  tree_.reset();
  const FirmwareAttributes attributes = Attributes();
  const BootVariables boot(roots_.efivarfs);
  const Changes changes = ChangesIn(settings, TreeOf(attributes, boot), attributes, boot);
  const std::vector<std::uint16_t> order = boot.OrderWith(changes.bootOrder);
  if (!changes.settings.empty() && password.empty()) CheckPassword(password);

  std::vector<SDK::WriteNote> notes;
  try {
    attributes.Write(changes.settings, password, notes);
  } catch (...) {
    std::ranges::move(notes, std::back_inserter(notes_));
    throw;
  }
  if (!changes.bootOrder.empty()) {
    for (const SDK::WriteNote& note : boot.Write(order)) {
      for (const auto& [path, name] : changes.bootOrder) {
        notes.push_back({path, note.fate, note.reason});
      }
    }
  }
  notes_.insert(notes_.end(), notes.begin(), notes.end());
  RaiseRefusals(notes, changes.Count());
}

}  // namespace Host
