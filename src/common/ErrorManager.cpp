#include "common/ErrorManager.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace ErrorManager {
namespace {

constexpr auto kCatalogue = std::to_array<CatalogueEntry>({
    {BadFileName, XCOMMAND_FILE, "The file name must end in .ini, .INI, .scf or .SCF."},
    {CannotWriteFile, XCOMMAND_FILE,
     "The configuration file cannot be opened for writing or could not be written to its end."},
    {EmptySystemValue, XCOMMAND_QUERY,
     "A version that the [SYSTEM] section is compared with cannot be read from this server."},
    {MissingSystemKey, XCOMMAND_QUERY,
     "A version is missing from the [SYSTEM] section of the file, or is empty there."},
    {BiosVersionDiffers, XCOMMAND_QUERY,
     "The BIOS version in the file is not the BIOS version of this server."},
    {FirmwareDiffers, XCOMMAND_QUERY,
     "A firmware version in the [SYSTEM] section of the file is not that of this server."},
    {CannotReadFile, XCOMMAND_QUERY, "The configuration file cannot be opened for reading."},
    {BadSectionMap, XCOMMAND_QUERY,
     "A section of the configuration file cannot be read as a list of keys."},
    {MissingKey, XCOMMAND_QUERY,
     "A key that the restore needs is missing from the configuration file or cannot be used."},
    {BadStream, XCOMMAND_QUERY,
     "The stream file is damaged, or was not saved on a compatible server."},
    {StreamSaveFailed, XCOMMAND_QUERY, "The stream file could not be saved."},
    {StreamRestoreFailed, XCOMMAND_QUERY,
     "The stream file could not be restored; settings that were already written stay written."},
    {BadStreamMode, XCOMMAND_QUERY,
     "A stream file can be saved and restored with the modes 0, 1 and 2 only."},
    {BadBootOrder, XCOMMAND_QUERY,
     "A boot order entry of the file names no boot device of this server, or its position is not "
     "a free one."},
    {BadBiosValue, XCOMMAND_QUERY,
     "A BIOS value of the file is refused: it is taken already, in /BIOS/Serial Port "
     "Configuration"},

    {Unreachable, XCOMMAND_QUERY, "The target does not answer: %s."},
    {NotMounted, XCOMMAND_QUERY, "Nothing is mounted that answers the query path %s."},
    {NoSuchNode, XCOMMAND_QUERY, "The query path %s names nothing on this server."},
    {NotPermitted, XCOMMAND_QUERY, "Access to %s is not permitted: %s."},
    {ReadOnlyNode, XCOMMAND_QUERY, "%s is read-only and cannot be set to \"%s\"."},
    {ValueRefused, XCOMMAND_QUERY, "%s cannot be set to \"%s\": %s."},
    {PasswordRefused, XCOMMAND_QUERY, "The BIOS administrator password is refused: %s."},
    {TargetMissing, XCOMMAND_QUERY, "The target %s does not exist."},
    {TargetMalformed, XCOMMAND_QUERY, "%s:%s: %s."},
    {WriteFailed, XCOMMAND_QUERY, "%s could not be written: %s."},
    {NoSuchForm, XCOMMAND_QUERY, "%s does not support this kind of write at %s."},
    {WritesRefused, XCOMMAND_QUERY, "%s of %s settings could not be written; the first is %s: %s."},
    {BadAnswer, XCOMMAND_QUERY, "The answer of %s cannot be used: %s."},
    {NotTrusted, XCOMMAND_QUERY, "The identity of %s cannot be verified: %s."},
});

/// No text takes more arguments than `Raise` is sure to pass.
constexpr bool TakesFewArguments(const CatalogueEntry& entry) {
  const std::string_view text = entry.text;
  std::size_t arguments = 0;
  for (std::size_t at = text.find("%s"); at != std::string_view::npos;
       at = text.find("%s", at + 1)) {
    ++arguments;
  }
  return arguments <= kMostArguments;
}
static_assert(std::ranges::all_of(kCatalogue, TakesFewArguments));

const CatalogueEntry* Find(int code) {
  const auto* entry = std::ranges::find(kCatalogue, code, &CatalogueEntry::code);
  return entry == kCatalogue.end() ? nullptr : entry;
}

}  // namespace

ErrorMgr* ErrorMgr::GetInstance() {
  static ErrorMgr instance;
  return &instance;
}

std::string ErrorMgr::Get(int code) const {
  const CatalogueEntry* entry = Find(code);
  return entry != nullptr ? entry->text
                          : "Error " + std::to_string(code) + " is not in the error catalogue.";
}

_XCOMMAND ErrorMgr::CommandOf(int code) const {
  const CatalogueEntry* entry = Find(code);
  return entry != nullptr ? entry->command : XCOMMAND_QUERY;
}

}  // namespace ErrorManager
