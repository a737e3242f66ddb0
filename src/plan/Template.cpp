#include "plan/Template.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>

#include "plan/Failure.h"

namespace Planning {
namespace {

[[noreturn]] void Refuse(const std::string& name, std::size_t line, const std::string& what) {
  throw Failure(Failure::Kind::BadInput, name + ":" + std::to_string(line) + ": " + what);
}

/// A value must not become lines of its own.
void AddVariable(const std::string& name, const std::string& value, Variables& variables) {
  const bool hasControl =
      std::ranges::any_of(value, [](unsigned char byte) { return byte < 0x20; });
  if (name.empty() || hasControl) {
    throw Failure(Failure::Kind::Usage,
                  "the variable \"" + name + "\" " +
                      (name.empty() ? "has no name" : "holds a control character"));
  }
  variables[name] = value;
}

/// The value that the placeholder at `at` ("${NAME}") stands for; `at` is then behind it.
std::string Value(std::string_view line, std::size_t& at, const Variables& variables,
                  const std::string& file, std::size_t number) {
  const std::size_t end = line.find('}', at);
  if (end == std::string_view::npos) Refuse(file, number, "\"${\" is not closed by \"}\"");
  const std::string name(line.substr(at + 2, end - at - 2));
  const auto variable = variables.find(name);
  if (variable == variables.end()) {
    Refuse(file, number,
           "the placeholder \"${" + name + "}\" has no value; give it with --var " + name +
               "=VALUE or in a file with --vars");
  }
  at = end + 1;
  return variable->second;
}

std::string FilledLine(std::string_view line, const Variables& variables, const std::string& file,
                       std::size_t number) {
  std::string filled;
  for (std::size_t at = 0; at < line.size();) {
    if (line.substr(at, 2) == "$$") {
      filled += '$';
      at += 2;
    } else if (line.substr(at, 2) == "${") {
      filled += Value(line, at, variables, file, number);
    } else {
      filled += line[at++];
    }
  }
  return filled;
}

}  // namespace

bool IsBaseline(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  std::string_view first = text.substr(0, text.find('\n'));
  while (first.ends_with('\r') || first.ends_with(' ')) first.remove_suffix(1);
  return first == kBaselineLine;
}

std::string Filled(const std::string& text, const std::string& name, const Variables& variables) {
  if (!IsBaseline(text)) return text;
  std::string filled;
  std::size_t number = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size() - 1);
    const std::string_view line(text.data() + start, end + 1 - start);
    ++number;
    filled += line.starts_with(';') ? std::string(line) : FilledLine(line, variables, name, number);
    start = end + 1;
  }
  return filled;
}

std::string AsBaseline(const std::string& text) {
  std::string baseline = std::string(kBaselineLine) + "\n";
  bool isComment = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (at == 0 || text[at - 1] == '\n') isComment = text[at] == ';';
    if (text[at] == '$' && !isComment) baseline += '$';
    baseline += text[at];
  }
  return baseline;
}

void AddVariables(const std::vector<std::string>& texts, Variables& variables) {
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
      throw Failure(Failure::Kind::Usage, "\"" + text + "\" is not NAME=VALUE");
    }
    AddVariable(text.substr(0, equals), text.substr(equals + 1), variables);
  }
}

void AddVariablesOfFile(const std::string& path, Variables& variables) {
  std::ifstream file(path);
  if (!file) throw Failure(Failure::Kind::NoInput, "\"" + path + "\" cannot be read");
  const auto document = nlohmann::json::parse(file, nullptr, false);
  if (!document.is_object()) {
    throw Failure(Failure::Kind::BadInput, "\"" + path + "\" is no JSON object");
  }
  for (const auto& [name, value] : document.items()) {
    if (!value.is_string() && !value.is_number()) {
      throw Failure(Failure::Kind::BadInput,
                    "\"" + path + "\": \"" + name + "\" is neither a text nor a number");
    }
    AddVariable(name, value.is_string() ? value.get<std::string>() : value.dump(), variables);
  }
}

}  // namespace Planning
