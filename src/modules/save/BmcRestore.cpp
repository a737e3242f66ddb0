// The BMC part of a restore: the walk over the catalogue that reads each key from the file and
// hands its value to the set rules.
#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Text.h"
#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

using Common::Contains;

/// What a key reads where a BMC has no such setting.
constexpr std::string_view kNotAvailable = "N.A.";

}  // namespace

const SavedConfiguration& SaveRestore::Saved(const char* fileName) {
  if (!saved || savedName != fileName) {
    saved = ReadStream(fileName);
    if (!saved) saved = std::make_unique<IniConfiguration>(fileName);
    savedName = fileName;
  }
  return *saved;
}

FileValue SaveRestore::ReadFileValue(const std::string& section, const std::string& key,
                                     const char* fileName) {
  return Saved(fileName).Find(section, key);
}

void SaveRestore::PrintSkip(const std::string& text) {
  // Names in it come from the machine and the file: they must not steer a terminal.
  std::puts(Common::Printable(text).c_str());
}

void SaveRestore::KeyMissing(const std::string& /*section*/, const std::string& /*key*/) {
  ErrorManager::Raise(ErrorManager::MissingKey);
}

int SaveRestore::CommitConfigurationFromINIFile(const char* path, int mode) {
  if (mode == 1 || mode == 2) {
    for (std::size_t index = 1; index < sections.size(); ++index) {  // [SYSTEM] is only compared
      RestoreSection(sections[index], path);
    }
    ExecuteBmcQuery();
  }
  if (mode == 0 || mode == 2) CommitBiosConfigurationFromINIFile(path);
  return 0;
}

void SaveRestore::RestoreSection(const sectionData& section, const char* fileName) {
  if (section.items.empty()) return;
  const std::string reader = Expansion::WithoutBrackets(section.name);
  if (section.numbered != 0) {
    for (const std::string& number : InstanceNumbersOf(section, MembersFrom::Children)) {
      const Instance instance{Expansion::Number(reader, number), number, fileName};
      if (IsOfFile(section, instance)) RestoreInstance(section, instance);
    }
  } else if (section.items.front().type == QT_LIST) {
    RestoreListSection(section, {reader, "", fileName});
  } else {
    RestorePlainSection(section, {reader, "", fileName});
  }
}

/// False for an instance that the file lacks for a good reason: the save takes the instances from
/// the values of the collection, and those do not list it.
bool SaveRestore::IsOfFile(const sectionData& section, const Instance& instance) {
  const std::string key = section.items.size() > 1 ? section.items[1].key : "";
  const FileValue first = ReadFileValue(instance.section, key, instance.fileName);
  if (first.status != INI_NO_SECTION) return true;
  const std::vector<std::string> listed = InstanceNumbersOf(section, MembersFrom::Values);
  return std::ranges::find(listed, instance.number) != listed.end();
}

/// Reads a key. Where the file lacks it, and needs it, the restore ends; where it does not, the
/// setting is left alone.
SaveRestore::KeyReading SaveRestore::ReadKey(const Instance& instance, const std::string& key,
                                             const std::string& query, Need need) {
  const FileValue value = ReadFileValue(instance.section, key, instance.fileName);
  if (value.IsRead()) return Taken(instance, key, query, value);
  if (need == Need::UnlessReserved && Expansion::IsReserved(ExecuteGetQuery(query.c_str()))) {
    return {KeyReading::Reserved, ""};
  }
  if (need != Need::Never) KeyMissing(instance.section, key);
  return {KeyReading::LeaveAlone, ""};
}

/// The value of a key as the set rules take it. One that the reader has cut is never set: it is
/// unchanged where the machine has the whole of it, and otherwise passed over with a message.
SaveRestore::KeyReading SaveRestore::Taken(const Instance& instance, const std::string& key,
                                           const std::string& query, const FileValue& value) {
  if (value.IsCut()) {
    if (value.whole != ExecuteGetQuery(query.c_str())) {
      PrintSkip("The value of \"" + instance.section + "::" + key +
                "\" in ini file is longer than 127 bytes, skip this item.");
    }
    return {KeyReading::LeaveAlone, ""};
  }
  if (value.IsEmpty()) return {KeyReading::Set, ""};
  const bool keepsCase = Expansion::KeepsCase(instance.section, key, !instance.number.empty());
  return {KeyReading::Set, keepsCase ? value.text : StringToUpper(value.text)};
}

void SaveRestore::RestorePlainSection(const sectionData& section, const Instance& instance) {
  for (const Data& item : section.items) {
    const KeyReading reading = ReadKey(instance, item.key, item.query, Need::Always);
    if (reading.outcome != KeyReading::Set) continue;
    // Before the set of this very key: the set rules look at the flag.
    if (Contains(item.key, "LANFailOver") && reading.value == "ENABLE") lanFailOver = true;
    if (item.type == QT_GET) ExecuteSetQuery(item.query.c_str(), reading.value.c_str());
  }
}

