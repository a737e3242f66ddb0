#include "modules/save/BiosTree.h"

#include <algorithm>
#include <array>

#include "common/Text.h"

namespace SDK::BiosTree {
namespace {

/// Passwords do not belong in a file, and the clock not in another machine.
constexpr auto kPrivateKeys = std::to_array<std::string_view>({"AdminPw", "UserPw", "SystemTime"});

}  // namespace

const _XNode& NodeAt(const NodeMap& nodes, const std::string& path) {
  const auto node = nodes.find(path);
  return node == nodes.end() ? AbsentNode() : node->second;
}

const _XNode& AbsentNode() {
  static const _XNode absent;
  return absent;
}

NodeMap::const_iterator FindNear(const NodeMap& nodes, NodeMap::const_iterator near,
                                 const std::string& path) {
  if (near != nodes.end() && ++near != nodes.end() && near->first == path) return near;
  return nodes.find(path);
}

std::string SectionName(const std::string& menuPath) {
  std::string name;
  for (std::string_view rest = menuPath; !rest.empty();) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    if (end > 0 && !name.empty()) name += "::";
    name += rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return name;
}

std::string PathOf(const std::string& section, const std::string& key) {
  std::string path = "/" + section;
  for (std::size_t at = path.find("::"); at != std::string::npos; at = path.find("::", at)) {
    path.replace(at, 2, "/");
  }
  return path + "/" + key;
}

std::string_view KeyOf(std::string_view path, std::string_view parent) {
  const std::size_t start = path.find(parent);
  if (start != std::string_view::npos && start + parent.size() + 1 < path.size()) {
    return path.substr(start + parent.size() + 1);
  }
  path = path.substr(0, path.find_last_not_of('/') + 1);
  return path.substr(path.rfind('/') + 1);
}

const std::string& EffectiveValue(const _XNode& setting) {
  static const std::string none;
  const auto& values = setting.values;
  if (values.empty()) return none;
  return values.front().empty() && values.size() > 1 ? values[1] : values.front();
}

void SetOptionComment(std::string& comment, const _XNode& setting) {
  comment = ";Options";
  for (const auto& [value, text] : setting.options) {
    comment.append(": ").append(text).append("=").append(value);
  }
  if (!setting.remark.empty()) comment.append("; ").append(setting.remark);
}

std::string_view AttributeIn(std::string_view comment) {
  const std::size_t last = comment.rfind("; ");
  if (last != std::string_view::npos) comment.remove_prefix(last + 2);
  if (!comment.starts_with(kAttributeRemark)) return {};
  return comment.substr(kAttributeRemark.size());
}

std::string TrimmedName(std::string_view name) {
  return std::string(Common::Trimmed(name, " \t\n\r"));
}

bool IsPrivateKey(std::string_view key) {
  return std::ranges::find(kPrivateKeys, key) != kPrivateKeys.end();
}

std::string FirstValue(const NodeMap& nodes, const std::string& path) {
  const _XNode& node = NodeAt(nodes, path);
  return node.values.empty() ? std::string() : node.values.front();
}

}  // namespace SDK::BiosTree
