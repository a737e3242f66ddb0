#include "providers/redfish/Dependencies.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "common/Logger.h"
#include "providers/redfish/Json.h"

namespace Redfish {
namespace {

using nlohmann::json;

/// Two values that can be put in an order: numbers, or texts.
bool AreAlike(const json& one, const json& other) {
  return (one.is_number() && other.is_number()) || (one.is_string() && other.is_string());
}

/// A condition: how services write it, what it means, and how it reads.
struct ConditionRow {
  const char* name;
  bool (*holds)(const json& present, const json& wanted);
  const char* words;
};
constexpr auto kConditions = std::to_array<ConditionRow>({
    {"EQU", [](const json& a, const json& b) { return a == b; }, " is "},
    {"NEQ", [](const json& a, const json& b) { return a != b; }, " is not "},
    {"GTR", [](const json& a, const json& b) { return AreAlike(a, b) && a > b; }, " is more than "},
    {"GEQ", [](const json& a, const json& b) { return AreAlike(a, b) && a >= b; }, " is at least "},
    {"LSS", [](const json& a, const json& b) { return AreAlike(a, b) && a < b; }, " is less than "},
    {"LEQ", [](const json& a, const json& b) { return AreAlike(a, b) && a <= b; }, " is at most "},
});

const ConditionRow* ConditionOf(const json& term) {
  std::string name = TextAt(term, {"MapFromCondition"});
  if (name.empty()) name = "EQU";
  const auto* row = std::ranges::find(kConditions, name, &ConditionRow::name);
  return row == kConditions.end() ? nullptr : row;
}

/// True for a term that can be evaluated.
bool IsUsable(const json& term) {
  return !TextAt(term, {"MapFromAttribute"}).empty() && ConditionOf(term) != nullptr &&
         term.contains("MapFromValue");
}

bool IsUsableRule(const json& rule) {
  const json& terms = At(rule, {"MapFrom"});
  return terms.is_array() && !terms.empty() && std::ranges::all_of(terms, IsUsable) &&
         !TextAt(rule, {"MapToAttribute"}).empty() && !TextAt(rule, {"MapToProperty"}).empty();
}

bool IsOr(const json& term) {
  return TextAt(term, {"MapTerms"}) == "OR";
}

/// A property that can lock a setting, in words.
struct Lock {
  const char* property;
  const char* words;
};
constexpr auto kLocks = std::to_array<Lock>(
    {{"ReadOnly", "read-only"}, {"GrayOut", "greyed out"}, {"Hidden", "hidden"}});
constexpr const char* kReadOnly = kLocks[0].property;
constexpr const char* kGrayOut = kLocks[1].property;

/// A property that is a limit: how it leaves the limits open, and how a rule sets it.
struct Bound {
  const char* property;
  void (*open)(Query::Limits& limits);
  void (*set)(Query::Limits& limits, const json& value);
};

std::int64_t Whole(const json& value, std::int64_t otherwise) {
  return value.is_number_integer() ? value.get<std::int64_t>() : otherwise;
}

Query::Range& Made(std::optional<Query::Range>& range) {
  return range ? *range : range.emplace();
}

void OpenRange(Query::Limits& limits) {
  limits.range.reset();
}
void OpenLength(Query::Limits& limits) {
  limits.length.reset();
}

constexpr auto kBounds = std::to_array<Bound>({
    {"LowerBound", OpenRange,
     [](Query::Limits& to, const json& value) { Made(to.range).low = Whole(value, INT64_MIN); }},
    {"UpperBound", OpenRange,
     [](Query::Limits& to, const json& value) { Made(to.range).high = Whole(value, INT64_MAX); }},
    {"MinLength", OpenLength,
     [](Query::Limits& to, const json& value) { Made(to.length).low = Whole(value, 0); }},
    {"MaxLength", OpenLength,
     [](Query::Limits& to, const json& value) { Made(to.length).high = Whole(value, INT64_MAX); }},
    {"ScalarIncrement", [](Query::Limits& limits) { limits.increment = 0; },
     [](Query::Limits& to, const json& value) {
       to.increment = std::max<std::int64_t>(Whole(value, 0), 0);
     }},
    {"ValueExpression", [](Query::Limits& limits) { limits.pattern.clear(); },
     [](Query::Limits& to, const json& value) {
       to.pattern = value.is_string() ? value.get<std::string>() : std::string();
     }},
});

std::string PropertyOf(const json& rule) {
  return TextAt(rule, {"MapToProperty"});
}

}  // namespace

Dependencies::Dependencies(const json& registry, std::map<std::string, std::string> names)
    : names_(std::move(names)) {
  std::set<std::string> asked;  // of which a rule wants to know more than the value
  for (const json& dependency : At(registry, {"RegistryEntries", "Dependencies"})) {
    const json& rule = At(dependency, {"Dependency"});
    if (IsUsableRule(rule)) {
      rules_[TextAt(rule, {"MapToAttribute"})].push_back(rule);
      for (const json& term : rule.at("MapFrom")) asked.insert(TextAt(term, {"MapFromAttribute"}));
    } else {
      LOGGER::Logger::CreateInstance()->Log(
          LOGGER::Info, __FILE__, "Dependencies", __LINE__,
          "a dependency of %s in the registry makes no sense and is not used",
          TextAt(dependency, {"DependencyFor"}).c_str());
    }
  }
  for (const json& entry : At(registry, {"RegistryEntries", "Attributes"})) {
    const std::string name = TextAt(entry, {"AttributeName"});
    if (At(entry, {kGrayOut}) == json(true)) grey_.insert(name);
    if (asked.contains(name) && !entries_.contains(name)) entries_[name] = entry;
  }
}

const json& Dependencies::Entry(const std::string& attribute) const {
  return At(entries_, {attribute.c_str()});
}

bool Dependencies::IsMet(const json& term, const ValueOf& valueOf) const {
  const std::string attribute = TextAt(term, {"MapFromAttribute"});
  const std::string property = TextAt(term, {"MapFromProperty"});
  const bool isValue = property.empty() || property == "CurrentValue";
  const json present = isValue ? valueOf(attribute) : At(Entry(attribute), {property.c_str()});
  if (present.is_null()) return false;
  return ConditionOf(term)->holds(present, term.at("MapFromValue"));
}

/// A term names how it is joined to the one before; AND where it does not.
bool Dependencies::AreMet(const json& terms, const ValueOf& valueOf) const {
  bool met = IsMet(terms.front(), valueOf);
  for (std::size_t index = 1; index < terms.size(); ++index) {
    const bool next = IsMet(terms[index], valueOf);
    met = IsOr(terms[index]) ? met || next : met && next;
  }
  return met;
}

const Dependencies::Rules& Dependencies::RulesFor(const std::string& attribute) const {
  static const Rules none;
  const auto rules = rules_.find(attribute);
  return rules == rules_.end() ? none : rules->second;
}

std::string Dependencies::Words(const json& terms) const {
  std::string words;
  for (const json& term : terms) {
    if (!words.empty()) words += IsOr(term) ? " or " : " and ";
    const std::string attribute = TextAt(term, {"MapFromAttribute"});
    const auto name = names_.find(attribute);
    words += (name == names_.end() ? attribute : name->second) + ConditionOf(term)->words +
             OneLine(ToText(term.at("MapFromValue")));
  }
  return words;
}

Query::Limits Dependencies::Fixed(const std::string& attribute, Query::Limits own) const {
  for (const json& rule : RulesFor(attribute)) {
    const std::string property = PropertyOf(rule);
    if (property == kReadOnly) own.isReadOnly = false;
    const auto* bound = std::ranges::find(kBounds, property, &Bound::property);
    if (bound != kBounds.end()) bound->open(own);
  }
  return own;
}

Effect Dependencies::On(const std::string& attribute, const Query::Limits& own,
                        const ValueOf& valueOf) const {
  std::map<std::string, const json*> holding;  // by property
  for (const json& rule : RulesFor(attribute)) {
    if (AreMet(rule.at("MapFrom"), valueOf)) holding[PropertyOf(rule)] = &rule;
  }
  Effect effect{"", false, own, ""};
  for (const Lock& lock : kLocks) {
    const auto rule = holding.find(lock.property);
    const bool isOwn = own.isReadOnly && std::string_view(lock.property) == kReadOnly;
    if (rule == holding.end() ? !isOwn : At(*rule->second, {"MapToValue"}) != json(true)) continue;
    effect.lock = lock.words;
    if (rule != holding.end()) effect.lock += " while " + Words(rule->second->at("MapFrom"));
    break;
  }
  effect.isGrey = !holding.contains(kGrayOut) && grey_.contains(attribute);
  effect.limits.isReadOnly = false;  // that is the lock
  for (const Bound& bound : kBounds) {
    const auto rule = holding.find(bound.property);
    if (rule == holding.end()) continue;
    bound.set(effect.limits, At(*rule->second, {"MapToValue"}));
    effect.because = " while " + Words(rule->second->at("MapFrom"));
  }
  for (std::optional<Query::Range>* range : {&effect.limits.range, &effect.limits.length}) {
    if (*range && (*range)->low > (*range)->high) range->reset();  // makes no sense
  }
  return effect;
}

}  // namespace Redfish
