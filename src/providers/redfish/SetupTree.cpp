#include "providers/redfish/SetupTree.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <deque>
#include <limits>
#include <set>
#include <vector>

#include "providers/redfish/Json.h"
#include "providers/redfish/Secrets.h"

namespace Redfish {
namespace {

using nlohmann::json;

constexpr const char* kUniqueRemark = "unique to this system";

/// A menu on the way to the tree. Its children are settings and menus, in the registry's order.
struct Menu {
  struct Child {
    std::string label;
    std::string name;             ///< tells it from a sibling with the same label
    Menu* menu = nullptr;         ///< of a menu
    const json* entry = nullptr;  ///< of a setting: what the registry says; null for nothing
    const json* value = nullptr;  ///< of a setting
  };
  std::vector<Child> children;
};

bool IsTrue(const json& object, const char* name) {
  return At(object, {name}) == json(true);
}

/// No setup has menus as deep as this; what is deeper lies in the last of them.
constexpr std::size_t kDeepest = 32;

/// "./A/B" as {"A", "B"}.
std::vector<std::string> Segments(const std::string& menuPath) {
  std::vector<std::string> segments;
  std::size_t start = 0;
  while (start <= menuPath.size() && segments.size() < kDeepest) {
    const std::size_t end = std::min(menuPath.find('/', start), menuPath.size());
    const std::string segment = menuPath.substr(start, end - start);
    if (!segment.empty() && segment != ".") segments.push_back(segment);
    start = end + 1;
  }
  return segments;
}

/// The menus of a registry by their paths. They are made when a setting needs them.
class Menus {
 public:
  explicit Menus(const json& registry) {
    for (const json& menu : At(registry, {"RegistryEntries", "Menus"})) {
      const std::string name = TextAt(menu, {"MenuName"});
      std::vector<std::string> path = Segments(TextAt(menu, {"MenuPath"}));
      // Some services give the path of the menu, others that of the menu around it.
      if (!name.empty() && (path.empty() || path.back() != name)) path.push_back(name);
      if (path.empty()) continue;
      if (IsTrue(menu, "Hidden")) hidden_.insert(path);
      labels_.try_emplace(path, Label(TextAt(menu, {"DisplayName"})));
    }
  }

  Menu& Root() { return menus_.front(); }

  /// True when the setup does not show the menu at `path`, or one around it.
  [[nodiscard]] bool IsHidden(std::vector<std::string> path) const {
    for (; !path.empty(); path.pop_back()) {
      if (hidden_.contains(path)) return true;
    }
    return false;
  }

  Menu& AtPath(const std::vector<std::string>& path) {
    if (path.empty()) return Root();
    if (const auto known = byPath_.find(path); known != byPath_.end()) return *known->second;
    Menu& parent = AtPath({path.begin(), path.end() - 1});
    const auto label = labels_.find(path);
    std::string name = Label(path.back());
    if (name.empty()) name = "Menu";
    const bool isNamed = label != labels_.end() && !label->second.empty();
    Menu& menu = menus_.emplace_back();
    parent.children.push_back({isNamed ? label->second : name, name, &menu});
    byPath_.emplace(path, &menu);
    return menu;
  }

