#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "modules/save/RowSink.h"
#include "modules/save/SectionCatalogue.h"
#include "query/BMCConfigModule.h"
#include "query/XEngine.h"
#include "query/XNode.h"

namespace SDK {

/// What to save or restore, and where.
struct SavenRestoreOptions {
  std::int32_t mode;     ///< 0 = BIOS settings with the boot order, 1 = BMC settings, 2 = both
  char fileName[1024];   ///< path of the file; its extension chooses the form
  char password[15];     ///< BIOS administrator password for a restore; may be empty
  bool skipSystemCheck;  ///< restore: do not compare [SYSTEM] with the machine
  bool skipBootOrder;    ///< restore: leave the boot order alone
};

/// Saves the configuration of the running server to a file.
///
/// One object serves one operation: construct it, call `Save` once, destroy it. It talks to the
/// server through the query director (query/XDirector.h), so a back end has to be mounted first.
/// Not for use from two threads. Failures are thrown as `ResultStatus`; the numbers are in
/// common/ErrorManager.h.
///
///     SDK::XDirectorImpl::CreateInstance()->Mount("BMC", provider);  // and "BIOS", "SMBIOS"
///     SDK::SaveRestore module;
///     module.Save(options);
class SaveRestore {
 public:
  /// Reads product and board from the server and classifies the platform. An unreachable server
  /// gives empty texts.
  /// \throws ResultStatus  what naming the platform throws.
  SaveRestore();
  SaveRestore(const SaveRestore&) = delete;
  SaveRestore& operator=(const SaveRestore&) = delete;
  /// Wipes the password.
  virtual ~SaveRestore();

  /// Saves what `options.mode` says to `options.fileName`: as INI text for the extensions .ini and
  /// .INI, as a stream file for .scf and .SCF. An existing file is overwritten; a new one has mode
  /// 0600. A setting that cannot be read is saved as empty.
  /// \throws std::out_of_range  for a file name of fewer than four characters.
  /// \throws ResultStatus  1040 bad extension; 1041 the file cannot be written; 1178, 1180 for
  ///                       stream files; 2048 the server does not answer.
  void Save(SavenRestoreOptions options);

  /// Looks at the extension of `fileName` and remembers whether it names a stream file.
  /// \return 0.
  /// \throws std::out_of_range, ResultStatus 1040  as `Save`.
  int ValidateFileName(const char* fileName);

 protected:
  // --- Members, in the order of construction

  std::vector<sectionData> sections;              ///< the catalogue; `DefineSections` appends to it
  std::string productName;                        ///< "/BMC/INFO/PRODUCT", a family word
  std::string platformId;                         ///< "/BIOS/PlatformID", names the board
  std::string biosPassword;                       ///< of a restore
  bool passwordCommitPlatform = true;             ///< false on the nine older platform families
  bool skipBootOrder = false;                     ///< of a restore
  std::map<std::string, std::string> biosSetMap;  ///< pending BIOS writes, path to value
  std::map<std::string, std::string> bmcSetMap;   ///< pending BMC writes, path to value
  std::map<std::string, NodeMap> readCache;       ///< results by the path of their query
  bool readCacheEnabled = true;
  bool isScfFile;            // NOLINT: every entry point sets it first
  bool lanFailOver = false;  ///< the file turns LAN fail-over on
  Module::BMCConfig::BMCConfigModule bmcModule;
  Common::XEngine xEngine;

  // --- Text and list utilities: TextUtilities.cpp

  /// The decimal text of `number`.
  static std::string convertIntToString(int number);
  /// `text` in upper case, as the C library's `toupper` sees it.
  static std::string StringToUpper(std::string text);
  /// The position of the first entry that equals `text`, or -1.
  static int GetStringPlaceInList(const std::vector<std::string>& list, std::string text);
  /// For each entry the text in its last pair of brackets. An entry without "[" gives "ERROR" when
  /// it stands before the first bracketed entry, else the empty text; callers test the first one.
  static std::vector<std::string> FindIntFromString(std::vector<std::string> list);

  // --- Query gateway: QueryGateway.cpp

  /// Reads the nodes at `path` into `results`: from the BMC module when the first token is "BMC",
  /// else from the query director. \throws ResultStatus  what the engine throws, unchanged.
  void ProcessXQuery(std::string path, NodeMap& results);
  /// Queues a BIOS setting; the last value for a path wins.
  void FillBiosMapSetQuery(std::string path, std::string value);
  /// Sends the queued BIOS settings in one batch and empties the queue; a throw keeps it.
  void ExecuteBiosSetMapQuery();
  /// Sends the queued BMC settings in one batch, an empty one too, and empties the queue; a throw
  /// keeps it.
  void ExecuteBmcQuery();
  /// Writes a group of named settings at one path, at once.
  void ExecuteSetMapQuery(std::string path, std::map<std::string, std::string> settings);

