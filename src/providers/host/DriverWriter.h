#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "providers/host/Attribute.h"
#include "providers/host/KernelFile.h"
#include "query/QueryProvider.h"

namespace Host {

/// A write of one setting.
struct Change {
  std::string path;
  const Attribute* attribute;
  std::string value;
};

/// Takes out of `changes` those that cannot take effect, by what the driver says of the settings
/// they depend on, with a note for each, and puts the others into an order in which they can: a
/// setting that this batch unlocks after what unlocks it, one that it locks before. `valueOf` knows
/// the present values.
void ArrangeByTerms(std::vector<Change>& changes, const ValueOf& valueOf,
                    std::vector<SDK::WriteNote>& notes);

/// Writes settings of one driver in their order, tries what was refused once more after the rest,
/// and reads each back. Of those that are not simply done there is a note in `notes`. A driver with
/// an administrator password (`password` is null for one without) is given it for the time of its
/// writes, and one that can save many writes in one go does so with more than 40.
/// \throws ResultStatus  PasswordRefused: the first write was refused in a way that can mean a
/// wrong
///                       password; no other was tried, since firmware counts wrong passwords.
///                       WriteFailed: the kernel does not take or forget the password.
void WriteToDriver(const std::filesystem::path& driver, const std::vector<Change>& changes,
                   const std::string* password, const KernelWriter& write,
                   std::vector<SDK::WriteNote>& notes);

}  // namespace Host
