#include "plan/UnknownNames.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"
#include "plan/Names.h"

namespace Planning {
namespace {

using SDK::Expansion::IsInstanceOf;
using SDK::Expansion::Number;
using SDK::Expansion::WithoutBrackets;

Finding Unknown(std::uint32_t line, const std::string& text) {
  return {Finding::Weight::Unknown, line, text};
}

/// The first run of digits in a name: the number of an instance.
std::string NumberIn(const std::string& name) {
  const std::size_t start = std::min(name.find_first_of("0123456789"), name.size());
  const std::size_t end = name.find_first_not_of("0123456789", start);
  return name.substr(start, end == std::string::npos ? end : end - start);
}

/// Catalogue names with the number that a mistyped one has.
std::string Numbered(const std::string& name, const std::string& typed) {
  const std::string number = NumberIn(typed);
  return Number(name, number.empty() ? "1" : number);
}

std::vector<std::string> SectionsLike(const std::string& typed) {
  std::vector<std::string> names;
  for (const SDK::CatalogueSection& section : SDK::CatalogueTable()) {
    names.push_back(Numbered(WithoutBrackets(section.name), typed));
  }
  return names;
}

std::vector<std::string> KeysLike(const std::string& section, const std::string& typed) {
  std::vector<std::string> names;
  for (const SDK::CatalogueSection& known : SDK::CatalogueTable()) {
    if (!IsInstanceOf("[" + section + "]", known.name)) continue;
    for (const SDK::CatalogueRow& row : known.rows) {
      const bool isKey = *row.key != '\0' && row.type != SDK::QT_SUBLIST;
      if (isKey) names.push_back(Numbered(row.key, typed));
    }
  }
  return names;
}

std::string UnknownSection(const std::string& section, const std::string& where,
                           const std::vector<std::string>& known) {
  return "the section [" + section + "] is unknown " + where + DidYouMean(section, known);
}

std::string UnknownKey(const Setting& setting, const std::string& where,
                       const std::vector<std::string>& known) {
  return "the key \"" + setting.key + "\" of [" + setting.section + "] is unknown " + where +
         DidYouMean(setting.key, known);
}

std::vector<std::string> KeysOf(const Configuration& present, const std::string& section) {
  std::vector<std::string> keys;
  for (const Setting& setting : present.Settings()) {
    if (setting.section == section) keys.push_back(setting.key);
  }
  return keys;
}

/// The name of a section without its numbers: the same for all instances.
std::string Unnumbered(std::string section) {
  std::erase_if(section, [](unsigned char byte) { return std::isdigit(byte) != 0; });
  return section;
}

/// True when another instance of the setting's section has its key.
bool AnotherHas(const Configuration& present, const Setting& setting) {
  const std::string section = Unnumbered(setting.section);
  return std::ranges::any_of(present.Settings(), [&](const Setting& other) {
    return other.key == setting.key && Unnumbered(other.section) == section;
  });
}

bool IsInCatalogue(const std::string& section) {
  return std::ranges::any_of(SDK::CatalogueTable(), [&](const SDK::CatalogueSection& known) {
    return IsInstanceOf("[" + section + "]", known.name);
  });
}

std::uint32_t LineOf(const Configuration& file, const std::string& section) {
  const auto first = std::ranges::find(file.Settings(), section, &Setting::section);
  return first == file.Settings().end() ? 0 : first->line;
}

}  // namespace

std::vector<Finding> UnknownAnywhere(const Configuration& file) {
  std::vector<Finding> findings;
  std::set<std::string> unknown;
  for (const std::string& section : file.Sections()) {
    if (section.empty() || IsBiosSection(section)) continue;
    if (IsInCatalogue(section)) continue;
    unknown.insert(section);
    findings.push_back(Unknown(LineOf(file, section),
                               UnknownSection(section, "to every server", SectionsLike(section))));
  }
  for (const Setting& setting : file.Settings()) {
    if (IsBiosSection(setting.section) || unknown.contains(setting.section) ||
        setting.section.empty() || SDK::FormOf(setting.section, setting.key) != nullptr) {
      continue;
    }
    findings.push_back(Unknown(setting.line, UnknownKey(setting, "to every server",
                                                        KeysLike(setting.section, setting.key))));
  }
  return findings;
}

std::vector<Finding> UnknownOnServer(const Request& request, const Configuration& present,
                                     const std::vector<RecordedWrite>& writes) {
  std::set<std::string> written;
  for (const RecordedWrite& write : writes) {
    if (const auto name = NameOfBmcPath(write.path)) written.insert(name->Text());
  }
  const auto isAsked = [&](const std::string& section) {
    if (section == "SYSTEM" || IsBootOrder(section)) return false;
    if (IsBiosSection(section)) return request.mode != ModeBmc;
    // What no server has is told already.
    return request.isPart && request.mode != ModeBios && IsInCatalogue(section);
  };
  const auto isKnown = [&](const Setting& setting) {
    const bool isTold =
        !IsBiosSection(setting.section) && SDK::FormOf(setting.section, setting.key) == nullptr;
    return isTold || present.Find(setting.section, setting.key) != nullptr ||
           written.contains(setting.Name()) ||
           (setting.isOfWildcard && AnotherHas(present, setting));
  };
  std::vector<Finding> findings;
  std::set<std::string> told;
  for (const Setting& setting : request.wanted.Settings()) {
    const std::string& section = setting.section;
    if (!isAsked(section) || isKnown(setting)) continue;
    if (present.HasSection(section)) {
      findings.push_back(
          Unknown(setting.line, UnknownKey(setting, "to this server", KeysOf(present, section))));
    } else if (told.insert(section).second) {
      findings.push_back(
          Unknown(setting.line, UnknownSection(section, "to this server", present.Sections())));
    }
  }
  for (const std::string& section : request.wanted.Sections()) {
    // Also one without any key.
    if (!isAsked(section) || present.HasSection(section) || !request.wanted.Of(section).empty()) {
      continue;
    }
    findings.push_back(Unknown(0, UnknownSection(section, "to this server", present.Sections())));
  }
  return findings;
}

}  // namespace Planning
