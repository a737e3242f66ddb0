#include "modules/stream/StreamFile.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/WholeFile.h"
#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"

namespace SDK::Stream {
namespace {

constexpr std::string_view kMenuSections = "[BIOS::";

bool Holds(const StreamBlock& block, const std::string& section) {
  return std::ranges::any_of(block.sections, [&](const char* pattern) {
    return Expansion::IsInstanceOf(section, pattern);
  });
}

/// All blocks that `mode` has, in the order of a file.
std::vector<const StreamBlock*> BlocksOf(int mode) {
  std::vector<const StreamBlock*> blocks{&kSystemStreamBlock};
  if (mode != 1) {
    blocks.push_back(&kBiosStreamBlock);
    blocks.push_back(&kBootOrderStreamBlock);
  }
  if (mode != 0) {
    for (const StreamBlock& block : kBmcStreamBlocks) blocks.push_back(&block);
  }
  return blocks;
}

constexpr int kAllBlocks = 2;

/// Where a section stands in the text form: the catalogue's first, then the menus, then the boot
/// orders.
std::size_t TextPlace(const std::string& section) {
  const auto table = CatalogueTable();
  const auto known = std::ranges::find_if(table, [&](const CatalogueSection& candidate) {
    return Expansion::IsInstanceOf(section, candidate.name);
  });
  const auto place = static_cast<std::size_t>(std::distance(table.begin(), known));
  return BlockOf(section) == &kBootOrderStreamBlock ? place + 1 : place;
}

}  // namespace

void SectionSink::BeginSection(const std::string& name) {
  if (observer_) observer_(name);
  sections_.push_back({name, {}});
}

const StreamBlock* BlockOf(const std::string& section) {
  for (const StreamBlock* block : BlocksOf(kAllBlocks)) {
    if (Holds(*block, section)) return block;
  }
  return section.starts_with(kMenuSections) ? &kBiosStreamBlock : nullptr;
}

std::vector<unsigned char> Encode(std::span<const Scf::Section> sections, int mode) {
  std::vector<std::vector<unsigned char>> payloads;
  std::vector<Scf::Block> blocks;
  for (const StreamBlock* block : BlocksOf(mode)) {
    Scf::Payload payload{block->target, {}};
    std::ranges::copy_if(
        sections, std::back_inserter(payload.sections),
        [&](const Scf::Section& section) { return BlockOf(section.name) == block; });
    payloads.push_back(Scf::EncodePayload(payload));
    blocks.push_back({block->guid, {}});
  }
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    blocks[index].payload = payloads[index];
  }
  return Scf::Encode(blocks);
}

std::vector<DecodedBlock> Decode(Scf::Bytes bytes, Scf::Detail detail) {
  std::vector<DecodedBlock> decoded;
  const std::vector<const StreamBlock*> known = BlocksOf(kAllBlocks);
  for (const Scf::Block& block : Scf::Decode(bytes)) {
    const bool isKnown = std::ranges::any_of(
        known, [&](const StreamBlock* candidate) { return candidate->guid == block.guid; });
    if (isKnown) decoded.push_back({block.guid, Scf::DecodePayload(block.payload, detail)});
  }
  return decoded;
}

std::vector<Scf::Section> InTextOrder(std::vector<DecodedBlock> blocks) {
  std::vector<Scf::Section> sections;
  for (DecodedBlock& block : blocks) {
    std::ranges::move(block.payload.sections, std::back_inserter(sections));
  }
  std::ranges::stable_sort(sections, {},
                           [](const Scf::Section& section) { return TextPlace(section.name); });
  return sections;
}

std::vector<unsigned char> ReadFile(const std::string& path) {
  std::vector<char> bytes;
  const auto result = Common::ReadWholeFile(path.c_str(), Scf::kMaxBytes, bytes);
  using Status = Common::WholeFileResult::Status;
  if (result.status == Status::TooLarge) throw Scf::Damaged("it is larger than 64 MiB");
  if (result.status != Status::Ok) throw Scf::Damaged(result.reason);
  return {bytes.begin(), bytes.end()};
}

}  // namespace SDK::Stream
