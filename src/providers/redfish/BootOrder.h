#pragma once

#include <string>
#include <vector>

#include "providers/redfish/Service.h"
#include "query/QueryProvider.h"

namespace Redfish {

inline constexpr const char* kBootOrderPath = "/BIOS/BootOrder";

/// One place of the boot order.
struct BootEntry {
  std::string reference;  ///< by which the order names it, for example "Boot0003"
  std::string name;       ///< for people; no two of an order are alike
};

/// The boot order of the system; empty when it has none.
/// \throws ResultStatus  as Service::Get.
[[nodiscard]] std::vector<BootEntry> ReadBootOrder(Service& service);

/// The order after the next boot: what waits in the system's settings object, else `present`.
/// \throws ResultStatus  as Service::Get.
[[nodiscard]] std::vector<BootEntry> ReadNextBootOrder(Service& service,
                                                       const std::vector<BootEntry>& present);

/// The path of a position, counted from 0.
[[nodiscard]] std::string PathOfPosition(std::size_t index);

/// The names of `entries` made unique by the references.
void MakeNamesUnique(std::vector<BootEntry>& entries);

/// `order` with the writes of `settings` (path of a position to name) done.
/// \throws ResultStatus  ValueRefused: there is no such entry, or it would stand twice.
[[nodiscard]] std::vector<BootEntry> Reordered(const std::vector<BootEntry>& order,
                                               const SDK::SettingMap& settings);

/// What is sent of an order: the property "Boot" of a system.
[[nodiscard]] json BootProperty(const std::vector<BootEntry>& order);

/// Reads back what has become of an order that was sent with this answer.
/// \return what there is to say of it. \throws ResultStatus  as Service::Get.
[[nodiscard]] std::vector<SDK::WriteNote> NotesOnBootOrder(Service& service,
                                                           const std::vector<BootEntry>& order,
                                                           const HttpAnswer& answer);

/// Sends the order to the system, or to its settings object when it has one, and reads it back.
/// \return what there is to say of it.
/// \throws ResultStatus  as Service::Get.
[[nodiscard]] std::vector<SDK::WriteNote> WriteBootOrder(Service& service,
                                                         const std::vector<BootEntry>& order);

}  // namespace Redfish
