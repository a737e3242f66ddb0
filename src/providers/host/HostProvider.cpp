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
#include "query/WriteNotes.h"

namespace Host {
namespace {

using Query::kPasswordPath;

/// The writes of a batch that change something, by what takes them.
struct Changes {
  SDK::SettingMap settings;
  SDK::SettingMap bootOrder;
  SDK::SettingMap facts;  ///< which nobody can change

  [[nodiscard]] std::size_t Count() const {
    return settings.size() + bootOrder.size() + facts.size();
  }
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
      if (attributes.HasValue(path, value)) continue;
      attributes.Check(path, value);
      changes.settings.emplace(path, value);
    } else if (boot.Has(path)) {
      changes.bootOrder.emplace(path, value);
    } else if (!Query::ChildrenAmong(values, path).empty() || node->second.kind == NODE_MENU) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, value, "it holds other nodes");
    } else {
      changes.facts.emplace(path, value);
    }
  }
  return changes;
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

void HostProvider::Refresh() {
  tree_.reset();
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
  std::string text(password);
  const Common::WipeOnExit wipe(text);
  if (const std::string objection = Attributes().PasswordObjection(text); !objection.empty()) {
    ErrorManager::Raise(ErrorManager::PasswordRefused, objection);
  }
}

void HostProvider::Apply(const SDK::SettingMap& settings, const std::string& password) {
  tree_.reset();
  const FirmwareAttributes attributes = Attributes();
  const BootVariables boot(roots_.efivarfs);
  const Changes changes = ChangesIn(settings, TreeOf(attributes, boot), attributes, boot);
  const std::vector<std::uint16_t> order = boot.OrderWith(changes.bootOrder);
  if (!changes.bootOrder.empty()) boot.CheckWritable();
  if (!changes.settings.empty() && password.empty()) CheckPassword(password);

  const std::size_t before = notes_.size();
  for (const auto& [path, value] : changes.facts) {
    notes_.push_back({path, SDK::WriteNote::Fate::Refused, "it is read-only"});
  }
  attributes.Write(changes.settings, password, roots_.write, notes_);
  if (!changes.bootOrder.empty()) {
    for (const SDK::WriteNote& note : boot.Write(order, roots_.write)) {
      for (const auto& [path, name] : changes.bootOrder) {
        notes_.push_back({path, note.fate, note.reason});
      }
    }
  }
  const auto ofBatch = notes_.begin() + static_cast<std::ptrdiff_t>(before);
  Query::RaiseRefusals({ofBatch, notes_.end()}, changes.Count());
}

}  // namespace Host
