#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "modules/save/RowSink.h"
#include "modules/save/StreamBlocks.h"
#include "modules/stream/ScfContainer.h"
#include "modules/stream/ScfPayload.h"

/// Configurations as stream files, section by section. Files of text can become ones and come back:
/// a stream holds all that the text form does, but for its line order within the BMC part, which
/// the catalogue gives.
namespace SDK::Stream {

/// Takes the rows of the walks.
class SectionSink final : public RowSink {
 public:
  using SectionObserver = std::function<void(const std::string& name)>;
  explicit SectionSink(SectionObserver observer = {}) : observer_(std::move(observer)) {}

  void BeginSection(const std::string& name) override;
  void Write(const Row& row) override { sections_.back().rows.push_back(row); }
  [[nodiscard]] const std::vector<Scf::Section>& Sections() const { return sections_; }

 private:
  std::vector<Scf::Section> sections_;
  SectionObserver observer_;
};

/// The block that a section (a name with brackets) belongs to, or null.
[[nodiscard]] const StreamBlock* BlockOf(const std::string& section);

/// The bytes of a stream file with the blocks of `mode` (0 = BIOS, 1 = BMC, 2 = both, and [SYSTEM]
/// always). Sections of no block, or of a block that `mode` does not have, are left out.
/// \throws Scf::Damaged  over 64 MiB.
[[nodiscard]] std::vector<unsigned char> Encode(std::span<const Scf::Section> sections, int mode);

/// A block of a stream file as it was read.
struct DecodedBlock {
  EFI_GUID guid;
  Scf::Payload payload;
};

/// The blocks of a stream file that this version knows. \throws Scf::Damaged
[[nodiscard]] std::vector<DecodedBlock> Decode(Scf::Bytes bytes,
                                               Scf::Detail detail = Scf::Detail::Everything);

/// The sections of all blocks in the order of the text form.
[[nodiscard]] std::vector<Scf::Section> InTextOrder(std::vector<DecodedBlock> blocks);

/// The bytes of the file at `path`. \throws Scf::Damaged  it cannot be read, is not a regular file,
/// or larger than 64 MiB.
[[nodiscard]] std::vector<unsigned char> ReadFile(const std::string& path);

}  // namespace SDK::Stream
