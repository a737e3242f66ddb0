#include "providers/redfish/SetupTree.h"

#include <algorithm>
#include <array>
#include <deque>
#include <set>
#include <utility>

#include "common/Logger.h"
#include "common/Secrets.h"
#include "providers/redfish/Json.h"

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
    const json* value = nullptr;  ///< of a setting; null for one that is not shown
    std::vector<std::string> members = {};  ///< of a setting: from the attribute to the value
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

  /// A menu below `parent` that the registry does not have.
  Menu& Below(Menu& parent, const std::string& label, const std::string& name) {
    Menu& menu = menus_.emplace_back();
    parent.children.push_back({label, name, &menu});
    return menu;
  }

  Menu& AtPath(const std::vector<std::string>& path) {
    if (path.empty()) return Root();
    if (const auto known = byPath_.find(path); known != byPath_.end()) return *known->second;
    Menu& parent = AtPath({path.begin(), path.end() - 1});
    const auto label = labels_.find(path);
    std::string name = Label(path.back());
    if (name.empty()) name = "Menu";
    const bool isNamed = label != labels_.end() && !label->second.empty();
    Menu& menu = Below(parent, isNamed ? label->second : name, name);
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
  if (name.empty() || name.find('@') != std::string::npos || value.is_array()) return true;
  if (IsTrue(entry, "Hidden") || IsTrue(entry, "WriteOnly")) return true;
  const std::string type = TextAt(entry, {"Type"});
  if (type == "Password") return true;
  const bool isText = value.is_string() || value.is_null();
  if (isText && type != "Enumeration" && Common::NamesPassword(name)) return true;
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

std::optional<std::int64_t> WholeAt(const json& entry, const char* name) {
  const json& number = At(entry, {name});
  return number.is_number_integer() ? std::optional(number.get<std::int64_t>()) : std::nullopt;
}

/// The range between two members of an entry; none when it has neither or they make no sense.
std::optional<Query::Range> RangeOf(const json& entry, const char* low, const char* high,
                                    std::int64_t lowest) {
  const std::optional<std::int64_t> from = WholeAt(entry, low);
  const std::optional<std::int64_t> to = WholeAt(entry, high);
  const Query::Range range{from.value_or(lowest), to.value_or(INT64_MAX)};
  if ((!from && !to) || range.low > range.high) return std::nullopt;
  return range;
}

/// The registry's expression for a text; empty where there is none that can be used.
std::string PatternOf(const json& entry, const std::string& name) {
  std::string pattern = TextAt(entry, {"ValueExpression"});
  if (pattern.empty() || Query::IsPattern(pattern)) return pattern;
  LOGGER::Logger::CreateInstance()->Log(
      LOGGER::Info, __FILE__, "PatternOf", __LINE__,
      "the registry's expression for %s is no regular expression and is not used", name.c_str());
  return {};
}

Query::Limits LimitsOf(const json& entry, const std::string& name, ValueType type) {
  Query::Limits limits;
  limits.isReadOnly = IsTrue(entry, "ReadOnly") || IsTrue(entry, "Immutable");
  switch (type) {
    case ValueType::Integer:
      limits.form = Query::Limits::Form::Whole;
      limits.range = RangeOf(entry, "LowerBound", "UpperBound", INT64_MIN);
      limits.increment = std::max<std::int64_t>(WholeAt(entry, "ScalarIncrement").value_or(0), 0);
      break;
    case ValueType::Real:
      limits.form = Query::Limits::Form::Number;
      limits.range = RangeOf(entry, "LowerBound", "UpperBound", INT64_MIN);
      break;
    case ValueType::Text:
      limits.length = RangeOf(entry, "MinLength", "MaxLength", 0);
      limits.pattern = PatternOf(entry, name);
      break;
    case ValueType::Boolean:
      limits.form = Query::Limits::Form::Truth;
      break;
  }
  return limits;
}

/// How a truth value may be spelled, in lists and in files. The service takes the JSON value.
constexpr auto kTruths = std::to_array<std::pair<const char*, bool>>({{"true", true},
                                                                      {"false", false},
                                                                      {"True", true},
                                                                      {"False", false},
                                                                      {"1", true},
                                                                      {"0", false}});

std::optional<bool> TruthOf(const std::string& text) {
  const auto* truth = std::ranges::find(kTruths, text, [](const auto& row) { return row.first; });
  return truth == kTruths.end() ? std::nullopt : std::optional(truth->second);
}

/// Adds to a remark: parts of a sentence each.
void AddRemark(std::string& remark, const std::string& text) {
  if (!text.empty()) remark += (remark.empty() ? "" : "; ") + text;
}

/// What a person may want to know of a setting whatever the values of others.
std::string RemarkOf(const json& entry, const std::string& label, const Attribute& attribute) {
  std::string remark;
  const auto add = [&](const std::string& text) { AddRemark(remark, text); };
  if (IsTrue(entry, "IsSystemUniqueProperty")) add(kUniqueRemark);
  if (label != Label(attribute.members.back())) {
    add(std::string(kAttributeRemark) + attribute.Name());
  }
  return remark;
}

std::map<std::string, std::string> OptionsOf(const json& entry, const Attribute& attribute,
                                             const std::string& current) {
  std::map<std::string, std::string> options;
  for (const json& choice : ValueList(entry)) {
    std::string name = ToText(At(choice, {"ValueName"}));
    std::string text = OneLine(TextAt(choice, {"ValueDisplayName"}));
    if (name.empty() || name.find('\0') != std::string::npos) continue;
    if (attribute.type == ValueType::Boolean) {
      const std::optional<bool> truth = TruthOf(name);
      if (!truth) continue;
      name = *truth ? "true" : "false";
    }
    options.try_emplace(name, text.empty() ? OneLine(name) : text);
  }
  if (options.empty() && attribute.type == ValueType::Boolean) {
    options = {{"false", "False"}, {"true", "True"}};
  }
  // A value that its list lacks is a value that the server has: a file with it must be right.
  if (!options.empty() && !current.empty()) options.try_emplace(current, OneLine(current));
  return options;
}

/// Adds the node of each child that is shown, under a label that no sibling has. Siblings count
/// whether they are shown or not: two servers of a model have the same labels, whatever cards are
/// in them.
class Builder {
 public:
  explicit Builder(SetupTree& tree) : tree_(tree) {}

  /// \return whether the menu shows anything; one that does not has no node.
  bool Add(const Menu& menu, const std::string& path) {
    std::map<std::string, int> uses;
    for (const Menu::Child& child : menu.children) {
      if (child.menu != nullptr || !child.entry->is_null()) ++uses[child.label];
    }
    std::set<std::string> taken;
    std::vector<std::string> paths;
    for (const Menu::Child& child : menu.children) {
      std::string label = child.label;
      if (uses[label] > 1) label += " (" + child.name + ")";
      while (!taken.insert(label).second) label += " (" + child.name + ")";
      const std::string at = path + "/" + label;
      if (child.menu == nullptr && child.value == nullptr) continue;
      if (child.menu != nullptr && !Add(*child.menu, at)) continue;
      if (child.menu == nullptr) AddSetting(child, label, at);
      paths.push_back(at);
    }
    if (paths.empty() && path != kSetupRoot) return false;
    _XNode& node = tree_.nodes[path];
    node.kind = NODE_MENU;
    node.values = std::move(paths);
    return true;
  }

 private:
  void AddSetting(const Menu::Child& child, const std::string& label, const std::string& path) {
    static const json nothing;
    const json& entry = child.entry == nullptr ? nothing : *child.entry;
    Attribute attribute{child.members, TypeOf(entry, *child.value)};
    attribute.limits = LimitsOf(entry, child.name, attribute.type);
    const std::string text = ToText(*child.value);
    _XNode& node = tree_.nodes[path];
    if (!child.value->is_null()) node.values = {text};
    node.options = choices_.Of(OptionsOf(entry, attribute, text));
    node.remark = RemarkOf(entry, label, attribute);
    tree_.attributes.emplace(path, std::move(attribute));
  }

  SetupTree& tree_;
  Query::TextMapPool choices_;
};

/// Puts attributes into the menus.
class Sorter {
 public:
  explicit Sorter(Menus& menus) : menus_(menus) {}

  void Add(const std::string& name, const json& entry, const json* value) {
    const std::vector<std::string> path = Segments(TextAt(entry, {"MenuPath"}));
    const bool isShown =
        value != nullptr && !IsLeftOut(name, entry, *value) && !menus_.IsHidden(path);
    std::string label = Label(TextAt(entry, {"DisplayName"}));
    if (label.empty()) label = Label(name);
    if (label.empty()) return;
    Place(menus_.AtPath(path), {label, name, nullptr, &entry, isShown ? value : nullptr, {name}});
  }

 private:
  /// An attribute that is an object is a menu of its members.
  void Place(Menu& menu, Menu::Child child) {
    if (child.value == nullptr || !child.value->is_object()) {
      menu.children.push_back(std::move(child));
      return;
    }
    if (child.members.size() >= kDeepest) return;
    static const json nothing;
    Menu& inner = menus_.Below(menu, child.label, child.name);
    for (const auto& [name, value] : child.value->items()) {
      if (IsLeftOut(name, nothing, value) || Label(name).empty()) continue;
      std::vector<std::string> members = child.members;
      members.push_back(name);
      Place(inner, {Label(name), name, nullptr, &nothing, &value, std::move(members)});
    }
  }

  Menus& menus_;
};

/// "/BIOS/A/B" as "BIOS::A::B", as files have it.
std::string NameOfPath(std::string path) {
  path.erase(0, 1);
  for (std::size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at)) {
    path.replace(at, 1, "::");
  }
  return path;
}

