#pragma once

#include <string>
#include <string_view>

#include "query/XNode.h"

/// What the save and the restore of the BIOS part have to agree on: how a setup tree of paths maps
/// to sections, keys and values.
namespace SDK::BiosTree {

/// The node at `path`. One that is absent reads as a setting without a value.
[[nodiscard]] const _XNode& NodeAt(const NodeMap& nodes, const std::string& path);

/// The section of the menu at `menuPath`, without brackets: its components joined by "::".
[[nodiscard]] std::string SectionName(const std::string& menuPath);

/// The path of the setting `key` in `section`; the way back from `SectionName` and `KeyOf`.
[[nodiscard]] std::string PathOf(const std::string& section, const std::string& key);

/// The key of the setting at `path` in the menu at `parent`: what stands behind the parent's path.
/// A path outside its parent gives its last component.
[[nodiscard]] std::string KeyOf(const std::string& path, const std::string& parent);

/// The value that is saved for a setting: its first, or its second where the first is empty.
[[nodiscard]] std::string EffectiveValue(const _XNode& setting);

/// The comment that lists the options of a setting: ";Options: text=value: text=value".
[[nodiscard]] std::string OptionComment(const _XNode& setting);

/// The name that a comment or a remark ends with (`kAttributeRemark`); empty without one.
[[nodiscard]] std::string_view AttributeIn(std::string_view comment);

/// The name of a setting or a device without blanks and line ends around it, by which it is looked
/// up.
[[nodiscard]] std::string TrimmedName(std::string_view name);

/// True for the keys that are neither saved nor restored, whatever menu they stand in.
[[nodiscard]] bool IsPrivateKey(std::string_view key);

/// The first value of the node at `path`, or the empty text.
[[nodiscard]] std::string FirstValue(const NodeMap& nodes, const std::string& path);

}  // namespace SDK::BiosTree
