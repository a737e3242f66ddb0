#include "tool/targets/Targets.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "plan/Failure.h"
#include "plan/Names.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

using Targets::TargetRow;

constexpr std::string_view kTarget = "--target";
constexpr std::string_view kRescue = "--rescue";
constexpr std::string_view kBmcOver = "--bmc-over";
constexpr auto kBmcKinds = std::to_array<const char*>({"redfish", "ipmi"});
constexpr const char* kBmcTree = "BMC";
constexpr const char* kUsualTarget = "SAVERESTORE_TARGET";
constexpr std::string_view kFileValue = "FILE";
constexpr unsigned kLongestPatience = 600;

bool TakesPlace(const TargetRow& kind) {
  return std::string_view(kind.form).find(':') != std::string_view::npos;
}

/// A simulated machine must never be taken for the real one, so no kind is the default.
std::string HowToChoose(Kinds& kinds) {
  kinds.LoadAll();
  std::string text = "Choose one:";
  for (const TargetRow* kind : kinds.Rows()) text += std::string(" --target ") + kind->form;
  return text + ". \"saverestore targets\" says what each is.";
}

/// Adds "--NAME VALUE" to `words` unless the value is empty.
void AddWords(std::vector<std::string>& words, const char* name, const std::string& value) {
  if (!value.empty()) words.insert(words.end(), {name, value});
}

std::string KindOf(const std::string& target) {
  return target.substr(0, target.find(':'));
}

/// The value of a key of targets.ini, as the option takes it.
std::string CheckedValue(const NamedTarget& named, const std::string& key, const std::string& value,
                         const Targets::Option& option) {
  if (*option.value == '\0') {
    if (value != "yes") named.Refuse(key, "is \"yes\" or not there");
    return {};
  }
  if (!option.choices.empty() && std::ranges::find(option.choices, value) == option.choices.end()) {
    std::string all;
    for (const char* choice : option.choices) all += std::string(all.empty() ? "" : ", ") + choice;
    named.Refuse(key, "is one of " + all);
  }
  return option.value == kFileValue ? named.PathOf(value) : value;
}

}  // namespace

std::vector<std::string> KindsNamed(const std::vector<std::string>& words) {
  std::vector<std::string> kinds;
  for (std::size_t at = 0; at < words.size(); ++at) {
    const std::string& word = words[at];
    for (const std::string_view option : {kTarget, kRescue}) {
      if (!word.starts_with(option)) continue;
      if (word.size() > option.size() && word[option.size()] == '=') {
        kinds.push_back(KindOf(word.substr(option.size() + 1)));
      } else if (word == option && at + 1 < words.size()) {
        kinds.push_back(KindOf(words[at + 1]));
      }
    }
  }
  return kinds;
}

TargetChoice::TargetChoice(Kinds& kinds) : kinds_(kinds) {
  bmcPassword_.prompt = "Password of the BMC user: ";
}

void TargetChoice::AddOptions(CLI::App& app) {
  app.add_option(
         std::string(kTarget), names_,
         "The server to work on, for example machine:server.json; see \"targets\". @NAME is "
         "one of targets.ini, and without any it is what SAVERESTORE_TARGET says. Given "
         "twice, one is for the BIOS and the other for the BMC")
      ->type_name("KIND:PLACE")
      ->allow_extra_args(false);
  app.add_option("--bmc-password-fd", bmcPassword_.descriptor,
                 "Read it from this open file descriptor; default: ask on the terminal")
      ->option_text("N")
      ->excludes(
          app.add_option("--bmc-password-file", bmcPassword_.file,
                         "Read the password of the BMC user from the first line of this file")
              ->type_name("FILE"));
  app.add_option(std::string(kBmcOver), bmcOver_,
                 "Which of two targets is for the BMC where both could be; default: ipmi")
      ->option_text("redfish|ipmi")
      ->check(CLI::IsMember(std::vector<std::string>(kBmcKinds.begin(), kBmcKinds.end())));
  app.add_option_function<unsigned>(
         "--timeout", [this](unsigned seconds) { patience_ = std::chrono::seconds(seconds); },
         "Seconds to wait for a sign of life of a server; default 10 for ipmi, 30 for redfish")
      ->option_text("SECONDS")
      ->check(CLI::Range(1U, kLongestPatience));
  for (const TargetRow* kind : kinds_.Rows()) {
    for (const Targets::Option& option : kind->options) AddOption(app, option);
  }
}

