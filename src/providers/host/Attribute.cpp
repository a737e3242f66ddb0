#include "providers/host/Attribute.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "providers/host/KernelFile.h"
#include "providers/host/Names.h"

namespace Host {
namespace {

namespace fs = std::filesystem;
using Query::Limits;

/// What a file of an attribute is about. Drivers call some of them differently.
enum class Fact { Low, High, Step, Shortest, Longest, Modifier, ValueModifier };
struct FactFile {
  Fact fact;
  const char* file;
};
constexpr auto kFactFiles = std::to_array<FactFile>({
    {Fact::Low, "min_value"},
    {Fact::Low, "lower_bound"},
    {Fact::High, "max_value"},
    {Fact::High, "upper_bound"},
    {Fact::Step, "scalar_increment"},
    {Fact::Shortest, "min_length"},
    {Fact::Longest, "max_length"},
    {Fact::Modifier, "dell_modifier"},
    {Fact::Modifier, "modifier"},
    {Fact::ValueModifier, "dell_value_modifier"},
    {Fact::ValueModifier, "value_modifier"},
});

std::string TextOf(const fs::path& folder, Fact fact) {
  for (const FactFile& row : kFactFiles) {
    if (row.fact != fact) continue;
    if (std::string text = TextOrNothing(folder / row.file); !text.empty()) return text;
  }
  return {};
}

std::optional<std::int64_t> NumberOf(const fs::path& folder, Fact fact) {
  const std::string text = TextOf(folder, fact);
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

/// A range that a driver gives by its ends; one that holds nothing is none.
std::optional<Query::Range> RangeOf(const fs::path& folder, Fact low, Fact high) {
  const std::optional<std::int64_t> least = NumberOf(folder, low);
  const std::optional<std::int64_t> greatest = NumberOf(folder, high);
  Query::Range range;
  if (least) range.low = *least;
  if (greatest) range.high = *greatest;
  if ((!least && !greatest) || range.low > range.high) return std::nullopt;
  return range;
}

std::string Trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

/// Drivers put ";" or "," between texts; a text with a ";" in it was split at that one, and its
/// commas belong to the parts.
char SeparatorOf(std::string_view text) {
  return text.find(';') == std::string_view::npos && text.find(',') != std::string_view::npos ? ','
                                                                                              : ';';
}

std::vector<std::string> Parts(std::string_view text) {
  const char separator = SeparatorOf(text);
  std::vector<std::string> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    std::string part = Trimmed(text.substr(0, end));
    if (!part.empty() && IsPlainText(part)) parts.push_back(std::move(part));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

std::string Joined(const std::vector<std::string>& parts, char separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text += separator;
    text += part;
  }
  return text;
}

/// What the attribute is and takes. Some drivers name no type.
void ReadType(Attribute& attribute) {
  const std::string type = TextOrNothing(attribute.folder / "type");
  Limits& limits = attribute.node.limits.Edit();
  const std::optional<Query::Range> range = RangeOf(attribute.folder, Fact::Low, Fact::High);
  if (type == "integer" || (type.empty() && range)) {
    limits.form = Limits::Form::Whole;
    limits.range = range;
    const std::int64_t step = NumberOf(attribute.folder, Fact::Step).value_or(0);
    if (step > 1) limits.increment = step;
  } else if (type == "ordered-list") {
    attribute.separator = ';';
  } else if (type == "enumeration" || type.empty()) {
    for (const std::string& choice : Parts(TextOrNothing(attribute.folder / "possible_values"))) {
      attribute.node.options.emplace(choice, choice);
    }
  }
  if (attribute.node.options.empty() && limits.form == Limits::Form::Text &&
      attribute.separator == '\0') {
    limits.length = RangeOf(attribute.folder, Fact::Shortest, Fact::Longest);
    if (limits.length && limits.length->high == 0) limits.length.reset();  // it says nothing
    if (limits.length) limits.length->low = std::max<std::int64_t>(limits.length->low, 0);
  }
}

}  // namespace

const std::string& Attribute::Value() const {
  static const std::string none;
  return node.values.empty() ? none : node.values.front();
}

Attribute ReadAttribute(const fs::path& folder) {
  Attribute attribute;
  attribute.folder = folder;
  // The access rights say what the driver takes, also to root, who could open any file.
  std::error_code error;
  const fs::perms rights = fs::status(attribute.ValueFile(), error).permissions();
  constexpr fs::perms kWrite = fs::perms::owner_write | fs::perms::group_write;
  attribute.node.limits.Edit().isReadOnly = error || (rights & kWrite) == fs::perms::none;
  ReadType(attribute);
  for (const Fact fact : {Fact::Modifier, Fact::ValueModifier}) {
    std::vector<Term> terms = TermsIn(TextOf(folder, fact), attribute.unread);
    std::ranges::move(terms, std::back_inserter(attribute.terms));
  }
  KernelText value = ReadText(attribute.ValueFile());
  if (IsDenied(value.error) && (rights & fs::perms::owner_read) != fs::perms::none) {
    RaiseUnread(attribute.ValueFile(), value.error);
  }
  attribute.node.flag = value.error != 0 || !IsPlainText(value.text);
  if (attribute.node.flag) return attribute;
  if (attribute.separator != '\0') {
    attribute.separator = SeparatorOf(value.text);
    value.text = Joined(Parts(value.text), ';');
  }
  attribute.node.values = {std::move(value.text)};
  return attribute;
}

std::string Objection(const Attribute& attribute, const std::string& value) {
  if (!IsPlainText(value)) return "it is not UTF-8 text in one line";
  std::string objection = Query::Objection(attribute.node, value);
  if (!objection.empty()) return objection;
  const std::optional<Query::Range>& length = attribute.node.limits->length;
  if (length && static_cast<std::int64_t>(value.size()) > length->high) {
    return "it must have at most " + std::to_string(length->high) + " bytes";
  }
  if (attribute.separator == '\0') return {};
  std::vector<std::string> elements = Parts(TextOrNothing(attribute.folder / "elements"));
  std::vector<std::string> wanted = Parts(value);
  const std::string all = Joined(elements, ';');
  std::ranges::sort(elements);
  std::ranges::sort(wanted);
  return elements.empty() || elements == wanted ? "" : "it must have each of " + all + " once";
}

bool SameValue(const Attribute& attribute, const std::string& one, const std::string& other) {
  return attribute.separator == '\0' ? one == other : Parts(one) == Parts(other);
}

std::string Written(const Attribute& attribute, const std::string& value) {
  return attribute.separator == '\0' ? value : Joined(Parts(value), attribute.separator);
}

}  // namespace Host
