#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Texts of firmware as names that people read, and that the path space and a file can hold.
namespace Host {

/// True when `text` is UTF-8 without control characters.
[[nodiscard]] bool IsPlainText(std::string_view text);

/// `text` in one line: bytes that are no UTF-8 become "?", blanks and control characters one blank,
/// none at either end.
[[nodiscard]] std::string CleanName(std::string_view text);

/// Something with a display name, which others may share, and a name that is its own.
struct Named {
  std::string label;  ///< clean; may be empty
  std::string own;
};

/// What becomes of a label that several things share: they all get their own name behind it,
/// "Label (own)", or all but the one whose own name comes first.
enum class Sharing { AllAreTold, LowestKeepsLabel };

/// One name for each of `things`, no two alike: its label, or its own name when it has none.
[[nodiscard]] std::vector<std::string> UniqueNames(const std::vector<Named>& things,
                                                   Sharing sharing = Sharing::AllAreTold);

}  // namespace Host
