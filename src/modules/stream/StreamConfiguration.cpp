#include "modules/stream/StreamConfiguration.h"

#include <algorithm>
#include <utility>

#include "ini/IniPrimitives.h"

namespace SDK::Stream {

StreamConfiguration::StreamConfiguration(Scf::Bytes bytes) {
  for (DecodedBlock& block : Decode(bytes, Scf::Detail::KeysAndValues)) {
    targets_.push_back({block.guid, std::move(block.payload.target)});
    for (Scf::Section& section : block.payload.sections) Add(section);
  }
}

void StreamConfiguration::Add(Scf::Section& section) {
  const std::string& name = section.name;
  if (name.size() < 2 || name.front() != '[' || name.back() != ']') {
    throw Scf::Damaged("the section \"" + name + "\" has no brackets");
  }
  Values& values = sections_[name.substr(1, name.size() - 2)];
  values.reserve(values.size() + section.rows.size());
  for (Row& row : section.rows) {
    values.insert_or_assign(std::move(row.key), std::move(row.value));
  }
}

const std::string* StreamConfiguration::TargetOf(const EFI_GUID& guid) const {
  const auto block = std::ranges::find(targets_, guid, &BlockTarget::guid);
  return block == targets_.end() ? nullptr : &block->target;
}

bool StreamConfiguration::IsReadable() const {
  return true;
}

int StreamConfiguration::MapStatus() const {
  return INI_READ;
}

FileValue StreamConfiguration::Find(const std::string& section, const std::string& key) const {
  const auto values = sections_.find(section);
  if (values == sections_.end()) return {INI_NO_SECTION, "", ""};
  const auto value = values->second.find(key);
  if (value == values->second.end()) return {INI_NO_KEY, "", ""};
  return {INI_READ, value->second, value->second};
}

std::map<std::string, std::string> StreamConfiguration::Entries(const std::string& section) const {
  const auto values = sections_.find(section);
  if (values == sections_.end()) return {};
  return {values->second.begin(), values->second.end()};
}

}  // namespace SDK::Stream
