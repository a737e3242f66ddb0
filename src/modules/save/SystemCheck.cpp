// The checks before a restore: was the file saved on a compatible server, and is the BIOS
// administrator password right?
#include <algorithm>
#include <array>
#include <string_view>

#include "common/ErrorManager.h"
#include "common/Logger.h"
#include "common/Wipe.h"
#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"
#include "query/XDirector.h"

namespace SDK {
namespace {

constexpr const char* kPasswordPath = "/BIOS/AdminPw";

/// On this board the firmware versions are neither read nor compared.
constexpr std::string_view kBoardWithoutFirmwareCheck = "R7740HCA";
constexpr auto kFirmwareKeys =
    std::to_array<std::string_view>({"FWBootVersion", "FWOpcodeVersion", "PIAVersion"});

/// BIOS versions that agree in these many characters belong to one BIOS.
constexpr std::size_t kBiosFamilyLength = 6;

bool EndsCheck(std::string_view board, std::string_view key) {
  return board == kBoardWithoutFirmwareCheck &&
         std::ranges::find(kFirmwareKeys, key) != kFirmwareKeys.end();
}

}  // namespace

int SaveRestore::GetInventoryFromFile(std::map<std::string, std::string>& info,
                                      const char* fileName) {
  saved.reset();  // the file as it is now
  DefineSections(1);
  return GetSystemInfoFromFile(info, fileName);
}

int SaveRestore::GetSystemInfoFromFile(std::map<std::string, std::string>& info,
                                       const char* fileName) {
  const sectionData& system = sections.front();
  const std::string section = Expansion::WithoutBrackets(system.name);
  for (const Data& item : system.items) {
    const FileValue value = ReadFileValue(section, item.key, fileName);
    if (EndsCheck(platformId, item.key)) return 0;
    // Whole, also where a reader would cut it: two versions may differ behind that.
    if (!value.IsRead() || value.whole.empty()) {
      ErrorManager::Raise(ErrorManager::MissingSystemKey);
    }
    info.insert_or_assign(item.key, value.whole);
  }
  return 0;
}

int SaveRestore::GetSystemInfoFromSystem(std::map<std::string, std::string>& info) {
  for (const Data& item : sections.front().items) {
    const std::string value = ExecuteGetQuery(item.query.c_str());
    if (EndsCheck(platformId, item.key)) return 0;
    if (value.empty()) ErrorManager::Raise(ErrorManager::EmptySystemValue);
    info.insert_or_assign(item.key, value);
  }
  return 0;
}

int SaveRestore::ValidateSystemInfo(const char* fileName) {
  std::map<std::string, std::string> ofSystem;
  std::map<std::string, std::string> ofFile;
  if (const int result = GetSystemInfoFromSystem(ofSystem); result != 0) return result;
  if (const int result = GetSystemInfoFromFile(ofFile, fileName); result != 0) return result;
  for (const Data& item : sections.front().items) {
    CompareSystemValue(item.key, ofFile[item.key], ofSystem[item.key]);
  }
  return 0;
}

void SaveRestore::CompareSystemValue(const std::string& key, const std::string& ofFile,
                                     const std::string& ofSystem) {
  if (ofFile == ofSystem) return;
  if (key != "BIOSVersion") ErrorManager::Raise(ErrorManager::FirmwareDiffers);
  if (ofFile.substr(0, kBiosFamilyLength) != ofSystem.substr(0, kBiosFamilyLength)) {
    ErrorManager::Raise(ErrorManager::BiosVersionDiffers);
  }
  constexpr int kLogLine = 479;  // the record's fixed place, by which log filters know it
  LOGGER::Logger::CreateInstance()->Log(
      LOGGER::Warning, "src/modules/save", "ValidateSystemInfo", kLogLine,
      "Warning! The BIOS version in INI file and the BIOS version in the system do not match. "
      "Proceeding anyway");
}

void SaveRestore::ValidatePassword(const char* password) {
  XDirectorImpl* director = XDirectorImpl::CreateInstance();
  // Filled in place: a temporary would leave a copy of the password behind.
  if (passwordCommitPlatform) {
    std::map<std::string, SettingMap> request;
    const Common::WipeOnExit wipe(request);
    SettingMap& attributes = request[kPasswordPath];
    attributes["ADMIN_PW"].assign(password);
    attributes["SETVALUE"].assign(password);
    director->ProcessXQuery(request);
  } else {
    SettingMap request;
    const Common::WipeOnExit wipe(request);
    std::string& twice = request[kPasswordPath];
    twice.reserve(2 * std::string_view(password).size() + 1);  // no growing, no stray copy
    twice.append(password).append("-").append(password);
    director->ProcessXQuery(request, true, false);
  }
}

}  // namespace SDK
