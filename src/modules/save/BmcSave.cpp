// The text save: the file itself, and the walk that turns the catalogue into sections and keys.
#include <array>
#include <string_view>

#include "common/Text.h"
#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

using Common::Contains;

/// The user walk visits these five whatever the BMC has, and the count in the file says so.
constexpr auto kUserMembers = std::to_array<const char*>({"[1]", "[2]", "[3]", "[4]", "[5]"});
constexpr std::string_view kUserCollection = "/BMC/USER";
constexpr std::string_view kUserCountKey = "NumberOfUsers";

/// Each LAN channel has two alert destinations.
constexpr auto kDestinationMembers = std::to_array<const char*>({"[0]", "[1]"});

/// The comment of a key of one instance. The first user's name is fixed, and on the products that
/// keep the second user for themselves everything of that user but its status is.
const char* InstanceComment(const Data& item, std::string_view sectionName,
                            std::string_view product) {
  const bool firstUserName = Contains(sectionName, "USER1") && Contains(item.key, "UserName");
  const bool secondUser = Contains(sectionName, "USER2") &&
                          !Contains(item.key, "GlobalUserStatus") && IsPlainMailProduct(product);
  return firstUserName || secondUser ? kNotEditedComment : item.comment;
}

const char* SubInstanceComment(const Data& item, const Data& subList, std::string_view sectionName,
                               std::string_view product) {
  const bool secondUser = Contains(sectionName, "USER2") && !Contains(subList.key, "STATUS") &&
                          IsPlainMailProduct(product);
  return secondUser ? kNotEditedComment : item.comment;
}

}  // namespace

void SaveRestore::SaveFile(const char* path, int mode) {
  IniFile file(path, [this](const std::string& name) { SectionStarted(name); });
  SaveSections(file.Rows());
  if (mode == 0 || mode == 2) SaveBiosConfiguration(file.Rows());
  file.Finish();
}

void SaveRestore::SaveSections(RowSink& rows) {
  for (const sectionData& section : sections) {
    if (section.numbered != 0) {
      for (const std::string& number : InstanceNumbersOf(section, MembersFrom::Values)) {
        SaveInstance(section, number, rows);
      }
      continue;
    }
    rows.BeginSection(section.name);
    if (section.items.empty()) continue;
    switch (section.items.front().type) {
      case QT_GET:
      case QT_COUNT:
      case QT_CALC:
        SavePlainSection(section, rows);
        break;
      case QT_LIST:
        SaveListSection(section, rows);
        break;
      default:
        break;  // nothing but the heading
    }
  }
}

void SaveRestore::SavePlainSection(const sectionData& section, RowSink& rows) {
  for (const Data& item : section.items) {
    rows.Write({item.key, PlainValue(item), item.comment, item.query});
  }
}

std::string SaveRestore::PlainValue(const Data& item) {
  switch (item.type) {
    case QT_GET:
      return ExecuteGetQuery(item.query.c_str());
    case QT_COUNT:
      // Users are never counted: the cached count would answer for the channels of a user as well.
      if (item.key == kUserCountKey) return convertIntToString(kUserMembers.size());
      return ExecuteCountQuery(item.query.c_str());
    case QT_CALC:
      return ExecuteCalcQuery(item.query.c_str());
    default:
      return {};
  }
}

void SaveRestore::SaveListSection(const sectionData& section, RowSink& rows) {
  const std::vector<std::string> numbers = InstanceNumbersOf(section, MembersFrom::Values);
  if (numbers.size() < Expansion::kHandledFilters) return;
  for (std::size_t filter = 0; filter < Expansion::kHandledFilters; ++filter) {
    for (std::size_t index = 1; index < section.items.size(); ++index) {
      const Data& item = section.items[index];
      const std::string query = Expansion::FillFirst(item.query, numbers[filter]);
      const std::string value = ExecuteGetQuery(query.c_str());
      if (Expansion::IsReserved(value)) continue;
      rows.Write({Expansion::Number(item.key, numbers[filter]), value, item.comment, query});
    }
  }
}

/// The numbers of the instances that the first item of a section lists: as the values of the
/// collection, or as its children.
std::vector<std::string> SaveRestore::InstanceNumbersOf(const sectionData& section,
                                                        MembersFrom source) {
  if (section.items.empty()) return {};
  const std::string& collection = section.items.front().query;
  std::vector<std::string> members;
  if (collection == kUserCollection) {
    members.assign(kUserMembers.begin(), kUserMembers.end());
  } else if (source == MembersFrom::Values) {
    members = ExecuteBaseQuery(collection.c_str());
  } else {
    ExecuteCountQuery(collection.c_str(), members);
  }
  return Expansion::UsableNumbers(FindIntFromString(members));
}

/// The numbers of the sub-instances that `query`, already filled with the instance, lists.
std::vector<std::string> SaveRestore::SubInstanceNumbersOf(const std::string& query) {
  return Expansion::UsableNumbers(FindIntFromString(
      Contains(query, "ALERT/DESTINATION")
          ? std::vector<std::string>(kDestinationMembers.begin(), kDestinationMembers.end())
          : ExecuteBaseQuery(query.c_str())));
}

/// Writes one instance of a numbered section. The heading waits for the first key, so that an
/// instance which the BMC reserves leaves no trace in the file.
void SaveRestore::SaveInstance(const sectionData& section, const std::string& number,
                               RowSink& rows) {
  const std::string name = Expansion::Number(section.name, number);
  for (std::size_t index = 1; index < section.items.size(); ++index) {
    const Data& item = section.items[index];
    if (item.type == QT_SUBLIST) {
      SaveSubInstances(section, index, number, rows);
      return;
    }
    if (item.type != QT_INSTANCE) continue;
    const std::string query = Expansion::FillFirst(item.query, number);
    const std::string key = Expansion::Number(item.key, number);
    if (Expansion::IsIpv6Detail(item.key)) {
      const std::string status = Expansion::FillFirst(Expansion::kIpv6StatusQuery, number);
      if (ExecuteGetQuery(status.c_str()) != Expansion::kEnabled) continue;
      rows.Write({key, ExecuteGetQuery(query.c_str()), item.comment, query});
      continue;
    }
    std::string value = ExecuteGetQuery(query.c_str());
    if (item.key == Expansion::kRetryIntervalKey)
      value = Expansion::RetryIntervalToMilliseconds(value);
    if (Expansion::IsReserved(value)) return;
    if (index == 1) rows.BeginSection(name);
    rows.Write({key, value, InstanceComment(item, name, productName), query});
  }
}

/// Writes the items behind the sub-list item at `subList`, for each sub-instance in turn.
void SaveRestore::SaveSubInstances(const sectionData& section, std::size_t subList,
                                   const std::string& number, RowSink& rows) {
  const Data& list = section.items[subList];
  const std::string name = Expansion::Number(section.name, number);
  for (const std::string& sub : SubInstanceNumbersOf(Expansion::FillFirst(list.query, number))) {
    for (std::size_t index = subList + 1; index < section.items.size(); ++index) {
      const Data& item = section.items[index];
      const std::string query = Expansion::FillLast(Expansion::FillFirst(item.query, number), sub);
      const std::string value = ExecuteGetQuery(query.c_str());
      if (Expansion::IsReserved(value)) break;
      if (Contains(query, Expansion::kUnhandledQuery)) continue;
      rows.Write({Expansion::Number(item.key, sub), value,
                  SubInstanceComment(item, list, name, productName), query});
    }
  }
}

}  // namespace SDK
