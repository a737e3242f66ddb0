#include "providers/redfish/Dependencies.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/Logger.h"
#include "providers/redfish/Json.h"
#include "providers/redfish/SetupTree.h"

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

}  // namespace

Dependencies::Dependencies(const json& registry) {
  for (const json& entry : At(registry, {"RegistryEntries", "Attributes"})) {
    const std::string name = TextAt(entry, {"AttributeName"});
    if (!name.empty() && !entries_.contains(name)) entries_[name] = entry;
  }
  for (const json& dependency : At(registry, {"RegistryEntries", "Dependencies"})) {
    const json& rule = At(dependency, {"Dependency"});
    if (IsUsableRule(rule)) {
      rules_.push_back(rule);
    } else {
      LOGGER::Logger::CreateInstance()->Log(
          LOGGER::Info, __FILE__, "Dependencies", __LINE__,
          "a dependency of %s in the registry makes no sense and is not used",
          TextAt(dependency, {"DependencyFor"}).c_str());
    }
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

std::string Dependencies::Words(const json& terms) const {
  std::string words;
  for (const json& term : terms) {
    if (!words.empty()) words += IsOr(term) ? " or " : " and ";
    const std::string attribute = TextAt(term, {"MapFromAttribute"});
    const std::string name = OneLine(TextAt(Entry(attribute), {"DisplayName"}));
    words += (name.empty() ? attribute : name) + ConditionOf(term)->words +
             OneLine(ToText(term.at("MapFromValue")));
  }
  return words;
}

std::vector<Dependent> Dependencies::Holding(const std::string& attribute,
                                             const ValueOf& valueOf) const {
  std::vector<Dependent> holding;
  for (const json& rule : rules_) {
    const json& terms = rule.at("MapFrom");
    if (TextAt(rule, {"MapToAttribute"}) != attribute || !AreMet(terms, valueOf)) continue;
    const std::string property = TextAt(rule, {"MapToProperty"});
    std::erase_if(holding, [&](const Dependent& other) { return other.property == property; });
    holding.push_back({property, At(rule, {"MapToValue"}), Words(terms)});
  }
  return holding;
}

}  // namespace Redfish