 private:
  using Path = std::vector<std::string>;
  std::deque<Menu> menus_{1};
  std::map<Path, Menu*> byPath_;
  std::map<Path, std::string> labels_;
  std::set<Path> hidden_;
};

bool IsLeftOut(const std::string& name, const json& entry, const json& value) {
  if (name.empty() || name.find('@') != std::string::npos || value.is_structured()) return true;
  if (IsTrue(entry, "Hidden") || IsTrue(entry, "WriteOnly")) return true;
  const std::string type = TextAt(entry, {"Type"});
  if (type == "Password") return true;
  const bool isText = value.is_string() || value.is_null();
  if (isText && type != "Enumeration" && NamesSecret(name)) return true;
  return value.is_string() && value.get_ref<const std::string&>().find('\0') != std::string::npos;
}

/// The list of values of an entry, which some services call "Values".
const json& ValueList(const json& entry) {
  const json& list = At(entry, {"Value"});
  return list.is_array() ? list : At(entry, {"Values"});
}

struct TypeRow {
  const char* name;
  ValueType type;
};
constexpr auto kTypes = std::to_array<TypeRow>({
    {"Enumeration", ValueType::Text},
    {"String", ValueType::Text},
    {"Integer", ValueType::Integer},
    {"Boolean", ValueType::Boolean},
});

/// What the service sends counts; the registry decides where it sends null.
ValueType TypeOf(const json& entry, const json& value) {
  if (value.is_boolean()) return ValueType::Boolean;
  if (value.is_number_float()) return ValueType::Real;
  if (value.is_number()) return ValueType::Integer;
  if (value.is_string()) return ValueType::Text;
  const auto* row = std::ranges::find(kTypes, TextAt(entry, {"Type"}), &TypeRow::name);
  return row == kTypes.end() ? ValueType::Text : row->type;
}

std::optional<std::pair<std::int64_t, std::int64_t>> BoundsOf(const json& entry, ValueType type) {
  const bool isText = type == ValueType::Text;
  if (type != ValueType::Integer && !isText) return std::nullopt;
  const auto bound = [&](const char* name, std::int64_t otherwise) {
    const json& number = At(entry, {name});
    return number.is_number_integer() ? number.get<std::int64_t>() : otherwise;
  };
  constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();
  const std::int64_t low = isText ? bound("MinLength", 0)
                                  : bound("LowerBound", std::numeric_limits<std::int64_t>::min());
  const std::int64_t high = bound(isText ? "MaxLength" : "UpperBound", kHighest);
  const bool isBound = At(entry, {isText ? "MaxLength" : "UpperBound"}).is_number_integer();
  if (!isBound || low > high) return std::nullopt;
  return std::pair{low, high};
}

std::map<std::string, std::string> OptionsOf(const json& entry, const Attribute& attribute,
                                             const std::string& current) {
  std::map<std::string, std::string> options;
  for (const json& choice : ValueList(entry)) {
    const std::string name = ToText(At(choice, {"ValueName"}));
    std::string text = OneLine(TextAt(choice, {"ValueDisplayName"}));
    if (name.empty() || name.find('\0') != std::string::npos) continue;
    options.try_emplace(name, text.empty() ? OneLine(name) : text);
  }
  if (options.empty() && attribute.type == ValueType::Boolean) {
    options = {{"false", "False"}, {"true", "True"}};
  }
  // A value that its list lacks is a value that the server has: a file with it must be right.
  if (!options.empty() && !current.empty()) options.try_emplace(current, OneLine(current));
  return options;
}

/// Adds the node of each child, under a label that no sibling has.
class Builder {
 public:
  explicit Builder(SetupTree& tree) : tree_(tree) {}

  void Add(const Menu& menu, const std::string& path) {
    std::map<std::string, int> uses;
    for (const Menu::Child& child : menu.children) ++uses[child.label];
    std::set<std::string> taken;
    std::vector<std::string> paths;
    for (const Menu::Child& child : menu.children) {
      std::string label = child.label;
      if (uses[label] > 1) label += " (" + child.name + ")";
      while (!taken.insert(label).second) label += " (" + child.name + ")";
      paths.push_back(path + "/" + label);
      if (child.menu != nullptr) {
        Add(*child.menu, paths.back());
      } else {
        AddSetting(child, paths.back());
      }
    }
    _XNode& node = tree_.nodes[path];
    node.kind = NODE_MENU;
    node.values = std::move(paths);
  }

