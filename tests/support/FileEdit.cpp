#include "support/FileEdit.h"

#include <gtest/gtest.h>

#include "ini/IniDocument.h"

namespace Test {
namespace {

/// Where the line of a key begins, or npos. The texts of these files need no escapes in keys.
std::size_t LineOf(const std::string& text, const std::string& section, const std::string& key) {
  const std::size_t heading = ("\n" + text).find("\n[" + section + "]\n");
  if (heading == std::string::npos) return std::string::npos;
  const std::size_t end = text.find("\n[", heading);
  const std::size_t line = text.find("\n" + key + "=", heading);
  return line < end ? line + 1 : std::string::npos;
}

}  // namespace

std::string WithValue(const std::string& text, const std::string& section, const std::string& key,
                      const std::string& value) {
  const std::size_t line = LineOf(text, section, key);
  std::string edited = text;
  if (line != std::string::npos) {
    const std::size_t start = line + key.size() + 1;
    return edited.replace(start, text.find_first_of("\t\n", start) - start, value);
  }
  const std::string heading = "[" + section + "]\n";
  const std::string entry = key + "=" + value + "\n";
  const std::size_t place = text.find(heading);
  if (place == std::string::npos) return text + heading + entry;
  return edited.insert(place + heading.size(), entry);
}

std::string WithoutKey(const std::string& text, const std::string& section,
                       const std::string& key) {
  const std::size_t line = LineOf(text, section, key);
  EXPECT_NE(line, std::string::npos) << section << "::" << key;
  std::string edited = text;
  return edited.erase(line, text.find('\n', line) + 1 - line);
}

std::map<std::string, std::string> ValuesOf(const std::string& text) {
  IniDocument document;
  EXPECT_EQ(document.Parse(text), IniDocument::Status::Ok);
  std::map<std::string, std::string> values;
  for (const IniDocument::Entry& entry : document.Entries()) {
    const std::string section(document.Sections()[entry.section].name);
    values[section + "::" + std::string(entry.key)] = entry.value;
  }
  return values;
}

std::map<std::string, std::string> DifferenceOf(const std::string& before,
                                                const std::string& after) {
  const std::map<std::string, std::string> old = ValuesOf(before);
  std::map<std::string, std::string> different = ValuesOf(after);
  for (const auto& [name, value] : old) {
    const auto now = different.find(name);
    if (now == different.end()) {
      different[name] = "(gone)";
    } else if (now->second == value) {
      different.erase(now);
    }
  }
  return different;
}

}  // namespace Test
