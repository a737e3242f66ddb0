#include "tool/targets/NamedTarget.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "ini/IniDocument.h"
#include "plan/Names.h"
#include "tool/ExitCodes.h"

namespace Tool {
namespace {

constexpr const char* kFileName = "saverestore/targets.ini";

/// The files that may hold a target, the one that goes over the other first.
std::vector<std::string> Files() {
  std::vector<std::string> files;
  const char* own = std::getenv("XDG_CONFIG_HOME");
  if (own != nullptr && *own == '/') {
    files.push_back(std::string(own) + "/" + kFileName);
  } else if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
    files.push_back(std::string(home) + "/.config/" + kFileName);
  }
  files.push_back(std::string("/etc/") + kFileName);
  return files;
}

[[noreturn]] void RefuseFile(ExitCode code, const std::string& file, const std::string& why) {
  throw ToolError(code, "\"" + file + "\" " + why);
}

/// Whoever writes this file decides which server gets a password.
void CheckOwner(const std::string& file) {
  struct stat facts = {};
  if (stat(file.c_str(), &facts) != 0) return;  // the reader says why
  if (facts.st_uid != 0 && facts.st_uid != geteuid()) {
    RefuseFile(ExitNotPermitted, file, "belongs to another user, who could name another server");
  }
  if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    RefuseFile(ExitNotPermitted, file, "can be written by others; \"chmod go-w\" closes it");
  }
}

void Load(const std::string& file, IniDocument& document) {
  CheckOwner(file);
  if (document.Load(file.c_str()) != IniDocument::Status::Ok) {
    RefuseFile(ExitNotPermitted, file, "cannot be read: " + document.Reason());
  }
  if (!document.Problems().empty()) {
    const IniDocument::Problem& first = document.Problems().front();
    RefuseFile(ExitBadInput, file,
               "has in line " + std::to_string(first.line) +
                   " neither a [NAME] nor KEY=VALUE, or " +
                   "something twice: " + std::string(first.text));
  }
}

/// A target with the file that it lives in as its file name is meant: beside targets.ini.
std::string Placed(const std::string& target, const NamedTarget& named) {
  constexpr std::string_view kMachine = "machine:";
  if (!target.starts_with(kMachine)) return target;
  return std::string(kMachine) + named.PathOf(target.substr(kMachine.size()));
}

NamedTarget Take(const IniDocument& document, const std::string& file, const std::string& name) {
  NamedTarget named;
  named.file = file;
  for (const IniDocument::Entry& entry : document.Entries()) {
    if (document.Sections()[entry.section].name != name) continue;
    const std::string key(entry.key);
    const std::string value(entry.value);
    named.settings[key] = {value, entry.line};
    if (value.empty()) named.Refuse(key, "has no value");
    if (key == "target") {
      std::istringstream words(value);
      for (std::string word; words >> word;) named.targets.push_back(Placed(word, named));
    } else if (key == "rescue") {
      named.rescue = Placed(value, named);
    } else {
      continue;
    }
    named.settings.erase(key);
  }
  if (named.targets.empty()) {
    RefuseFile(ExitBadInput, file, "has no target=KIND:PLACE in [" + name + "]");
  }
  return named;
}

}  // namespace

std::vector<std::string> NamedTarget::All() const {
  std::vector<std::string> all = targets;
  if (!rescue.empty()) all.push_back(rescue);
  return all;
}

void NamedTarget::Refuse(const std::string& key, const std::string& why) const {
  const auto setting = settings.find(key);
  const std::string line =
      setting == settings.end() ? "" : ", line " + std::to_string(setting->second.line);
  RefuseFile(ExitBadInput, file, "has the key \"" + key + "\"" + line + ", which " + why);
}

std::string NamedTarget::PathOf(const std::string& value) const {
  return (std::filesystem::path(file).parent_path() / value).string();
}

NamedTarget FindTarget(const std::string& name) {
  std::string looked;
  for (const std::string& file : Files()) {
    looked += (looked.empty() ? "" : " or ") + file;
    std::error_code error;
    if (!std::filesystem::exists(file, error)) continue;
    IniDocument document;
    Load(file, document);
    if (document.HasSection(name)) return Take(document, file, name);
  }
  throw ToolError(ExitUsage, "no target has the name \"" + name + "\" in " + looked +
                                 Planning::DidYouMean(name, TargetNames()));
}

std::vector<std::string> TargetNames() {
  std::vector<std::string> names;
  for (const std::string& file : Files()) {
    IniDocument document;
    if (document.Load(file.c_str()) != IniDocument::Status::Ok) continue;
    for (const IniDocument::Section& section : document.Sections()) {
      if (!section.name.empty()) names.emplace_back(section.name);
    }
  }
  std::ranges::sort(names);
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

}  // namespace Tool
