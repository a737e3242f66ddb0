#pragma once

#include <string>
#include <string_view>

#include "query/XNode.h"

/// What the save and the restore of the BIOS part have to agree on: how a setup tree of paths maps
/// to sections, keys and values.
namespace SDK::BiosTree {

/// The node at `path`. One that is absent reads as a setting without a value.
[[nodiscard]] const _XNode& NodeAt(const NodeMap& nodes, const std::string& path);

/// A setting without a value.
[[nodiscard]] const _XNode& AbsentNode();

/// The place of the node at `path` in `nodes`, or their end. The one behind `near` is tried first:
/// the settings of a menu mostly stand behind each other, and a search in a large tree is dear.
[[nodiscard]] NodeMap::const_iterator FindNear(const NodeMap& nodes, NodeMap::const_iterator near,
                                               const std::string& path);

/// The section of the menu at `menuPath`, without brackets: its components joined by "::".
[[nodiscard]] std::string SectionName(const std::string& menuPath);

/// The path of the setting `key` in `section`; the way back from `SectionName` and `KeyOf`.
[[nodiscard]] std::string PathOf(const std::string& section, const std::string& key);

/// The key of the setting at `path` in the menu at `parent`: what stands behind the parent's path.
/// A path outside its parent gives its last component.
/// Part of `path`.
[[nodiscard]] std::string_view KeyOf(std::string_view path, std::string_view parent);

/// The value that is saved for a setting: its first, or its second where the first is empty.
[[nodiscard]] const std::string& EffectiveValue(const _XNode& setting);

/// Makes `comment` the one that lists the options of a setting: ";Options: text=value: text=value".
void SetOptionComment(std::string& comment, const _XNode& setting);

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