 private:
  void AddSetting(const Menu::Child& child, const std::string& path) {
    static const json nothing;
    const json& entry = child.entry == nullptr ? nothing : *child.entry;
    Attribute attribute;
    attribute.name = child.name;
    attribute.type = TypeOf(entry, *child.value);
    attribute.isReadOnly = IsTrue(entry, "ReadOnly") || IsTrue(entry, "Immutable");
    attribute.bounds = BoundsOf(entry, attribute.type);
    const std::string text = ToText(*child.value);
    _XNode& node = tree_.nodes[path];
    if (!child.value->is_null()) node.values = {text};
    node.options = OptionsOf(entry, attribute, text);
    if (IsTrue(entry, "IsSystemUniqueProperty")) node.remark = kUniqueRemark;
    tree_.attributes.emplace(path, std::move(attribute));
  }

  SetupTree& tree_;
};

}  // namespace

SetupTree BuildSetupTree(const json& attributes, const json& registry) {
  Menus menus(registry);
  std::set<std::string> described;
  const auto add = [&](const std::string& name, const json& entry, const json& value) {
    if (IsLeftOut(name, entry, value)) return;
    const std::vector<std::string> path = Segments(TextAt(entry, {"MenuPath"}));
    if (menus.IsHidden(path)) return;
    std::string label = Label(TextAt(entry, {"DisplayName"}));
    if (label.empty()) label = Label(name);
    if (label.empty()) return;
    menus.AtPath(path).children.push_back({label, name, nullptr, &entry, &value});
  };
  for (const json& entry : At(registry, {"RegistryEntries", "Attributes"})) {
    const std::string name = TextAt(entry, {"AttributeName"});
    if (!described.insert(name).second) continue;  // of two entries the first counts
    const auto value = attributes.find(name);
    if (value != attributes.end()) add(name, entry, *value);
  }
  static const json nothing;
  for (const auto& [name, value] : attributes.items()) {
    if (!described.contains(name)) add(name, nothing, value);
  }
  SetupTree tree;
  Builder(tree).Add(menus.Root(), kSetupRoot);
  return tree;
}

json AttributesOfRegistry(const json& registry) {
  json attributes = json::object();
  for (const json& entry : At(registry, {"RegistryEntries", "Attributes"})) {
    const std::string name = TextAt(entry, {"AttributeName"});
    if (name.empty() || attributes.contains(name)) continue;
    json value = At(entry, {"CurrentValue"});
    if (value.is_null()) value = At(entry, {"DefaultValue"});
    if (value.is_null() && !ValueList(entry).empty()) {
      value = At(ValueList(entry).front(), {"ValueName"});
    }
    if (value.is_null()) value = At(entry, {"LowerBound"});
    if (value.is_null() && TypeOf(entry, value) == ValueType::Integer) value = 0;
    if (value.is_null() && TypeOf(entry, value) == ValueType::Boolean) value = false;
    attributes[name] = std::move(value);
  }
  return attributes;
}

std::optional<json> ToJson(const Attribute& attribute, const std::string& text) {
  if (attribute.type == ValueType::Text) {
    return IsUtf8(text) ? std::optional<json>(text) : std::nullopt;
  }
  json value = json::parse(text, nullptr, false);
  switch (attribute.type) {
    case ValueType::Integer:
      return value.is_number_integer() ? std::optional(value) : std::nullopt;
    case ValueType::Real:
      return value.is_number() ? std::optional(value) : std::nullopt;
    case ValueType::Boolean:
      return value.is_boolean() ? std::optional(value) : std::nullopt;
    default:
      return std::nullopt;
  }
}

const char* ExpectationOf(const Attribute& attribute) {
  switch (attribute.type) {
    case ValueType::Integer:
      return "it must be a whole number";
    case ValueType::Real:
      return "it must be a number";
    case ValueType::Boolean:
      return "it must be true or false";
    default:
      return "it must be UTF-8";
  }
}

std::string ToText(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  return value.is_null() || value.is_structured() ? std::string() : value.dump();
}

std::string Label(std::string_view text) {
  std::string label = OneLine(text);
  for (std::size_t at = label.find('/'); at != std::string::npos; at = label.find('/', at)) {
    label.replace(at, 1, "%2F");
  }
  return label;
}

}  // namespace Redfish