void TargetChoice::AddOption(CLI::App& app, const Targets::Option& option) {
  std::vector<std::string>& values = given_.emplace_back(Given{&option, {}}).values;
  if (*option.value == '\0') {
    app.add_flag_callback(
        option.name, [&values] { values.emplace_back(); }, option.help);
    return;
  }
  CLI::Option* added =
      option.isRepeatable
          ? app.add_option(option.name, values, option.help)->allow_extra_args(false)
          : app.add_option_function<std::string>(
                option.name, [&values](const std::string& value) { values = {value}; },
                option.help);
  added->option_text(option.value);
  if (!option.choices.empty()) {
    added->check(
        CLI::IsMember(std::vector<std::string>(option.choices.begin(), option.choices.end())));
  }
}

const TargetChoice::Choice& TargetChoice::Chosen() const {
  if (choice_) return *choice_;
  Choice choice;
  choice.bmcPassword = bmcPassword_;
  choice.patience = patience_;
  choice.bmcOver = bmcOver_;
  std::ranges::copy_if(given_, std::back_inserter(choice.options),
                       [](const Given& given) { return !given.values.empty(); });
  std::vector<std::string> texts = names_;
  const char* usual = std::getenv(kUsualTarget);
  const bool isUsual = texts.empty() && usual != nullptr && *usual != '\0';
  if (isUsual) texts.emplace_back(usual);
  std::string name;
  for (const std::string& text : texts) {
    if (!text.starts_with('@')) {
      choice.targets.push_back(text);
      continue;
    }
    // The options of one would reach the other, its password file for one.
    if (!name.empty()) throw ToolError(ExitUsage, "two targets with a name cannot be one server");
    name = text.substr(1);
    Take(FindTarget(name), choice);
  }
  if (isUsual || !name.empty()) {
    choice.announcement = name;
    for (const std::string& target : choice.targets) {
      choice.announcement += (choice.announcement.empty() ? "" : " ") + target;
    }
    if (isUsual) choice.announcement += std::string(", as ") + kUsualTarget + " says";
  }
  choice_ = std::move(choice);
  return *choice_;
}

void TargetChoice::Take(const NamedTarget& named, Choice& choice) const {
  choice.targets.insert(choice.targets.end(), named.targets.begin(), named.targets.end());
  choice.rescue = named.rescue;
  for (const std::string& target : named.All()) kinds_.Load(KindOf(target));
  for (const auto& [key, setting] : named.settings) TakeOption(named, key, choice);
}

