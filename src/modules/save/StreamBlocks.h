#pragma once

#include <array>
#include <span>

#include "modules/save/EfiGuid.h"

namespace SDK {

/// One block of a stream file: what it is for, and the sections of the text form whose rows it
/// holds. The GUIDs and targets of the BMC blocks are known to the servers' own tools.
struct StreamBlock {
  const char* target;
  EFI_GUID guid;
  std::span<const char* const> sections;  ///< names of the catalogue
};

namespace StreamSections {
inline constexpr auto kSystem = std::to_array<const char*>({"[SYSTEM]"});
inline constexpr auto kBootOrders =
    std::to_array<const char*>({"[BootOrder::Hard Disk]", "[BIOS::BootOrder]"});
inline constexpr auto kSol = std::to_array<const char*>({"[CHANNEL::LAN_::SOL]"});
inline constexpr auto kPower = std::to_array<const char*>({"[POWER]"});
inline constexpr auto kPef = std::to_array<const char*>({"[PEF]", "[PEF::FILTERS]"});
inline constexpr auto kUser = std::to_array<const char*>({"[USERS]", "[USERS::USER_]"});
inline constexpr auto kLan = std::to_array<const char*>(
    {"[LANCHANNELS]", "[CHANNEL::LAN_]", "[EMAILCONFIG]", "[EMAILCONFIG::CHANNEL_::INFO]"});
}  // namespace StreamSections

/// The versions that a restore compares with the server's.
inline constexpr StreamBlock kSystemStreamBlock{
    "/SYSTEM",
    {0x2300F388, 0x9843, 0x41DE, {0xAF, 0xF3, 0xCF, 0xBC, 0xC9, 0x19, 0x12, 0xC5}},
    StreamSections::kSystem};

/// The BIOS setup menus: every section that begins with "[BIOS::" and is no boot order.
inline constexpr StreamBlock kBiosStreamBlock{
    "/BIOS", {0x7B1E744E, 0xD460, 0x48AC, {0xB0, 0x6E, 0x35, 0xC6, 0xFA, 0x9E, 0x60, 0x77}}, {}};

/// The hard-disk order and the boot order.
inline constexpr StreamBlock kBootOrderStreamBlock{
    "/BIOS/BootOrder",
    {0xCB3D5A82, 0xAE1B, 0x406B, {0x90, 0x67, 0xEB, 0x5E, 0xC7, 0x0C, 0x24, 0x3B}},
    StreamSections::kBootOrders};

/// The BMC's settings, in the order in which a restore takes them.
inline constexpr auto kBmcStreamBlocks = std::to_array<StreamBlock>({
    {"/BMC/SCF/SOL",
     {0x965F6C4E, 0x924B, 0x4C8B, {0x80, 0x82, 0xCD, 0xDE, 0x74, 0x58, 0x02, 0x6D}},
     StreamSections::kSol},
    {"/BMC/SCF/POWER",
     {0x52FC8F75, 0xB0BD, 0x4AD4, {0x91, 0xA5, 0xE6, 0x05, 0x6C, 0xC7, 0x73, 0x0C}},
     StreamSections::kPower},
    {"/BMC/SCF/PEF",
     {0x510EC03A, 0xB8BC, 0x4FB7, {0x9A, 0xB4, 0x50, 0x0B, 0x87, 0x99, 0xEB, 0x96}},
     StreamSections::kPef},
    {"/BMC/SCF/USER",
     {0x445D1BF7, 0x7FBC, 0x4A10, {0x9D, 0xC2, 0x7D, 0xFD, 0x0D, 0x53, 0x98, 0xDD}},
     StreamSections::kUser},
    {"/BMC/SCF/LAN",
     {0x9D1EB92B, 0xD32F, 0x4C95, {0x91, 0xAD, 0x8A, 0xF0, 0xDF, 0xB3, 0xD0, 0xDE}},
     StreamSections::kLan},
});

}  // namespace SDK
