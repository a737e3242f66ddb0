#pragma once

#include <string_view>

namespace SDK {

/// The warning that every text configuration file begins with: comment lines, the last one followed
/// by an empty line. Files in the field carry it as it is, wording and trailing blanks included.
inline constexpr std::string_view kFileHeader =
    "; Warning!!! Warning!!! Warning!!! \n"
    "; ---------------------------------\n"
    "; This file has been generated in a system with the BIOS/Firmware \n"
    "; specifications as mentioned under [SYSTEM] section. Please do not\n"
    "; modify or edit any information in this section. Attempt to restore \n"
    "; these information in incompatible systems could cause serious \n"
    "; problems to the systems and could lead the system non-functional. \n"
    "; Note: The file is best seen using wordpad.\n"
    "\n";
static_assert(kFileHeader.size() == 457);

}  // namespace SDK
