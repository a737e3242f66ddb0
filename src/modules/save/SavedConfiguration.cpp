#include "modules/save/SavedConfiguration.h"

#include <array>

#include "ini/IniPrimitives.h"
#include "modules/save/BiosTree.h"

namespace SDK {

const KeyName* SavedConfiguration::FindAttribute(const std::string& name, bool mayBeKey) const {
  if (!attributes_) {
    attributes_.emplace();
    ForEachKey([&](std::string_view section, std::string_view key, std::string_view comment) {
      if (!section.starts_with("BIOS::") || section == "BIOS::BootOrder") return;
      const std::string_view said = BiosTree::AttributeIn(comment);
      Attributes& names = said.empty() ? attributes_->byKey : attributes_->byComment;
      const KeyName place{std::string(section), std::string(key)};
      const auto [known, isNew] = names.try_emplace(std::string(said.empty() ? key : said), place);
      if (!isNew && known->second != place) known->second = {};
    });
  }
  auto found = attributes_->byComment.find(name);
  if (found == attributes_->byComment.end()) {
    found = attributes_->byKey.find(name);
    if (!mayBeKey || found == attributes_->byKey.end()) return nullptr;
  }
  return found->second.section.empty() ? nullptr : &found->second;
}

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

void IniConfiguration::ForEachKey(const KeyVisitor& visit) const {
  for (const IniDocument::Entry& entry : document_.Entries()) {
    visit(document_.Sections()[entry.section].name, entry.key, entry.comment);
  }
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
