// The stream operations of SaveRestore. They run the walks of the text form, over the stream as the
// configuration that keys are looked up in.
#include <algorithm>
#include <array>
#include <memory>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"
#include "modules/stream/StreamConfiguration.h"
#include "modules/stream/StreamFile.h"

namespace SDK {
namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kBiosAndBmc = 2;

/// What the walks know a stream by; no file has this name, for want of an extension.
constexpr const char* kStreamName = "the stream";

/// The failures that say what is wrong with a file, but for those of the comparison with the
/// server. The walks have told the hooks which section and key it is about.
bool IsOfFile(const ResultStatus& failure) {
  constexpr auto kCodes =
      std::to_array<int>({ErrorManager::BadSectionMap, ErrorManager::MissingKey,
                          ErrorManager::BadBootOrder, ErrorManager::BadBiosValue});
  return std::ranges::find(kCodes, failure.getval()) != kCodes.end();
}

/// Runs one step of a restore. \return what the step is to return.
template <typename Step>
int Outcome(Step step) {
  try {
    step();
  } catch (const ResultStatus& failure) {
    if (!IsOfFile(failure)) throw;
    return kRefused;
  }
  return kDone;
}

/// The failures that say that a file does not fit the server.
bool IsMismatch(const ResultStatus& failure) {
  return failure.getval() >= ErrorManager::EmptySystemValue &&
         failure.getval() <= ErrorManager::FirmwareDiffers;
}

}  // namespace

int SaveRestore::SaveSCFFile(const char* fileName, int mode) {
  DefineSections(mode);
  Stream::SectionSink rows([this](const std::string& name) { SectionStarted(name); });
  SaveSections(rows);
  if (mode != 1) SaveBiosConfiguration(rows);
  try {
    const std::vector<unsigned char> bytes = Stream::Encode(rows.Sections(), mode);
    Common::AtomicFile file(fileName);
    file.Write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    file.Commit(Common::AtomicFile::Existing::Replace);
  } catch (const Scf::Damaged&) {
    return kRefused;
  } catch (const ResultStatus&) {  // of the file: nothing else is called here
    return kRefused;
  }
  return kDone;
}

int SaveRestore::ValidateStream(const char* fileName, const unsigned char*& buffer,
                                unsigned int& length, bool skipSystemCheck) {
  try {
    saved.reset();
    streamBuffer = Stream::ReadFile(fileName);
    OpenStream(streamBuffer.data(), static_cast<unsigned>(streamBuffer.size()));
    if (!skipSystemCheck && ValidateSystemInfo(kStreamName) != 0) return kRefused;
  } catch (const Scf::Damaged&) {
    return kRefused;
  } catch (const ResultStatus& failure) {
    if (!IsMismatch(failure)) throw;
    return kRefused;
  }
  buffer = streamBuffer.data();
  length = static_cast<unsigned>(streamBuffer.size());
  return kDone;
}

/// A stream file that is read without being restored; null when it is none.
std::unique_ptr<SavedConfiguration> SaveRestore::ReadStream(const std::string& fileName) {
  if (!fileName.ends_with(".scf") && !fileName.ends_with(".SCF")) return nullptr;
  try {
    return std::make_unique<Stream::StreamConfiguration>(Stream::ReadFile(fileName));
  } catch (const Scf::Damaged&) {
    return nullptr;
  }
}

/// Makes the stream in `buffer` the configuration that the walks look keys up in, and builds the
/// catalogue for them. The stream that was validated is decoded once. \throws Scf::Damaged
void SaveRestore::OpenStream(const unsigned char* buffer, unsigned int length) {
  if (sections.empty()) DefineSections(kBiosAndBmc);
  const bool isValidated = buffer == streamBuffer.data() && length == streamBuffer.size();
  if (isValidated && saved && savedName == kStreamName) return;
  saved.reset();
  saved = std::make_unique<Stream::StreamConfiguration>(Scf::Bytes(buffer, length));
  savedName = kStreamName;
}

/// Opens the stream for one step of the restore. False when it has no block `guid` for `target`.
bool SaveRestore::OpenBlock(const unsigned char* buffer, unsigned int length, const EFI_GUID& guid,
                            const char* target) {
  try {
    OpenStream(buffer, length);
  } catch (const Scf::Damaged&) {
    return false;
  }
  const auto* opened = dynamic_cast<const Stream::StreamConfiguration*>(saved.get());
  const std::string* recorded = opened == nullptr ? nullptr : opened->TargetOf(guid);
  return recorded != nullptr && *recorded == target;
}

int SaveRestore::RestoreBIOSConfigurationFromStream(const unsigned char* buffer,
                                                    unsigned int length) {
  if (!OpenBlock(buffer, length, kBiosStreamBlock.guid, kBiosStreamBlock.target)) return kRefused;
  return Outcome([&] { QueueBiosSettings(kStreamName); });
}

int SaveRestore::RestoreBootOrderFromStream(const unsigned char* buffer, unsigned int length) {
  if (!OpenBlock(buffer, length, kBootOrderStreamBlock.guid, kBootOrderStreamBlock.target)) {
    return kRefused;
  }
  return Outcome([&] { RestoreBootOrdersAndSend(kStreamName); });
}

int SaveRestore::RestoreFWConfigurationFromStream(const unsigned char* buffer, unsigned int length,
                                                  EFI_GUID guid, const char* target) {
  const auto* block = std::ranges::find(kBmcStreamBlocks, guid, &StreamBlock::guid);
  if (block == kBmcStreamBlocks.end() || !OpenBlock(buffer, length, guid, target)) return kRefused;
  // The LAN block comes last, but its fail-over decides what may be set before it.
  const FileValue failOver = saved->Find("LANCHANNELS", "LANFailOver");
  if (StringToUpper(failOver.text) == Expansion::kEnabled) lanFailOver = true;
  return Outcome([&] {
    for (const sectionData& section : sections) {
      const bool isOfBlock =
          std::ranges::find(block->sections, section.name) != block->sections.end();
      if (isOfBlock) RestoreSection(section, kStreamName);
    }
  });
}

}  // namespace SDK
