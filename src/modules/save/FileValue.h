#pragma once

#include <string>

#include "ini/IniPrimitives.h"

namespace SDK {

/// One key as a restore reads it from the file.
struct FileValue {
  int status = INI_CANNOT_READ;  ///< of GetRequiredProfileString
  std::string text;              ///< the value, cut to what the reader hands out
  std::string whole;             ///< the value as it stands in the file

  [[nodiscard]] bool IsRead() const { return status == INI_READ; }
  /// The file can be read but has no such section or key.
  [[nodiscard]] bool IsAbsent() const { return status == INI_NO_SECTION || status == INI_NO_KEY; }
  /// Nothing, or the single tab that some readers leave of an empty value.
  [[nodiscard]] bool IsEmpty() const { return text.empty() || text == "\t"; }
  [[nodiscard]] bool IsCut() const { return text != whole; }
};

}  // namespace SDK
