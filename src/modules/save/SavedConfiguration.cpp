#include "modules/save/SavedConfiguration.h"

#include <array>

#include "ini/IniPrimitives.h"

namespace SDK {

int IniConfiguration::Status() const {
  if (document_.GetStatus() != IniDocument::Status::Ok) return INI_CANNOT_READ;
  return document_.IsWellFormed() ? INI_READ : INI_MALFORMED;
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
