#include "modules/stream/StreamConfiguration.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ini/IniPrimitives.h"

namespace SDK::Stream {

StreamConfiguration::StreamConfiguration(Scf::Bytes bytes) : bytes_(bytes.begin(), bytes.end()) {
  for (DecodedBlock& block : Decode(bytes, Scf::Detail::KeysAndValues)) {
    targets_.push_back({block.guid, std::move(block.payload.target)});
    for (Scf::Section& section : block.payload.sections) Add(section);
  }
  for (auto& [name, rows] : sections_) std::ranges::stable_sort(rows, {}, &Row::key);
}

void StreamConfiguration::Add(Scf::Section& section) {
  const std::string& name = section.name;
  if (name.size() < 2 || name.front() != '[' || name.back() != ']') {
    throw Scf::Damaged("the section \"" + name + "\" has no brackets");
  }
  Rows& rows = sections_[name.substr(1, name.size() - 2)];
  if (rows.empty()) {
    rows = std::move(section.rows);
  } else {
    std::ranges::move(section.rows, std::back_inserter(rows));
  }
}

const StreamConfiguration::Rows* StreamConfiguration::RowsOf(const std::string& section) const {
  const auto rows = sections_.find(section);
  return rows == sections_.end() ? nullptr : &rows->second;
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
  const Rows* rows = RowsOf(section);
  if (rows == nullptr) return {INI_NO_SECTION, "", ""};
  const auto behind = std::ranges::upper_bound(*rows, key, {}, &Row::key);
  if (behind == rows->begin() || std::prev(behind)->key != key) return {INI_NO_KEY, "", ""};
  const std::string& value = std::prev(behind)->value;
  return {INI_READ, value, value};
}

void StreamConfiguration::ForEachKey(const KeyVisitor& visit) const {
  for (const DecodedBlock& block : Decode(bytes_)) {
    for (const Scf::Section& section : block.payload.sections) {
      const std::string name = section.name.substr(1, section.name.size() - 2);
      for (const Row& row : section.rows) visit(name, row.key, row.comment);
    }
  }
}

std::map<std::string, std::string> StreamConfiguration::Entries(const std::string& section) const {
  std::map<std::string, std::string> entries;
  const Rows* rows = RowsOf(section);
  if (rows == nullptr) return entries;
  for (const Row& row : *rows) entries.insert_or_assign(row.key, row.value);
  return entries;
}

}  // namespace SDK::Stream