void SaveRestore::RestoreListSection(const sectionData& section, const Instance& instance) {
  const std::vector<std::string> numbers = InstanceNumbersOf(section, MembersFrom::Values);
  // With fewer filters than that the save has written none, so the file may lack them all.
  const Need need =
      numbers.size() >= Expansion::kHandledFilters ? Need::UnlessReserved : Need::Never;
  const std::size_t count = std::min(numbers.size(), Expansion::kHandledFilters);
  for (std::size_t filter = 0; filter < count; ++filter) {
    for (std::size_t index = 1; index < section.items.size(); ++index) {
      const Data& item = section.items[index];
      const std::string key = Expansion::Number(item.key, numbers[filter]);
      const std::string query = Expansion::FillFirst(item.query, numbers[filter]);
      const KeyReading reading = ReadKey(instance, key, query, need);
      if (reading.outcome == KeyReading::Set) ExecuteSetQuery(query.c_str(), reading.value.c_str());
    }
  }
}

void SaveRestore::RestoreInstance(const sectionData& section, const Instance& instance) {
  for (std::size_t index = 1; index < section.items.size(); ++index) {
    const Data& item = section.items[index];
    if (item.type == QT_SUBLIST) return RestoreSubInstances(section, index, instance);
    if (item.type != QT_INSTANCE) continue;
    const std::string query = Expansion::FillFirst(item.query, instance.number);
    const std::string key = Expansion::Number(item.key, instance.number);
    if (Expansion::IsIpv6Detail(item.key)) {
      RestoreIpv6Detail(instance, key, query);
      continue;
    }
    // The interval is saved whatever it reads.
    const bool isInterval = item.key == Expansion::kRetryIntervalKey;
    KeyReading reading =
        ReadKey(instance, key, query, isInterval ? Need::Always : Need::UnlessReserved);
    if (reading.outcome == KeyReading::Reserved) return;
    if (reading.outcome != KeyReading::Set) continue;
    if (isInterval) {
      // One that the machine does not tell was saved as 0, which says nothing.
      const bool saysNothing =
          reading.value == "0" && !Expansion::StartsWithDigit(ExecuteGetQuery(query.c_str()));
      if (saysNothing) continue;
      reading.value = Expansion::MillisecondsToRetryInterval(reading.value);
    }
    ExecuteSetQuery(query.c_str(), reading.value.c_str());
  }
}

/// The details of IPv6 count where it will be enabled: by this restore, or else already. The save
/// leaves them out where the status does not read exactly so, and a file may then lack them: one
/// with another status, and one that has the machine's status as it was saved, "Enable" for
/// example.
void SaveRestore::RestoreIpv6Detail(const Instance& instance, const std::string& key,
                                    const std::string& query) {
  const std::string statusQuery =
      Expansion::FillFirst(Expansion::kIpv6StatusQuery, instance.number);
  const auto queued = bmcSetMap.find(statusQuery);
  const std::string status =
      queued == bmcSetMap.end() ? ExecuteGetQuery(statusQuery.c_str()) : queued->second;
  if (status != Expansion::kEnabled) return;
  const FileValue ofFile =
      ReadFileValue(instance.section, Expansion::kIpv6StatusKey, instance.fileName);
  const bool isAsSaved =
      ofFile.text != Expansion::kEnabled && ofFile.text == ExecuteGetQuery(statusQuery.c_str());
  const bool isRequired =
      ofFile.IsRead() && !isAsSaved && StringToUpper(ofFile.text) == Expansion::kEnabled;
  const KeyReading reading = ReadKey(instance, key, query, isRequired ? Need::Always : Need::Never);
  if (reading.outcome == KeyReading::Set) ExecuteSetQuery(query.c_str(), reading.value.c_str());
}

void SaveRestore::RestoreSubInstances(const sectionData& section, std::size_t subList,
                                      const Instance& instance) {
  const std::string list = Expansion::FillFirst(section.items[subList].query, instance.number);
  for (const std::string& sub : SubInstanceNumbersOf(list)) {
    std::vector<DestinationValue> destination;
    for (std::size_t index = subList + 1; index < section.items.size(); ++index) {
      const Data& item = section.items[index];
      const std::string query =
          Expansion::FillLast(Expansion::FillFirst(item.query, instance.number), sub);
      const KeyReading reading =
          ReadKey(instance, Expansion::Number(item.key, sub), query, Need::Never);
      if (Contains(instance.section, "CHANNEL::LAN") && Contains(query, "ALERT/DESTINATION")) {
        destination.push_back({query, reading});
      } else if (reading.outcome == KeyReading::Set && reading.value != kNotAvailable &&
                 !Contains(query, Expansion::kUnhandledQuery)) {
        ExecuteSetQuery(query.c_str(), reading.value.c_str());
      }
    }
    RestoreDestination(destination);
  }
}

/// Sets the address and the MAC address of one alert destination together. Of one that the file has
/// only half the other half stays; one that it lacks is left alone.
void SaveRestore::RestoreDestination(const std::vector<DestinationValue>& destination) {
  const auto isSet = [](const DestinationValue& value) {
    return value.reading.outcome == KeyReading::Set;
  };
  if (std::ranges::none_of(destination, isSet)) return;
  std::vector<std::string> values;
  values.reserve(destination.size());
  for (const DestinationValue& value : destination) {
    values.push_back(isSet(value) ? value.reading.value : ExecuteGetQuery(value.query.c_str()));
  }
  ExecuteSetLanAlertQuery(destination.front().query, values);
}

}  // namespace SDK
