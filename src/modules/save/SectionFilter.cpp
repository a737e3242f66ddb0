// Which top-level BIOS menus are saved and restored: those of the list below.
#include <array>
#include <string_view>

#include "common/Platform.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

/// On which servers a menu of the list counts.
enum When {
  Any,
  AnyWithoutIch,  ///< not below a menu named ICH
  OnR7740Hca,     ///< the board
  NotOnR7740Hca,
  OnLqeBoards,  ///< the boards R8810LQE and T8810LQE
  OnCaldra,     ///< the platform
};

struct FilterRow {
  const char* menu;  ///< in upper case
  When when;
};

// Some menus stand twice. The list is kept as the boards' lists were put together; the second
// "USB CONFIGURATION" matters, it counts below ICH as well.
constexpr auto kFilterRows = std::to_array<FilterRow>({
    // menu name                                       when
    {"MAIN", Any},
    {"PROCESSOR CONFIGURATION", Any},
    {"MEMORY CONFIGURATION", Any},
    {"MEMORY RAS AND PERFORMANCE CONFIGURATION", Any},
    {"MASS STORAGE CONTROLLER CONFIGURATION", Any},
    {"PCI CONFIGURATION", Any},
    {"NIC CONFIGURATION", Any},
    {"SERIAL PORT CONFIGURATION", Any},
    {"USB CONFIGURATION", AnyWithoutIch},
    {"SYSTEM ACOUSTIC AND PERFORMANCE CONFIGURATION", NotOnR7740Hca},
    {"SECURITY", Any},
    {"SERVER MANAGEMENT", Any},
    {"CONSOLE REDIRECTION", Any},
    {"BOOT OPTIONS", Any},
    {"ADVANCED BOOT OPTIONS", Any},
    {"TCG CONFIGURATION", Any},
    {"SECURE BOOT CONFIGURATION", Any},
    {"HARDWARE MONITOR", OnR7740Hca},
    {"PCI SUBSYSTEM SETTINGS", OnLqeBoards},
    {"POWER & PERFORMANCE", OnCaldra},
    {"POWER MANAGEMENT CONTROL", OnLqeBoards},
    {"CPU 0 - C STATE CONTROL", OnLqeBoards},
    {"CUSTOM P-STATE TABLE", OnLqeBoards},
    {"NETWORK CONTROLLERS", OnLqeBoards},
    {"WHEA SETTINGS", OnLqeBoards},
    {"MSQ IIO CONFIGURATION", OnLqeBoards},
    {"MSQ SOCKET 0 ITEMS", OnLqeBoards},
    {"DMI PORT", OnLqeBoards},
    {"PCIE PORT 2", OnLqeBoards},
    {"PCIE PORT 3", OnLqeBoards},
    {"PCIE PORT 4", OnLqeBoards},
    {"PCIE PORT 6", OnLqeBoards},
    {"PCIE PORT 8", OnLqeBoards},
    {"PCIE PORT 10", OnLqeBoards},
    {"IOAT CONFIGURATION", OnLqeBoards},
    {"SCK0 IOAT CONFIG", OnLqeBoards},
    {"REFERENCE CODE COMMON", OnLqeBoards},
    {"MEMORY ADDRESS MAP CONFIGURATION", OnLqeBoards},
    {"MEMORY THERMAL", OnLqeBoards},
    {"MEMORY POWER SAVING ADVANCED OPTIONS", OnLqeBoards},
    {"EXTREME MEMORY PROFILE", OnLqeBoards},
    {"PAGE POLICY", OnLqeBoards},
    {"HW VALIDATION TEST ONLY", OnLqeBoards},
    {"QPI CONFIGURATION", OnLqeBoards},
    {"SYSTEM AGENT (SA) CONFIGURATION", OnLqeBoards},
    {"PCH-IO CONFIGURATION", OnLqeBoards},
    {"PCI EXPRESS CONFIGURATION", OnLqeBoards},
    {"PCI EXPRESS ROOT PORT 1", OnLqeBoards},
    {"PCI EXPRESS ROOT PORT 5", OnLqeBoards},
    {"PCI EXPRESS ROOT PORT 6", OnLqeBoards},
    {"PCI EXPRESS ROOT PORT 7", OnLqeBoards},
    {"PCI EXPRESS ROOT PORT 8", OnLqeBoards},
    {"MASS STORAGE CONTROLLER CONFIGURATION", OnLqeBoards},
    {"SOFTWARE FEATURE CONTROLLER CONFIGURATION", OnLqeBoards},
    {"SOFTWARE FEATURE MASK CONFIGURATION", OnLqeBoards},
    {"USB CONFIGURATION", OnLqeBoards},
    {"TIRELLA CONFIGURATION", OnLqeBoards},
    {"EVA (RHS) CONFIGURATION OPTIONS", OnLqeBoards},
    {"EVA (RHS) CLOCK GATING CONFIGURATION OPTIONS", OnLqeBoards},
    {"PLATFORM THERMAL CONFIGURATION", OnLqeBoards},
    {"CPU THERMAL CONFIGURATION", OnLqeBoards},
    {"PLATFORM THERMAL CONFIGURATION", OnLqeBoards},
    {"SERIAL PORT CONSOLE REDIRECTION", OnLqeBoards},
    {"CONSOLE REDIRECTION SETTINGS", OnLqeBoards},
    {"ACPI SETTINGS", OnLqeBoards},
    {"FW DEBUG CONFIGURATION", OnLqeBoards},
    {"HALVERMOOR GENERAL CONFIGURATION", OnLqeBoards},
    {"NM CONFIGURATION", OnLqeBoards},
    {"DCMI CONFIGURATION", OnLqeBoards},
    {"SERVER ME CONFIGURATION", OnLqeBoards},
    {"BOOT OPTIONS", OnLqeBoards},
});
static_assert(kFilterRows.size() == 71);

/// The server as the list sees it.
struct Server {
  std::string_view board;
  std::string_view platform;
};

bool Holds(When when, const Server& server, bool belowIch) {
  switch (when) {
    case Any:
      return true;
    case AnyWithoutIch:
      return !belowIch;
    case OnR7740Hca:
      return server.board == "R7740HCA";
    case NotOnR7740Hca:
      return server.board != "R7740HCA";
    case OnLqeBoards:
      return server.board == "R8810LQE" || server.board == "T8810LQE";
    case OnCaldra:
      return server.platform == "CALDRA_PLATFORM";
  }
  return false;
}

}  // namespace

bool SaveRestore::IsNeedToSaveRestore(std::string path) {
  std::vector<std::string> menus = Common::XTokenizer(path, '/').TokenList();
  for (std::string& menu : menus) menu = StringToUpper(menu);
  const auto matches = [&](const char* name) { return GetStringPlaceInList(menus, name) >= 0; };

  const std::string& platform = Platform::PlatformImpl::CreateInstance()->PlatformName();
  if (matches("ADVANCED") && ExecuteGetQuery("/BIOS/UEFI231Aware") == "True") return true;

  const Server server{platformId, platform};
  const bool belowIch = matches("ICH");
  for (const FilterRow& row : kFilterRows) {
    if (Holds(row.when, server, belowIch) && matches(row.menu)) return true;
  }
  return false;
}

}  // namespace SDK
