#include "tool/Help.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "plan/Names.h"

namespace Tool {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kNameColumn = 26;

/// `text` in lines that fit behind `indent` columns; the first one has its indent already.
std::string Wrapped(const std::string& text, std::size_t indent) {
  std::istringstream words(text);
  std::string wrapped;
  std::size_t width = indent;
  for (std::string word; words >> word;) {
    if (!wrapped.empty() && width + 1 + word.size() > kColumns) {
      wrapped += "\n" + std::string(indent, ' ');
      width = indent;
    } else if (!wrapped.empty()) {
      wrapped += ' ';
      ++width;
    }
    wrapped += word;
    width += word.size();
  }
  return wrapped + "\n";
}

/// One row of the help: a name, and what it means in the second column.
std::string Row(const std::string& name, const std::string& meaning) {
  std::string row = "  " + name;
  if (row.size() + 2 > kNameColumn) row += "\n";
  const std::size_t start = row.ends_with('\n') ? 0 : row.size();
  return row + std::string(kNameColumn - start, ' ') + Wrapped(meaning, kNameColumn);
}

class HelpFormatter final : public CLI::Formatter {
 public:
  [[nodiscard]] std::string make_option(const CLI::Option* option,
                                        bool isPositional) const override {
    return Row(make_option_name(option, isPositional) + make_option_opts(option),
               make_option_desc(option));
  }
  [[nodiscard]] std::string make_option_opts(const CLI::Option* option) const override {
    if (!option->get_option_text().empty()) return " " + option->get_option_text();
    if (option->get_type_size() == 0 || option->get_positional()) return "";
    return " " + option->get_type_name();
  }
  [[nodiscard]] std::string make_subcommand(const CLI::App* command) const override {
    return Row(command->get_name(), command->get_description());
  }
  [[nodiscard]] std::string make_description(const CLI::App* command) const override {
    return Wrapped(command->get_description(), 0);
  }
};

/// The command that was chosen last: "capture" of "machine capture".
const CLI::App& Innermost(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  return *command;
}

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command = &Innermost(app); command != nullptr;
       command = command->get_parent()) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::vector<std::string> CommandsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(below->get_name());
  }
  return names;
}

}  // namespace

std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter() {
  return std::make_shared<HelpFormatter>();
}

std::string WhatIsUnknown(const CLI::App& app) {
  const std::vector<std::string> unknown = app.remaining(true);
  if (unknown.empty()) return "";
  const auto option = std::ranges::find_if(
      unknown, [](const std::string& word) { return word.size() > 1 && word.starts_with('-'); });
  if (option != unknown.end()) {
    const std::string name =
        option->starts_with("--") ? option->substr(0, option->find('=')) : option->substr(0, 2);
    return "there is no option \"" + name + "\"" + Planning::DidYouMean(name, OptionsOf(app));
  }
  const std::vector<std::string> commands = CommandsOf(Innermost(app));
  if (commands.empty()) return "";
  return "there is no command \"" + unknown.front() + "\"" +
         Planning::DidYouMean(unknown.front(), commands);
}

std::string WithoutSecrets(std::string text, const std::vector<std::string>& words) {
  for (std::size_t at = 0; at < words.size(); ++at) {
    const std::size_t equals = std::min(words[at].find('='), words[at].size());
    const std::string name = words[at].substr(0, equals);
    if (!name.starts_with("--") || name.find("password") == std::string::npos) continue;
    std::string secret;
    if (equals < words[at].size()) {
      secret = words[at].substr(equals + 1);
    } else if (at + 1 < words.size() && !words[at + 1].starts_with('-')) {
      secret = words[at + 1];
    }
    if (secret.empty()) continue;
    for (std::size_t found = text.find(secret); found != std::string::npos;
         found = text.find(secret, found + 3)) {
      text.replace(found, secret.size(), "...");
    }
  }
  return text;
}

}  // namespace Tool
