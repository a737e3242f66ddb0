#include "modules/save/BiosTree.h"

#include <algorithm>
#include <array>
#include <vector>

#include "common/Text.h"
#include "query/XEngine.h"

namespace SDK::BiosTree {
namespace {

/// Passwords do not belong in a file, and the clock not in another machine.
constexpr auto kPrivateKeys = std::to_array<std::string_view>({"AdminPw", "UserPw", "SystemTime"});

}  // namespace

const _XNode& NodeAt(const NodeMap& nodes, const std::string& path) {
  static const _XNode absent;
  const auto node = nodes.find(path);
  return node == nodes.end() ? absent : node->second;
}

std::string SectionName(const std::string& menuPath) {
  std::string name;
  for (const std::string& component : Common::XTokenizer(menuPath, '/').TokenList()) {
    if (!name.empty()) name += "::";
    name += component;
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

std::string KeyOf(const std::string& path, const std::string& parent) {
  const std::size_t start = path.find(parent);
  if (start != std::string::npos && start + parent.size() + 1 < path.size()) {
    return path.substr(start + parent.size() + 1);
  }
  const std::vector<std::string> components = Common::XTokenizer(path, '/').TokenList();
  return components.empty() ? std::string() : components.back();
}

std::string EffectiveValue(const _XNode& setting) {
  const auto& values = setting.values;
  if (values.empty()) return {};
  return values.front().empty() && values.size() > 1 ? values[1] : values.front();
}

std::string OptionComment(const _XNode& setting) {
  std::string comment = ";Options";
  for (const auto& [value, text] : setting.options) comment += ": " + text + "=" + value;
  if (!setting.remark.empty()) comment += "; " + setting.remark;
  return comment;
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
