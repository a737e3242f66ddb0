// The SaveRestore object: construction, destruction and the entry points.
#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "common/ErrorManager.h"
#include "common/Platform.h"
#include "common/Wipe.h"
#include "modules/save/SaveRestore.h"
#include "modules/save/StreamBlocks.h"

namespace SDK {
namespace {

/// The platform families whose BIOS checks the administrator password in the older form. Every
/// other name, the empty one too, is a newer family.
constexpr auto kOlderPlatforms = std::to_array<std::string_view>({
    "TARVEN_PLATFORM",
    "QUILMOR_PLATFORM",
    "HEMLIT_PLATFORM",
    "DORRIK_PLATFORM",
    "PALVERN_PLATFORM",
    "TARVEN_PLATFORM2",
    "TARVEN_PLATFORM3",
    "OSKENT_PLATFORM",
    "VEXHAM_PLATFORM",
});

/// The extensions a configuration file may have; exact, so ".Ini" is none.
struct Extension {
  std::string_view text;
  bool isStream;
};
constexpr auto kExtensions = std::to_array<Extension>({
    {".scf", true},
    {".SCF", true},
    {".ini", false},
    {".INI", false},
});

constexpr unsigned long kLocalBmc = 4294967295UL;
constexpr unsigned kLastMode = 2;

/// The text of a fixed-size field, which may lack its terminator.
template <std::size_t size>
std::string FieldText(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

/// Wipes the password of an options record when the operation ends.
class WipePassword {
 public:
  explicit WipePassword(SavenRestoreOptions& options) : options_(options) {}
  WipePassword(const WipePassword&) = delete;
  WipePassword& operator=(const WipePassword&) = delete;
  ~WipePassword() { explicit_bzero(options_.password, sizeof options_.password); }

 private:
  SavenRestoreOptions& options_;
};

}  // namespace

SaveRestore::SaveRestore() : bmcModule(kLocalBmc) {
  productName = ExecuteGetQuery("/BMC/INFO/PRODUCT");
  const std::string& platform = Platform::PlatformImpl::CreateInstance()->PlatformName();
  platformId = ExecuteGetQuery("/BIOS/PlatformID");
  passwordCommitPlatform = std::ranges::find(kOlderPlatforms, platform) == kOlderPlatforms.end();
}

SaveRestore::~SaveRestore() {
  Common::Wipe(biosPassword);
}

int SaveRestore::ValidateFileName(const char* fileName) {
  const std::string name = fileName;
  // A name that has no four last characters leaves by substr's out_of_range.
  const std::string ending = name.substr(name.size() - 4);
  const auto* extension = std::ranges::find(kExtensions, ending, &Extension::text);
  if (name.size() == ending.size() || extension == kExtensions.end()) {
    ErrorManager::Raise(ErrorManager::BadFileName);
  }
  isScfFile = extension->isStream;
  return 0;
}

void SaveRestore::Save(SavenRestoreOptions options) {
  const WipePassword wipe(options);
  const std::string fileName = FieldText(options.fileName);
  readCacheEnabled = true;
  ValidateFileName(fileName.c_str());
  const bool isTooLong = fileName.size() > kLongestFileName;
  if (isScfFile) {
    if (static_cast<unsigned>(options.mode) > kLastMode) {
      ErrorManager::Raise(ErrorManager::BadStreamMode);
    }
    if (isTooLong || SaveSCFFile(fileName.c_str(), options.mode) != 0) {
      ErrorManager::Raise(ErrorManager::StreamSaveFailed);
    }
    return;
  }
  DefineSections(options.mode);
  if (isTooLong) ErrorManager::Raise(ErrorManager::CannotWriteFile);
  SaveFile(fileName.c_str(), options.mode);
}

void SaveRestore::Restore(SavenRestoreOptions options) {
  const WipePassword wipe(options);
  biosPassword.assign(options.password, strnlen(options.password, sizeof options.password));
  skipBootOrder = options.skipBootOrder;
  // Before the file name: a wrong password is reported whatever else is wrong.
  if (options.mode == 0 || options.mode == 2) ValidatePassword(biosPassword.c_str());
  const std::string fileName = FieldText(options.fileName);
  ValidateFileName(fileName.c_str());
  saved.reset();  // the file as it is now, whatever an earlier operation has read
  if (isScfFile) return RestoreStream(fileName.c_str(), options);

  if (fileName.size() > kLongestFileName || !Saved(fileName.c_str()).IsReadable()) {
    ErrorManager::Raise(ErrorManager::CannotReadFile);
  }
  DefineSections(options.mode);
  if (!options.skipSystemCheck && ValidateSystemInfo(fileName.c_str()) != 0) return;
  CommitConfigurationFromINIFile(fileName.c_str(), options.mode);
}

void SaveRestore::RestoreStream(const char* fileName, const SavenRestoreOptions& options) {
  if (static_cast<unsigned>(options.mode) > kLastMode) {
    ErrorManager::Raise(ErrorManager::BadStreamMode);
  }
  DefineSections(options.mode);
  const unsigned char* buffer = nullptr;
  unsigned length = 0;
  if (std::string_view(fileName).size() > kLongestFileName ||
      ValidateStream(fileName, buffer, length, options.skipSystemCheck) != 0) {
    ErrorManager::Raise(ErrorManager::BadStream);
  }
  const auto require = [](int result) {
    if (result != 0) ErrorManager::Raise(ErrorManager::StreamRestoreFailed);
  };
  if (options.mode != 1) {
    require(RestoreBIOSConfigurationFromStream(buffer, length));
    require(RestoreBootOrderFromStream(buffer, length));
  }
  if (options.mode == 0) return;
  for (const StreamBlock& block : kBmcStreamBlocks) {
    require(RestoreFWConfigurationFromStream(buffer, length, block.guid, block.target));
  }
  ExecuteBmcQuery();
}

}  // namespace SDK
