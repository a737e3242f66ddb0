#pragma once

#include <cstdint>

/// A GUID as UEFI lays it out (UEFI 2.10, 2.3.1 "Data Types"): the first three fields are numbers,
/// the last eight bytes stand as they are. 965F6C4E-924B-4C8B-8082-CDDE7458026D is
/// {0x965F6C4E, 0x924B, 0x4C8B, {0x80, 0x82, 0xCD, 0xDE, 0x74, 0x58, 0x02, 0x6D}}.
struct EFI_GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  bool operator==(const EFI_GUID&) const = default;
};
