#include "tool/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "ini/IniDocument.h"
#include "tool/targets/Kinds.h"
#include "tool/targets/NamedTarget.h"

namespace Tool {
namespace {

namespace fs = std::filesystem;
using Endings = std::vector<std::string_view>;

/// The files that a command's arguments are; of all others they are configurations.
struct EndingRow {
  std::string_view command;
  std::array<std::string_view, 2> endings;
};
constexpr std::array<std::string_view, 2> kConfigurations = {".ini", ".scf"};
constexpr auto kEndingRows = std::to_array<EndingRow>({
    {"capture", {".json", ".json"}},
    {"from-registry", {".json", ".json"}},
    {"report", {".json", ".html"}},
});

/// The options that take names of settings, and what stands behind one.
struct NameRow {
  std::string_view option;
  const char* end;
};
constexpr auto kNameRows = std::to_array<NameRow>({{"set", "="}, {"only", ""}, {"except", ""}});

/// Where the command line stands at its last word.
struct Place {
  const CLI::App* command = nullptr;
  const CLI::Option* option = nullptr;  ///< whose value the last word is
  std::string before;                   ///< what of the last word is not a part of that value
  std::string typed;                    ///< the rest of it
  std::vector<std::string> operands;    ///< words before it that are neither command nor option
};

const CLI::Option* FindOption(const CLI::App* command, const std::string& name) {
  for (; command != nullptr; command = command->get_parent()) {
    if (const CLI::Option* option = command->get_option_no_throw(name)) return option;
  }
  return nullptr;
}

std::vector<const CLI::App*> CommandsBelow(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App*) { return true; });
}

bool TakesValue(const CLI::Option* option) {
  return option != nullptr && option->get_type_size() != 0;
}

void TakeWord(const std::string& word, Place& place) {
  if (place.option != nullptr) {
    place.option = nullptr;
  } else if (word.starts_with('-')) {
    const CLI::Option* option = FindOption(place.command, word);  // nothing for "--NAME=VALUE"
    if (TakesValue(option)) place.option = option;
  } else {
    const std::vector<const CLI::App*> below = CommandsBelow(*place.command);
    const auto command =
        std::ranges::find_if(below, [&](const CLI::App* each) { return each->get_name() == word; });
    if (command != below.end()) {
      place.command = *command;
    } else {
      place.operands.push_back(word);
    }
  }
}

Place PlaceOf(const std::vector<std::string>& words, const CLI::App& app) {
  Place place;
  place.command = &app;
  for (std::size_t at = 0; at + 1 < words.size(); ++at) TakeWord(words[at], place);
  if (!words.empty()) place.typed = words.back();
  const std::size_t equals = place.typed.find('=');
  if (place.option == nullptr && place.typed.starts_with("--") && equals != std::string::npos) {
    place.option = FindOption(place.command, place.typed.substr(0, equals));
    place.before = place.typed.substr(0, equals + 1);
    place.typed.erase(0, equals + 1);
  }
  return place;
}

/// Adds the files whose names end so, and the folders on the way to them.
void AddFiles(const Place& place, const std::string& before, const Endings& endings,
              std::vector<Candidate>& found) {
  const std::string typed = place.typed.substr(before.size());
  const std::size_t slash = typed.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : typed.substr(0, slash + 1);
  const std::string begin = typed.substr(folder.size());
  std::error_code error;
  for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end;
       !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(begin) || (name.starts_with('.') && begin.empty())) continue;
    std::error_code ignored;
    if (entry->is_directory(ignored)) {
      found.push_back({before + folder + name + "/", ""});
    } else if (endings.empty() || std::ranges::any_of(endings, [&](std::string_view ending) {
                 return name.ends_with(ending);
               })) {
      found.push_back({before + folder + name, ""});
    }
  }
}

void AddTargetForms(const Place& place, const Kinds& kinds, std::vector<Candidate>& found) {
  constexpr const char* kMachine = "machine:";
  if (place.typed.starts_with(kMachine)) return AddFiles(place, kMachine, {".json"}, found);
  for (const std::string& name : kinds.Names()) {
    const Targets::TargetRow* row = kinds.Find(name);
    const bool isAlone = name == "local";
    found.push_back({name + (isAlone ? "" : ":"), row == nullptr ? "" : row->summary});
  }
  for (const std::string& name : TargetNames()) found.push_back({"@" + name, ""});
}

