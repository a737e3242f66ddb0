#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "modules/save/EfiGuid.h"
#include "modules/save/FileValue.h"
#include "modules/save/RowSink.h"
#include "modules/save/SavedConfiguration.h"
#include "modules/save/SectionCatalogue.h"
#include "query/BMCConfigModule.h"
#include "query/XEngine.h"
#include "query/XNode.h"

namespace SDK {

/// The longest name of a file, in bytes, that is saved or restored. The record has room for more: a
/// longer name is refused, not cut.
inline constexpr std::size_t kLongestFileName = 511;

/// What to save or restore, and where.
struct SavenRestoreOptions {
  std::int32_t mode;     ///< 0 = BIOS settings with the boot order, 1 = BMC settings, 2 = both
  char fileName[1024];   ///< path of the file, up to `kLongestFileName`; its extension is its form
  char password[15];     ///< BIOS administrator password for a restore; may be empty
  bool skipSystemCheck;  ///< restore: do not compare [SYSTEM] with the machine
  bool skipBootOrder;    ///< restore: leave the boot order alone
};

/// Saves the configuration of the running server to a file, and restores it from one.
///
/// One object serves one operation: construct it, call `Save` or `Restore` once, destroy it. A
/// further operation starts with the catalogue, the queued settings, the cache and the flags that
/// the one before has left; the file it reads anew. The object talks to the server through the
/// query director (query/XDirector.h), so a back end has to be mounted first. A program that serves
/// a second server mounts its back end, sets `Platform::PlatformImpl::inst` to null and makes a new
/// object. Not for use from two threads. Failures are thrown as `ResultStatus`; the numbers
/// are in common/ErrorManager.h.
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

  /// Restores what `options.mode` says from `options.fileName`. In this order: the BIOS checks the
  /// password (modes 0 and 2); the file is found and read, once, whatever waits behind its name (a
  /// FIFO is refused at once); its [SYSTEM] section is compared with the server (unless skipped);
  /// of a text file the BMC settings are written, then the BIOS settings with the boot order
  /// (unless skipped). Of a stream file the BIOS settings with the boot order come first, then the
  /// BMC settings: serial-over-LAN, power, event filters, users, LAN. There is no rollback: what a
  /// failure finds written stays written. Items that are passed over are named on standard output,
  /// without control characters. Sections and keys are compared whole, however long they are: one
  /// of more than 511 bytes is looked up like any other and never cut, so it cannot be taken for
  /// another one.
  /// \throws std::out_of_range  for a file name of fewer than four characters.
  /// \throws ResultStatus  1040 bad extension; 1042 to 1045 the file does not fit the server; 1046
  ///                       the file cannot be read; 1133, 1134, 1263, 1353 a section, key, boot
  ///                       order or BIOS value of it is refused. A stream file is 1177 when it is
  ///                       damaged or does not fit the server, 1179 when anything in it is missing
  ///                       or refused, 1180 with another mode. What the engine throws for a write
  ///                       passes unchanged.
  void Restore(SavenRestoreOptions options);

  /// Reads the [SYSTEM] section of a file into `info`, key to value, without restoring anything.
  /// The file is read anew. \return 0. \throws ResultStatus  1043 a key is missing or empty.
  int GetInventoryFromFile(std::map<std::string, std::string>& info, const char* fileName);

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
  std::unique_ptr<SavedConfiguration> saved;  ///< the file of a restore
  std::string savedName;                      ///< its name; empty before it is read
  std::vector<unsigned char> streamBuffer;    ///< the bytes of a stream file, until the object dies

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
  /// The decimal sum of a number over all LAN channels; the channel's index, whatever text it is,
  /// goes into the first "[]" of `path`. What is no number counts 0.
  std::string ExecuteCalcQuery(const char* path);

  // --- BMC set rules: SetRules.cpp