/// Says what the settings have to do with each other.
void Relate(SetupTree& tree, const json& values, const json& registry) {
  std::map<std::string, std::string> names;
  for (const auto& [path, attribute] : tree.attributes) {
    names.emplace(attribute.Name(), NameOfPath(path));
  }
  tree.dependencies = Dependencies(registry, std::move(names));
  const ValueOf present = [&](const std::string& name) { return At(values, {name.c_str()}); };
  for (const auto& [path, attribute] : tree.attributes) {
    const std::string name = attribute.Name();
    const Effect effect = tree.dependencies.On(name, attribute.limits, present);
    _XNode& node = tree.nodes.at(path);
    node.limits = tree.dependencies.Fixed(name, attribute.limits);
    std::string remark = node.limits->isReadOnly ? "" : Query::Describe(effect.limits);
    AddRemark(remark, effect.lock.empty() && effect.isGrey ? "greyed out" : effect.lock);
    AddRemark(remark, node.remark);
    node.remark = std::move(remark);
  }
}

}  // namespace

SetupTree BuildSetupTree(const json& attributes, const json& registry) {
  Menus menus(registry);
  Sorter sorter(menus);
  std::set<std::string> described;
  for (const json& entry : At(registry, {"RegistryEntries", "Attributes"})) {
    const std::string name = TextAt(entry, {"AttributeName"});
    if (name.empty() || !described.insert(name).second)
      continue;  // of two entries the first counts
    const auto value = attributes.find(name);
    sorter.Add(name, entry, value == attributes.end() ? nullptr : &*value);
  }
  static const json nothing;
  for (const auto& [name, value] : attributes.items()) {
    if (!described.contains(name)) sorter.Add(name, nothing, &value);
  }
  SetupTree tree;
  Builder(tree).Add(menus.Root(), kSetupRoot);
  Relate(tree, attributes, registry);
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

std::string Attribute::Name() const {
  std::string name;
  for (const std::string& member : members) name += (name.empty() ? "" : "/") + member;
  return name;
}

std::optional<json> ToJson(const Attribute& attribute, const std::string& text) {
  if (attribute.type == ValueType::Text) {
    return IsUtf8(text) ? std::optional<json>(text) : std::nullopt;
  }
  if (attribute.type == ValueType::Boolean) {
    const std::optional<bool> truth = TruthOf(text);
    return truth ? std::optional<json>(*truth) : std::nullopt;
  }
  json value = json::parse(text, nullptr, false);
  const bool fits =
      attribute.type == ValueType::Integer ? value.is_number_integer() : value.is_number();
  return fits ? std::optional(std::move(value)) : std::nullopt;
}

std::string Label(std::string_view text) {
  std::string label = OneLine(text);
  for (std::size_t at = label.find('/'); at != std::string::npos; at = label.find('/', at)) {
    label.replace(at, 1, "%2F");
  }
  return label;
}

}  // namespace Redfish
