#include "providers/host/DmiFacts.h"

#include <algorithm>
#include <array>

#include "providers/host/KernelFile.h"
#include "providers/host/Names.h"

namespace Host {
namespace {

struct DmiFile {
  const char* file;
  const char* path;
};
constexpr auto kFacts = std::to_array<DmiFile>({
    {"bios_version", "/SMBIOS/Type0/BIOSVersion"},
    {"board_name", "/BIOS/PlatformID"},
});

struct Family {
  std::string_view word;
  const char* platform;
};
constexpr auto kFamilies = std::to_array<Family>({
    {"TARVEN", "TARVEN_PLATFORM"},
    {"QUILMOR", "QUILMOR_PLATFORM"},
    {"HEMLIT", "HEMLIT_PLATFORM"},
    {"DORRIK", "DORRIK_PLATFORM"},
    {"PALVERN", "PALVERN_PLATFORM"},
    {"OSKENT", "OSKENT_PLATFORM"},
    {"VEXHAM", "VEXHAM_PLATFORM"},
    {"CALDRA", "CALDRA_PLATFORM"},
    {"MIRKET", "MIRKET_PLATFORM"},
    {"BRISKEL", "BRISKEL_PLATFORM"},
    {"NARDUN", "NARDUN_PLATFORM"},
});

}  // namespace

void AddDmiFacts(const std::filesystem::path& folder, NodeMap& nodes) {
  for (const DmiFile& fact : kFacts) {
    std::string text = CleanName(TextOrNothing(folder / fact.file));
    if (!text.empty()) nodes[fact.path].values = {std::move(text)};
  }
}

std::string PlatformOf(std::string_view product) {
  const auto* family = std::ranges::find_if(kFamilies, [&](const Family& candidate) {
    return product.find(candidate.word) != std::string_view::npos;
  });
  return family == kFamilies.end() ? "" : family->platform;
}

std::string PlatformFrom(const std::filesystem::path& folder) {
  return PlatformOf(TextOrNothing(folder / "product_name"));
}

}  // namespace Host
