#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "modules/save/ValueForm.h"

namespace SDK {

/// How the value of a catalogue item is obtained. The numbers are part of the contract.
enum queryType : int {
  QT_LIST = 0,         ///< first item of a section: its query lists the instances; no key
  QT_INSTANCE = 1,     ///< a value of one instance
  QT_SUBLIST = 2,      ///< its query lists the sub-instances for the items behind it; no key
  QT_GET = 3,          ///< a plain value
  QT_SUBINSTANCE = 4,  ///< a value of one sub-instance of one instance
  QT_COUNT = 5,        ///< the size of a collection, for information
  QT_CALC = 6,         ///< a sum, for information
};

/// One item of the catalogue: a key of the file and where its value comes from.
struct Data {
  Data(std::string itemKey, std::string itemQuery, const char* itemComment, queryType itemType)
      : key(std::move(itemKey)),
        query(std::move(itemQuery)),
        comment(itemComment),
        type(itemType) {}

  std::string key;      ///< a "_" in it takes an instance number
  std::string query;    ///< the first "[]" takes the instance, the second the sub-instance
  const char* comment;  ///< written behind the value: "" or a tab and "; ..."; not owned
  queryType type;
};

/// One section of the catalogue.
struct sectionData {
  std::string name;         ///< with its brackets; a "_" in it takes the instance number
  int numbered;             ///< 1: written once for each instance; 0: written once
  std::vector<Data> items;  ///< in the order of the file
};

/// On which servers a row of the catalogue stands. [SYSTEM] rows go by the platform name, all
/// others by the product name.
enum class Presence {
  Always,
  BootAreaPlatform,  ///< CALDRA, MIRKET, BRISKEL, NARDUN _PLATFORM
  OskentPlatform,    ///< OSKENT_PLATFORM
  NotOskentPlatform,
  OskentOrVexham,     ///< these two products
  NotOskentOrVexham,  ///< every other product, an unknown one too
  PlainMail,          ///< the products CALDRA, MIRKET, BRISKEL, NARDUN
  ExtendedMail,       ///< every other product, an unknown one too
};

/// One row of the catalogue's table.
struct CatalogueRow {
  const char* key;
  const char* query;
  const ValueForm& form;
  queryType type;
  Presence presence = Presence::Always;
};

/// One section of the catalogue's table.
struct CatalogueSection {
  const char* name;
  int numbered;
  std::span<const CatalogueRow> rows;
};

/// The whole table in the order of the file: [SYSTEM], then the BMC sections. `DefineSections`
/// takes from it what a server has; the manual page of the file format is made from it.
[[nodiscard]] std::span<const CatalogueSection> CatalogueTable();

/// The form of a key's values, by the names that a reader of the file uses ("USERS::USER3",
/// "PrivilegeChl2"); null when no server has such a key in its BMC part. Where servers have
/// different forms for one key, `comment` tells which: it is what a save has written there.
[[nodiscard]] const ValueForm* FormOf(const std::string& section, const std::string& key,
                                      const std::string& comment = "");

/// True when a row with this presence stands on a server.
[[nodiscard]] bool IsPresent(Presence presence, std::string_view platform,
                             std::string_view product);

/// True for the products whose second user is not meant to be edited and whose e-mail rows are
/// plain: CALDRA, MIRKET, BRISKEL and NARDUN.
[[nodiscard]] bool IsPlainMailProduct(std::string_view product);

}  // namespace SDK