/// A key of targets.ini is an option without its dashes; the command line goes over it.
void TargetChoice::TakeOption(const NamedTarget& named, const std::string& key,
                              Choice& choice) const {
  const std::string& value = named.settings.at(key).value;
  if (key == "bmc-password-file") {
    PasswordSource& source = choice.bmcPassword;
    if (source.file.empty() && source.descriptor < 0) source.file = named.PathOf(value);
    return;
  }
  if (key == kBmcOver.substr(2)) {
    if (std::ranges::find(kBmcKinds, value) == kBmcKinds.end()) {
      named.Refuse(key, "is one of redfish, ipmi");
    }
    if (choice.bmcOver.empty()) choice.bmcOver = value;
    return;
  }
  if (key == "timeout") {
    unsigned seconds = 0;
    const auto [stop, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    if (error != std::errc() || *stop != '\0' || seconds < 1 || seconds > kLongestPatience) {
      named.Refuse(key, "is no number of seconds from 1 to 600");
    }
    if (!choice.patience) choice.patience = std::chrono::seconds(seconds);
    return;
  }
  std::vector<std::string> known = {"target", "rescue", "bmc-password-file", "bmc-over", "timeout"};
  for (const std::string& target : named.All()) {
    kinds_.ThrowIfFaulty(KindOf(target));
    const TargetRow* row = kinds_.Find(KindOf(target));
    if (row == nullptr) continue;
    for (const Targets::Option& option : row->options) {
      if (option.name != "--" + key) {
        known.emplace_back(option.name + 2);
        continue;
      }
      const bool isGiven =
          std::ranges::find(choice.options, &option, &Given::option) != choice.options.end();
      if (!isGiven) choice.options.push_back({&option, {CheckedValue(named, key, value, option)}});
      return;
    }
  }
  if (key.find("password") != std::string::npos) {
    named.Refuse(key,
                 "is none: a password stands in a file of its own, which the key "
                 "\"bmc-password-file\" names");
  }
  named.Refuse(key, "a target of this kind does not have" + Planning::DidYouMean(key, known));
}

std::vector<std::string> TargetChoice::GivenOptions() const {
  std::vector<std::string> words;
  AddWords(words, "--bmc-password-file", Chosen().bmcPassword.file);
  AddWords(words, "--bmc-over", Chosen().bmcOver);
  for (const Given& given : Chosen().options) {
    for (const std::string& value : given.values) {
      words.emplace_back(given.option->name);
      if (*given.option->value != '\0') words.push_back(value);
    }
  }
  return words;
}

void TargetChoice::ReadPassword(const std::string& user, std::size_t longest,
                                std::string& out) const {
  PasswordSource source = Chosen().bmcPassword;
  const bool isGiven = !source.file.empty() || source.descriptor >= 0;
  source.ask = !isGiven && !user.empty();
  source.kept = KeptOf("target " + opening_);
  Tool::ReadPassword(source, longest, out);
}

void TargetChoice::ReadSecret(const std::string& file, std::size_t longest,
                              std::string& out) const {
  PasswordSource source;
  source.file = file;
  source.kept = KeptOf("file " + file);
  Tool::ReadPassword(source, longest, out);
}

std::shared_ptr<KeptPassword> TargetChoice::KeptOf(const std::string& origin) const {
  auto& kept = kept_[origin];
  if (!kept) kept = std::make_shared<KeptPassword>();
  return kept;
}

void TargetChoice::ThrowIfInterrupted() const {
  Tool::ThrowIfInterrupted();
}

bool TargetChoice::IsHurried() const {
  return Tool::IsHurried();
}

Planning::Mounts TargetChoice::Open(const std::string& target) const {
  const std::string name = KindOf(target);
  kinds_.Load(name);
  kinds_.ThrowIfFaulty(name);
  const TargetRow* row = kinds_.Find(name);
  const std::string place = target.substr(std::min(name.size() + 1, target.size()));
  if (row == nullptr || TakesPlace(*row) == place.empty()) {
    const std::string folder = Kinds::Folder();
    const std::string where = row == nullptr && !folder.empty()
                                  ? ": there is no back end \"" + name + "\" in " + folder
                                  : "";
    throw Planning::Failure(Planning::Failure::Kind::Usage,
                            "\"" + target + "\" is no target" + where + ". " + HowToChoose(kinds_));
  }
  opening_ = target;
  Targets::OpenRequest request{place, {}, Chosen().patience, *this};
  for (const Given& given : Chosen().options) {
    for (const std::string& value : given.values) request.options.Add(given.option->name, value);
  }
  return row->open(request);
}

Planning::Mounts TargetChoice::Open() const {
  const std::string& over = Chosen().bmcOver;
  if (!over.empty() && !Names().empty() &&
      std::ranges::find(Names(), over, KindOf) == Names().end()) {
    throw ToolError(ExitUsage,
                    std::string(kBmcOver) + " " + over + " needs a --target " + over + ":...");
  }
  return Open(Names());
}

Planning::Mounts TargetChoice::Open(const std::vector<std::string>& targets) const {
  if (targets.empty()) throw ToolError(ExitUsage, "no --target is given. " + HowToChoose(kinds_));
  // Another way to the server may be none of that kind.
  const std::string& over = Chosen().bmcOver;
  const bool isChosen = std::ranges::find(targets, over, KindOf) != targets.end();
  Planning::Mounts mounts;
  for (const std::string& target : targets) {
    for (auto& [tree, opened] : Open(target)) {
      if (tree == kBmcTree && isChosen && KindOf(target) != over) continue;
      Planning::Mount& mount = mounts[tree];
      if (mount.provider && opened.isStandIn) continue;
      if (mount.provider && !mount.isStandIn && mount.givesWay != opened.givesWay) {
        if (mount.givesWay) mount = opened;
        continue;
      }
      if (mount.provider && !mount.isStandIn) {
        throw ToolError(ExitUsage, "\"" + target + "\" is for " + tree +
                                       ", which an earlier --target is for already");
      }
      mount = opened;
    }
  }
  return mounts;
}

Planning::QueryObserver Watching(const Messages& messages, Progress* progress) {
  Planning::QueryObserver observer;
  observer.onQuery = [&messages, progress](const std::string& path) {
    ThrowIfInterrupted();
    if (progress != nullptr) progress->Query();
    messages.Detail("query " + path);
  };
  observer.onFailure = [&messages](const std::string& path, const ResultStatus& failure) {
    messages.Detail("query " + path + ": " + failure.message());
  };
  return observer;
}

}  // namespace Tool
