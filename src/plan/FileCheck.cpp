#include "plan/FileCheck.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "modules/save/BootOrder.h"
#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"
#include "plan/Change.h"
#include "plan/Failure.h"
#include "plan/UnknownNames.h"

namespace Planning {
namespace {

/// "text=value" entries, each behind ": ". A text may hold anything, so a value is looked for with
/// what stands around it.
bool IsAmongBiosOptions(std::string_view comment, std::string_view value) {
  const std::string wanted = "=" + std::string(value);
  for (std::size_t at = comment.find(wanted); at != std::string_view::npos;
       at = comment.find(wanted, at + 1)) {
    const std::string_view behind = comment.substr(at + wanted.size());
    // Behind the last option there may be a remark.
    if (behind.empty() || behind.starts_with(": ") || behind.starts_with("; ")) return true;
  }
  return false;
}

/// A key as it stands in a file.
struct Key {
  std::string section;
  std::string name;
  std::string value;
  std::string comment;
  std::uint32_t line;  ///< 0 in a stream file, which has no lines
};

/// Why a value is none that its key can have, as far as the file alone tells: a BIOS key by the
/// options that its comment lists, a BMC key by its form. Empty when it can.
std::string ObjectionTo(const Key& key) {
  constexpr std::string_view kBiosOptions = ";Options: ";
  if (TellsNothing(key.value)) return "";
  if (key.comment.starts_with(kBiosOptions)) {
    return IsAmongBiosOptions(key.comment, key.value)
               ? ""
               : "it is not among the options that its comment lists";
  }
  const SDK::ValueForm* form = SDK::FormOf(key.section, key.name, key.comment);
  return form == nullptr ? "" : SDK::Objection(*form, key.value);
}

/// True when the comment of a key has become part of its value, since a blank stands where the tab
/// should be. A text of free form may hold a semicolon, so only what the key's own comment begins
/// with counts.
bool HoldsComment(const Key& key) {
  if (key.value.find(" ;Options") != std::string::npos) return true;
  const SDK::ValueForm* form = SDK::FormOf(key.section, key.name, key.comment);
  if (form == nullptr || *form->comment == '\0') return false;
  const std::string comment(form->comment + 1);  // without its tab
  return key.value.find(" " + comment.substr(0, comment.find(' ', 2))) != std::string::npos;
}

/// Every key of a file, also those that a later one replaces.
std::vector<Key> KeysOf(const ConfigurationFile& file) {
  std::vector<Key> keys;
  if (file.Lines() != nullptr) {
    for (const IniDocument::Entry& entry : file.Lines()->Entries()) {
      keys.push_back({std::string(file.Lines()->Sections()[entry.section].name),
                      std::string(entry.key), std::string(entry.value), std::string(entry.comment),
                      entry.line});
    }
    return keys;
  }
  for (const Scf::Section& section : file.Sections()) {
    const std::string name = SDK::Expansion::WithoutBrackets(section.name);
    for (const SDK::Row& row : section.rows) {
      keys.push_back({name, row.key, row.value, row.comment, 0});
    }
  }
  return keys;
}

Finding FindingOf(const IniDocument::Problem& problem) {
  using Kind = IniDocument::Problem::Kind;
  const std::string text = std::string(problem.text) + (problem.isCut ? "..." : "");
  switch (problem.kind) {
    case Kind::BadLine:
      return {Finding::Weight::Error, problem.line,
              "\"" + text + "\" is no section, no key and no comment; comments begin with \";\""};
    case Kind::KeyOutsideSection:
      return {Finding::Weight::Error, problem.line, "the key \"" + text + "\" is in no section"};
    case Kind::DuplicateSection:
      return {Finding::Weight::Warning, problem.line,
              "the section [" + text + "] stands twice; both count"};
    case Kind::DuplicateKey:
      return {Finding::Weight::Warning, problem.line,
              "the key \"" + text + "\" stands twice; the last one counts"};
  }
  return {};
}

/// What a person should know of one key.
void CheckKey(const Key& key, bool isText, std::vector<Finding>& findings) {
  using Weight = Finding::Weight;
  const std::string name = key.section + "::" + key.name;
  if (HoldsComment(key)) {
    findings.push_back({Weight::Error,
                        key.line,
                        name + ": the comment is part of the value \"" + key.value +
                            "\", since a tab must stand before its \";\"",
                        {key.section, key.name}});
  } else if (const std::string objection = ObjectionTo(key); !objection.empty()) {
    findings.push_back({Weight::Warning,
                        key.line,
                        name + ": \"" + key.value + "\": " + objection,
                        {key.section, key.name}});
  }
  if (isText && key.value.size() > kLongestRead) {
    findings.push_back({Weight::Warning,
                        key.line,
                        name + ": the value is longer than 127 bytes; a restore leaves that "
                               "setting as it is",
                        {key.section, key.name}});
  }
}

/// The last key that a save writes into a section on every server; empty for a section of its own
/// rules.
std::string LastKeyOf(const std::string& section) {
  for (const SDK::CatalogueSection& known : SDK::CatalogueTable()) {
    if (known.numbered != 0 || "[" + section + "]" != known.name) continue;
    std::string last;
    for (const SDK::CatalogueRow& row : known.rows) {
      if (row.presence == SDK::Presence::Always && row.type != SDK::QT_INSTANCE) last = row.key;
    }
    return last;
  }
  return "";
}

/// True when a file has what a save writes before the section `last` on every server, and when that
/// holds nothing: nobody asks for a section without keys.
bool HasAllBefore(const Configuration& content, const std::string& last) {
  if (content.Of(last).empty()) return true;
  for (const SDK::CatalogueSection& known : SDK::CatalogueTable()) {
    const std::string name = SDK::Expansion::WithoutBrackets(known.name);
    if (name == last) break;
    if (!LastKeyOf(name).empty() && !content.HasSection(name)) return false;
  }
  return true;
}

}  // namespace

std::vector<Finding> CheckEnd(const ConfigurationFile& file, Extent extent) {
  const Configuration& content = file.Content();
  if (content.Sections().empty()) {
    return {{Finding::Weight::Error, 0, "it holds no section: it is empty or cut"}};
  }
  if (file.Lines() != nullptr && !file.Lines()->IsWellFormed()) return {};
  if (extent == Extent::Baseline) return {};
  const std::string& last = content.Sections().back();
  const std::string key = LastKeyOf(last);
  if (key.empty() || content.Find(last, key) != nullptr) return {};
  if (extent == Extent::Part && !HasAllBefore(content, last)) return {};
  return {{Finding::Weight::Warning, 0,
           "it ends in the middle of [" + last + "], before \"" + key + "\": it is probably cut"}};
}

std::vector<std::string> LostPositions(const ConfigurationFile& file) {
  std::vector<std::string> lost;
  for (const Scf::Section& section : file.Sections()) {
    if (!IsBootOrder(SDK::Expansion::WithoutBrackets(section.name))) continue;
    std::vector<std::pair<std::string, std::string>> lines;
    for (const SDK::Row& row : section.rows) lines.emplace_back(row.key, row.value);
    for (const std::string& name : SDK::BootOrder::NamesAtTwoPositions(lines)) {
      lost.push_back("\"" + name + "\" stands at two positions in " + section.name +
                     "; a restore keeps its last one only");
    }
  }
  return lost;
}

std::vector<Finding> CheckFile(const ConfigurationFile& file, Extent extent) {
  std::vector<Finding> findings;
  if (extent == Extent::Whole) findings = UnknownAnywhere(file.Content());
  if (file.Lines() != nullptr) {
    for (const IniDocument::Problem& problem : file.Lines()->Problems()) {
      findings.push_back(FindingOf(problem));
    }
    if (const std::size_t more = file.Lines()->ProblemsLeftOut(); more > 0) {
      findings.push_back(
          {file.Lines()->IsWellFormed() ? Finding::Weight::Warning : Finding::Weight::Error,
           findings.back().line, "and " + std::to_string(more) + " more lines of this kind"});
    }
  }
  for (const Key& key : KeysOf(file)) CheckKey(key, file.Lines() != nullptr, findings);
  if (extent == Extent::Whole) std::ranges::move(CheckEnd(file), std::back_inserter(findings));
  for (const std::string& text : LostPositions(file)) {
    findings.push_back({Finding::Weight::Warning, 0, text});
  }
  std::ranges::stable_sort(findings, {}, &Finding::line);
  return findings;
}

std::vector<Finding> Selected(std::vector<Finding> findings, const Selection& selection) {
  std::erase_if(findings, [&](const Finding& finding) {
    return !finding.about.section.empty() &&
           !selection.Covers(finding.about.section, finding.about.key);
  });
  return findings;
}

ConfigurationFile WellFormed(const std::string& path, const std::string& name) {
  ConfigurationFile file(path);
  std::vector<Finding> faults;
  if (file.Lines() != nullptr) {
    for (const IniDocument::Problem& problem : file.Lines()->Problems()) {
      faults.push_back(FindingOf(problem));
    }
  }
  std::ranges::move(CheckEnd(file), std::back_inserter(faults));
  ThrowIfMalformed(faults, name.empty() ? path : name);
  return file;
}

void ThrowIfMalformed(const std::vector<Finding>& findings, const std::string& file) {
  const auto fault = std::ranges::find(findings, Finding::Weight::Error, &Finding::weight);
  if (fault == findings.end()) return;
  const auto all = std::ranges::count(findings, Finding::Weight::Error, &Finding::weight);
  throw Failure(Failure::Kind::BadInput,
                Describe(*fault, file) +
                    (all > 1 ? " (and " + std::to_string(all - 1) + " more; see \"check\")" : ""));
}

bool HasErrors(const std::vector<Finding>& findings) {
  return std::ranges::find(findings, Finding::Weight::Error, &Finding::weight) != findings.end();
}

bool HasUnknown(const std::vector<Finding>& findings) {
  return std::ranges::find(findings, Finding::Weight::Unknown, &Finding::weight) != findings.end();
}

std::string Describe(const Finding& finding, const std::string& file) {
  return (finding.file.empty() ? file : finding.file) + ":" +
         (finding.line == 0 ? "" : std::to_string(finding.line) + ":") +
         (finding.weight == Finding::Weight::Warning ? " warning: " : " error: ") + finding.text;
}

}  // namespace Planning