/// Adds the names of all settings in the files that stand on the line.
void AddNames(const Place& place, const char* end, std::vector<Candidate>& found) {
  for (const std::string& file : place.operands) {
    IniDocument document;
    if (document.Load(file.c_str()) != IniDocument::Status::Ok) continue;
    for (const IniDocument::Entry& entry : document.Entries()) {
      if (entry.section >= document.Sections().size()) continue;
      found.push_back({std::string(document.Sections()[entry.section].name) +
                           "::" + std::string(entry.key) + end,
                       std::string(entry.value)});
    }
  }
}

/// Adds the words of a form such as "bios|bmc|all".
void AddChoices(const std::string& form, std::vector<Candidate>& found) {
  if (form.find('|') == std::string::npos) return;
  for (const std::string& word : CLI::detail::split(form, '|')) found.push_back({word, ""});
}

void AddValues(const Place& place, const Kinds& kinds, std::vector<Candidate>& found) {
  const std::string& name = place.option->get_lnames().empty() ? place.option->get_name()
                                                               : place.option->get_lnames().front();
  if (name == "target" || name == "rescue") return AddTargetForms(place, kinds, found);
  const auto* names = std::ranges::find(kNameRows, name, &NameRow::option);
  if (names != kNameRows.end()) return AddNames(place, names->end, found);
  for (const Targets::TargetRow* row : kinds.Rows()) {
    for (const Targets::Option& option : row->options) {
      if (option.name != "--" + name) continue;
      for (const char* choice : option.choices) found.push_back({choice, ""});
    }
  }
  const std::string form = place.option->get_option_text().empty()
                               ? place.option->get_type_name()
                               : place.option->get_option_text();
  AddChoices(form, found);
  if (found.empty() && form == "FILE") AddFiles(place, "", {}, found);
  if (found.empty() && form == "DIR") AddFiles(place, "", {"/"}, found);
}

void AddOptions(const CLI::App* command, std::vector<Candidate>& found) {
  for (; command != nullptr; command = command->get_parent()) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) {
        found.push_back({"--" + name, option->get_description()});
      }
    }
  }
}

void AddCommandsOrFiles(const Place& place, std::vector<Candidate>& found) {
  for (const CLI::App* below : CommandsBelow(*place.command)) {
    found.push_back({below->get_name(), below->get_description()});
  }
  const std::vector<const CLI::Option*> options = place.command->get_options();
  const auto isFile = [](const CLI::Option* option) {
    return option->get_positional() && option->get_name() != "NUMBER";
  };
  if (std::ranges::none_of(options, isFile)) return;
  const auto* row = std::ranges::find(kEndingRows, place.command->get_name(), &EndingRow::command);
  const auto& endings = row == kEndingRows.end() ? kConfigurations : row->endings;
  AddFiles(place, "", {endings.begin(), endings.end()}, found);
}

}  // namespace

std::vector<Candidate> CandidatesFor(const std::vector<std::string>& words, const CLI::App& app,
                                     const Kinds& kinds) {
  const Place place = PlaceOf(words, app);
  std::vector<Candidate> found;
  if (TakesValue(place.option)) {
    AddValues(place, kinds, found);
  } else if (place.typed.starts_with('-')) {
    AddOptions(place.command, found);
  } else {
    AddCommandsOrFiles(place, found);
  }
  std::erase_if(found, [&](const Candidate& each) { return !each.word.starts_with(place.typed); });
  for (Candidate& each : found) each.word.insert(0, place.before);
  std::ranges::sort(found, {}, &Candidate::word);
  const auto isSame = [](const Candidate& one, const Candidate& other) {
    return one.word == other.word;
  };
  found.erase(std::unique(found.begin(), found.end(), isSame), found.end());
  return found;
}

std::string Unquoted(const std::string& word) {
  std::string plain;
  char quote = '\0';
  for (std::size_t at = 0; at < word.size(); ++at) {
    const char character = word[at];
    if (character == quote) {
      quote = '\0';
    } else if (quote == '\0' && (character == '\'' || character == '"')) {
      quote = character;
    } else if (character == '\\' && quote != '\'' && at + 1 < word.size()) {
      plain += word[++at];
    } else {
      plain += character;
    }
  }
  return plain;
}

}  // namespace Tool
