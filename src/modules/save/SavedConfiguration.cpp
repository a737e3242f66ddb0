#include "modules/save/SavedConfiguration.h"

#include <array>

#include "ini/IniPrimitives.h"

namespace SDK {

bool IniConfiguration::IsReadable() const {
  return document_.GetStatus() == IniDocument::Status::Ok;
}

int IniConfiguration::MapStatus() const {
  std::map<std::string, std::string> ignored;
  return GetRequiredProfileMap("", document_, ignored);
}

FileValue IniConfiguration::Find(const std::string& section, const std::string& key) const {
  constexpr unsigned short kReadSize = 128;
  std::array<char, 256> buffer = {};
  FileValue value;
  value.status = GetRequiredProfileString(section.c_str(), key.c_str(), "DEFAULT", buffer.data(),
                                          kReadSize, document_, 0);
  if (!value.IsRead()) return value;
  value.text = buffer.data();
  value.whole = document_.Find(section, key)->value;
  return value;
}

std::map<std::string, std::string> IniConfiguration::Entries(const std::string& section) const {
  std::map<std::string, std::string> entries;
  for (const IniDocument::Entry& entry : document_.Entries()) {
    if (document_.Sections()[entry.section].name != section) continue;
    entries.insert_or_assign(std::string(entry.key), std::string(entry.value));
  }
  return entries;
}

}  // namespace SDK
