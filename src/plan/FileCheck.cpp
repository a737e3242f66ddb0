#include "plan/FileCheck.h"

#include <algorithm>
#include <string_view>

#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"

namespace Planning {
namespace {

bool IsKnownSection(const std::string& section) {
  return IsBiosSection(section) ||
         std::ranges::any_of(SDK::CatalogueTable(), [&](const SDK::CatalogueSection& known) {
           return SDK::Expansion::IsInstanceOf("[" + section + "]", known.name);
         });
}

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

/// "On, Off or Restore. More text": options in any case.
bool IsAmongBmcOptions(std::string_view options, std::string_view value) {
  std::string list(options.substr(0, options.find(". ")));
  for (std::size_t at = list.find(" or "); at != std::string::npos; at = list.find(" or ")) {
    list.replace(at, 4, ", ");
  }
  const std::string wanted = Upper(std::string(value));
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(',', start), list.size());
    std::string option = list.substr(start, end - start);
    std::erase(option, ' ');
    if (Upper(option) == wanted) return true;
    start = end + 1;
  }
  return false;
}

/// True unless the comment lists options and the value is none of them.
bool FitsComment(const std::string& comment, const std::string& value) {
  constexpr std::string_view kBiosOptions = ";Options: ";
  constexpr std::string_view kBmcOptions = "; Options: ";
  if (value.empty() || value == "N.A.") return true;
  if (comment.starts_with(kBiosOptions)) return IsAmongBiosOptions(comment, value);
  if (comment.starts_with(kBmcOptions)) {
    return IsAmongBmcOptions(std::string_view(comment).substr(kBmcOptions.size()), value);
  }
  return true;
}

/// A key as it stands in a file.
struct Key {
  std::string name;
  std::string value;
  std::string comment;
  std::uint32_t line;  ///< 0 in a stream file, which has no lines
};

/// Every key of a file, also those that a later one replaces.
std::vector<Key> KeysOf(const ConfigurationFile& file) {
  std::vector<Key> keys;
  if (file.Lines() != nullptr) {
    for (const IniDocument::Entry& entry : file.Lines()->Entries()) {
      keys.push_back({std::string(entry.key), std::string(entry.value), std::string(entry.comment),
                      entry.line});
    }
    return keys;
  }
  for (const Scf::Section& section : file.Sections()) {
    for (const SDK::Row& row : section.rows) keys.push_back({row.key, row.value, row.comment, 0});
  }
  return keys;
}

/// The line of a section's first heading.
std::uint32_t LineOf(const ConfigurationFile& file, const std::string& section) {
  if (file.Lines() == nullptr) return 0;
  const auto& sections = file.Lines()->Sections();
  const auto found = std::ranges::find(sections, section, &IniDocument::Section::name);
  return found == sections.end() ? 0 : found->line;
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

}  // namespace

std::vector<Finding> CheckFile(const ConfigurationFile& file) {
  std::vector<Finding> findings;
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
  for (const std::string& section : file.Content().Sections()) {
    if (section.empty() || IsKnownSection(section)) continue;
    findings.push_back({Finding::Weight::Warning, LineOf(file, section),
                        "the section [" + section + "] belongs to no server"});
  }
  for (const Key& key : KeysOf(file)) {
    if (!FitsComment(key.comment, key.value)) {
      findings.push_back({Finding::Weight::Warning, key.line,
                          "\"" + key.value + "\" is not among the options that the comment of \"" +
                              key.name + "\" lists"});
    }
    if (file.Lines() != nullptr && key.value.size() > kLongestRead) {
      findings.push_back({Finding::Weight::Warning, key.line,
                          "the value of \"" + key.name +
                              "\" is longer than 127 bytes; a restore leaves that setting as it "
                              "is"});
    }
  }
  std::ranges::stable_sort(findings, {}, &Finding::line);
  return findings;
}

bool HasErrors(const std::vector<Finding>& findings) {
  return std::ranges::any_of(
      findings, [](const Finding& finding) { return finding.weight == Finding::Weight::Error; });
}

std::string Describe(const Finding& finding, const std::string& file) {
  return file + ":" + (finding.line == 0 ? "" : std::to_string(finding.line) + ":") +
         (finding.weight == Finding::Weight::Error ? " error: " : " warning: ") + finding.text;
}

}  // namespace Planning
