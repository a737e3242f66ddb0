#include "plan/BootEntries.h"

#include <algorithm>

#include "common/ErrorManager.h"
#include "query/XDirector.h"

namespace Planning {
namespace {

bool ShowsBootOrder() {
  NodeMap nodes;
  try {
    SDK::XDirectorImpl::CreateInstance()->ProcessXQuery("/BIOS/BootOrder", nodes);
  } catch (const ResultStatus& failure) {
    return failure.getval() != ErrorManager::NoSuchNode;  // what it has not told may be there
  }
  return true;
}

}  // namespace

std::vector<Finding> CheckBootEntries(const Request& request) {
  const bool hasEntries = std::ranges::any_of(
      request.wanted.Settings(),
      [](const Setting& setting) { return setting.section == "BIOS::BootOrder"; });
  if (request.mode == ModeBmc || request.skipBootOrder || !hasEntries || ShowsBootOrder()) {
    return {};
  }
  return {{Finding::Weight::Error, 0,
           "the file has boot entries and this server shows none: it was booted without UEFI, or "
           "efivarfs is not mounted; --skip-boot-order restores the rest"}};
}

}  // namespace Planning