  // --- Read queries: ReadQueries.cpp. They swallow every ResultStatus, so that one item which
  // cannot be read does not stop a save; only the plain count lets Unreachable (2048) through.

  /// The first value of the node at `path`; empty when there is none.
  std::string ExecuteGetQuery(const char* path);
  /// All values of the node at `path`; the list {"ERROR"} when there is none.
  std::vector<std::string> ExecuteBaseQuery(const char* path);
  /// The decimal number of values of the node at `path`; empty when there is no such node. Always
  /// asks the engine and leaves the result in `readCache` under `path`.
  std::string ExecuteCountQuery(const char* path);
  /// The decimal number of children of the node at `path`, whose paths replace `names`; empty, with
  /// `names` untouched, when there is no such node.
  std::string ExecuteCountQuery(const char* path, std::vector<std::string>& names);
  /// The decimal sum of a number over all LAN channels; the channel's index takes the place of the
  /// first "[]" in `path`.
  std::string ExecuteCalcQuery(const char* path);

  // --- Section catalogue and filter: SectionCatalogue.cpp, SectionFilter.cpp

  /// Appends the sections for `mode` on this platform and product to `sections`: [SYSTEM] always,
  /// the BMC sections for the modes 1 and 2.
  void DefineSections(int mode);
  /// True when the top-level BIOS menu at `path` takes part on this board and platform.
  bool IsNeedToSaveRestore(std::string path);

  // --- Save: BmcSave.cpp, BiosSave.cpp

  /// Writes the text file for `mode`, whose catalogue is in `sections`.
  /// \throws ResultStatus  1041; 2048 from the counts.
  void SaveFile(const char* path, int mode);
  /// Writes the rows of every section of the catalogue.
  void SaveSections(RowSink& rows);
  /// Writes the BIOS setup menus, the hard-disk order and the boot order.
  void SaveBiosConfiguration(RowSink& rows);
  void SaveBiosConfiguration(FILE* file);

  /// A walk over the BIOS menus: where its rows go, and which menus it has seen. A menu that a
  /// machine lists twice, or below itself, is taken once.
  struct MenuWalk {
    RowSink& rows;
    std::set<std::string> visited;
    /// True for the first visit of the menu at `path`.
    bool Enter(const std::string& path) { return visited.insert(path).second; }
  };

  /// Writes every top-level menu that `path` lists and that takes part: its heading, its settings,
  /// then its sub-menus.
  void Search(std::string parent, std::string path, NodeMap nodes, MenuWalk& walk);
  void Search(std::string parent, std::string path, NodeMap nodes, FILE* file);
  /// Writes one child of a menu: a setting, or a sub-menu with everything below it, the last
  /// sub-menu first.
  void WriteData(std::string parent, std::string path, NodeMap& nodes, MenuWalk& walk);
  void WriteData(std::string parent, std::string path, NodeMap& nodes, FILE* file);
  /// Writes the key line of the setting at `path` in the menu at `parent`, unless it is one that
  /// never appears.
  void WriteOneData(std::string parent, std::string path, NodeMap& nodes, RowSink& rows);
  void WriteOneData(std::string parent, std::string path, NodeMap& nodes, FILE* file);
  /// Writes the heading of the menu at `path`.
  void WriteSectionName(std::string path, RowSink& rows);
  void WriteSectionName(std::string path, FILE* file);

  /// Called with the bracketed name of each section that a text save begins; for progress displays.
  virtual void SectionStarted(const std::string& /*name*/) {}

  // --- Stream files: modules/stream

  /// Writes the stream file for `mode`. \return 0, or non-zero when it cannot.
  int SaveSCFFile(const char* fileName, int mode);

 private:
  enum class OnMiss { AskAgain, Accept };
  /// The result cached under `path`, or an empty one.
  [[nodiscard]] const NodeMap& CachedResult(const std::string& path) const;
  const _XNode* FindCached(const std::string& path, OnMiss onMiss, NodeMap& uncached);

  void SavePlainSection(const sectionData& section, RowSink& rows);
  void SaveListSection(const sectionData& section, RowSink& rows);
  void SaveInstance(const sectionData& section, const std::string& number, RowSink& rows);
  void SaveSubInstances(const sectionData& section, std::size_t subList, const std::string& number,
                        RowSink& rows);
  std::string PlainValue(const Data& item);
  std::vector<std::string> InstanceNumbersOf(const sectionData& section);
  std::vector<std::string> SubInstanceNumbersOf(const std::string& query);

  void SaveHardDiskOrder(RowSink& rows);
  void SaveBootOrder(RowSink& rows);
};

}  // namespace SDK