  /// True for a path that this product, or LAN fail-over, keeps to itself.
  [[nodiscard]] bool IsNeverSet(const std::string& path) const;
  /// Decides what becomes of a BMC value that was read from a file: dropped, written at once (event
  /// filters), or queued.
  void ExecuteSetQuery(const char* path, const char* value);
  /// Writes the event filter that the status path belongs to, whole, with a new status.
  void ExecuteSetPefFilterQuery(std::string path, std::string value);
  /// Writes the alert destination that `path` belongs to, whole, with a new address and MAC
  /// address (`values`, in this order).
  void ExecuteSetLanAlertQuery(std::string path, std::vector<std::string> values);

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
    std::unordered_set<std::string_view> visited;  ///< paths as the nodes have them
    /// True for the first visit of the menu at `path`, a text that outlives the walk.
    bool Enter(const std::string& path) { return visited.insert(path).second; }
  };

  /// Writes every top-level menu that `path` lists and that takes part: its heading, its settings,
  /// then its sub-menus.
  void Search(const std::string& path, const NodeMap& nodes, MenuWalk& walk);
  void Search(std::string parent, std::string path, NodeMap nodes, FILE* file);
  /// Writes one child of a menu: a setting, or a sub-menu with everything below it, the last
  /// sub-menu first.
  void WriteData(const std::string& parent, const std::string& path, const NodeMap& nodes,
                 MenuWalk& walk);
  void WriteData(std::string parent, std::string path, NodeMap& nodes, FILE* file);
  /// Writes the menu at `root` with everything below it.
  void WriteMenus(NodeMap::const_iterator root, const NodeMap& nodes, MenuWalk& walk);
  /// Writes the key line of the setting at `path` in the menu at `parent`, unless it is one that
  /// never appears.
  void WriteOneData(const std::string& parent, const std::string& path, const _XNode& setting,
                    RowSink& rows);
  void WriteOneData(std::string parent, std::string path, NodeMap& nodes, FILE* file);
  /// Writes the heading of the menu at `path`.
  void WriteSectionName(const std::string& path, RowSink& rows);
  void WriteSectionName(std::string path, FILE* file);

  /// Called with the bracketed name of each section that a text save begins; for progress displays.
  virtual void SectionStarted(const std::string& /*name*/) {}

  // --- Checks before a restore: SystemCheck.cpp

  /// Fills `info` from the [SYSTEM] section of the file. \return 0. \throws ResultStatus  1043.
  int GetSystemInfoFromFile(std::map<std::string, std::string>& info, const char* fileName);
  /// Fills `info` with the same keys from the server. \return 0. \throws ResultStatus  1042.
  int GetSystemInfoFromSystem(std::map<std::string, std::string>& info);
  /// Compares the two; a BIOS version that differs behind its first six characters is only logged.
  /// \return 0. \throws ResultStatus  1042 to 1045.
  int ValidateSystemInfo(const char* fileName);
  /// Compares one value of [SYSTEM]. \throws ResultStatus  1044, 1045.
  static void CompareSystemValue(const std::string& key, const std::string& ofFile,
                                 const std::string& ofSystem);
  /// Has the BIOS check the administrator password. \throws ResultStatus  what the engine throws.
  void ValidatePassword(const char* password);

  // --- Restore: BmcRestore.cpp, BiosRestore.cpp, BootOrder.cpp. The file is read once, by the
  // first operation that is given its name; the others look keys up in what that one has read.

  /// Restores the BMC settings (modes 1, 2), then the BIOS part (modes 0, 2). \return 0.
  int CommitConfigurationFromINIFile(const char* path, int mode);
  /// Restores the BIOS settings and, unless skipped, the boot orders. \return 0.
  int CommitBiosConfigurationFromINIFile(const char* fileName);
  /// Walks every top-level menu that `path` lists and that takes part.
  void RestoreSearch(const std::string& parent, const std::string& path, const NodeMap& nodes,
                     const char* fileName);
  /// Reads the setting at `path` in the menu at `parent` from the file and queues it when it
  /// differs. \return 0.
  int SaveBiosData(const std::string& parent, const std::string& path, const NodeMap& nodes,
                   const char* fileName);
  /// Queues the BIOS boot order of the file when it differs. \return 0.
  int RestoreBootOrder(const char* fileName, int flags);
  /// Writes the hard-disk order of the file when it differs. \return 0.
  int RestoreBMCBootOrder(const char* fileName, int flags);

  /// Called for a key that a restore needs and the file lacks: raises 1134. One that returns makes
  /// the restore go on without the key; for checks that want to know of all of them.
  virtual void KeyMissing(const std::string& section, const std::string& key);
  /// Called before a value of the file is refused with 1134, 1263 or 1353, whose messages do not
  /// name it; for messages that do.
  virtual void ValueRefused(const std::string& /*section*/, const std::string& /*key*/) {}
  /// Called when the BIOS setting at `path` takes its value from another key of the file than the
  /// one that a save gives it, with the value as it is taken; for reports by key.
  virtual void ValueTakenFrom(const std::string& /*path*/, const std::string& /*section*/,
                              const std::string& /*key*/, const std::string& /*value*/) {}
  /// Says on standard output that an item is passed over.
  virtual void PrintSkip(const std::string& text);

  // --- Stream files: modules/stream. Each returns 0, or non-zero when the file is at fault; the
  // hooks above have then been told which section and key it is about, if it is about one. What the
  // engine throws passes unchanged.

  /// Writes the stream file for `mode`, whole or not at all, mode 0600.
  int SaveSCFFile(const char* fileName, int mode);
  /// Reads the stream file, once, into a buffer that lives as long as this object, and checks it:
  /// form, lengths, checksums, and, unless skipped, its [SYSTEM] block against the server.
  int ValidateStream(const char* fileName, const unsigned char*& buffer, unsigned int& length,
                     bool skipSystemCheck);
  /// Queues every BIOS setting of the stream that differs on the server.
  int RestoreBIOSConfigurationFromStream(const unsigned char* buffer, unsigned int length);
  /// Restores the boot orders of the stream unless `skipBootOrder` is set, and sends all queued
  /// BIOS settings in any case.
  int RestoreBootOrderFromStream(const unsigned char* buffer, unsigned int length);
  /// Hands the BMC settings of the block `guid` to the set rules. A block that says it is for
  /// another `target` is refused.
  int RestoreFWConfigurationFromStream(const unsigned char* buffer, unsigned int length,
                                       EFI_GUID guid, const char* target);

 private:
  enum class OnMiss { AskAgain, Accept };
  /// The result cached under `path`, or an empty one.
  [[nodiscard]] const NodeMap& CachedResult(const std::string& path) const;
  const _XNode* FindCached(const std::string& path, OnMiss onMiss, NodeMap& uncached);

  void RestoreStream(const char* fileName, const SavenRestoreOptions& options);
  static std::unique_ptr<SavedConfiguration> ReadStream(const std::string& fileName);
  void OpenStream(const unsigned char* buffer, unsigned int length);
  bool OpenBlock(const unsigned char* buffer, unsigned int length, const EFI_GUID& guid,
                 const char* target);
  void QueueBiosSettings(const char* fileName);
  void RestoreBootOrdersAndSend(const char* fileName);
  void SavePlainSection(const sectionData& section, RowSink& rows);
  void SaveListSection(const sectionData& section, RowSink& rows);
  void SaveInstance(const sectionData& section, const std::string& number, RowSink& rows);
  void SaveSubInstances(const sectionData& section, std::size_t subList, const std::string& number,
                        RowSink& rows);
  std::string PlainValue(const Data& item);
  enum class MembersFrom { Values, Children };
  std::vector<std::string> InstanceNumbersOf(const sectionData& section, MembersFrom source);
  std::vector<std::string> SubInstanceNumbersOf(const std::string& query);

  /// One position of a boot order: its path and the device that has it, if any.
  struct BootDevice {
    std::string path;
    std::string name;
  };
  std::vector<BootDevice> LiveBootOrder();
  std::vector<BootDevice> LiveDiskOrder();
  void SaveBootDevices(const std::string& section, const std::vector<BootDevice>& devices,
                       RowSink& rows);
  std::map<std::string, std::string> BootOrderWrites(
      const std::string& section, const std::vector<BootDevice>& devices,
      const std::map<std::string, std::string>& wanted);

  std::map<std::string, std::string> CurrentSettings(const std::string& node);
  void RewriteNode(const std::string& path, std::map<std::string, std::string> changes);

  /// The section of the file that is being restored.
  struct Instance {
    std::string section;  ///< without brackets, numbered
    std::string number;   ///< of the instance; empty in a section that has none
    const char* fileName;
  };
  /// What reading one key of the file comes to.
  struct KeyReading {
    enum Outcome {
      Set,         ///< `value` goes to the set rules
      LeaveAlone,  ///< the setting stays as it is
      Reserved,    ///< the file lacks it, since the machine keeps the item to itself
    };
    Outcome outcome;
    std::string value;
  };
  struct DestinationValue {
    std::string query;
    KeyReading reading;
  };
  Row writtenRow;  ///< of the BIOS setting that was written last; kept for its memory
  std::optional<Query::TextMap>
      writtenOptions;  ///< those that make up its comment, if nothing else does
  const SavedConfiguration& Saved(const char* fileName);
  FileValue ReadFileValue(const std::string& section, const std::string& key, const char* fileName);
  /// Whether the file must have a key. The save leaves out some of what the machine reserves; what
  /// it would have written is missing when it is absent, whatever the machine answers now.
  enum class Need { Never, UnlessReserved, Always };
  bool IsOfFile(const sectionData& section, const Instance& instance);
  KeyReading ReadKey(const Instance& instance, const std::string& key, const std::string& query,
                     Need need);
  KeyReading Taken(const Instance& instance, const std::string& key, const std::string& query,
                   const FileValue& value);
  void RestoreSection(const sectionData& section, const char* fileName);
  void RestorePlainSection(const sectionData& section, const Instance& instance);
  void RestoreListSection(const sectionData& section, const Instance& instance);
  void RestoreInstance(const sectionData& section, const Instance& instance);
  void RestoreIpv6Detail(const Instance& instance, const std::string& key,
                         const std::string& query);
  void RestoreSubInstances(const sectionData& section, std::size_t subList,
                           const Instance& instance);
  void RestoreDestination(const std::vector<DestinationValue>& destination);

  using BiosKey = KeyName;
  void QueueBiosValue(const std::string& path, const BiosKey& place, const FileValue& value,
                      const std::string& current);
  FileValue ReadSerialFallback(BiosKey& place, const char* fileName);
  void ReadByAttribute(const _XNode& setting, const NodeMap& nodes, const char* fileName,
                       BiosKey& place, FileValue& value);
};

}  // namespace SDK
