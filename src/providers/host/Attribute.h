#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "providers/host/Modifiers.h"
#include "query/XNode.h"

namespace Host {

/// One setting of a firmware-attributes driver: a folder of files.
struct Attribute {
  std::filesystem::path folder;
  char separator = '\0';    ///< between the elements of an ordered list, as the driver shows it
  std::vector<Term> terms;  ///< on which other settings it depends
  std::string unread;       ///< what its driver says of that and is not understood
  _XNode node;

  [[nodiscard]] std::filesystem::path ValueFile() const { return folder / "current_value"; }
  [[nodiscard]] std::string OwnName() const { return folder.filename().string(); }
  [[nodiscard]] const std::string& Value() const;
};

/// Reads an attribute. One whose value the kernel cannot tell, or that is no plain text, has its
/// node's flag set and no value; an ordered list has ";" between its elements, whatever its driver
/// puts there. \throws ResultStatus  NotPermitted.
[[nodiscard]] Attribute ReadAttribute(const std::filesystem::path& folder);

/// Why the attribute does not take `value`, as far as the driver says; empty when it does.
[[nodiscard]] std::string Objection(const Attribute& attribute, const std::string& value);

/// True when two texts are the same value of the attribute: an ordered list is one by its elements.
[[nodiscard]] bool SameValue(const Attribute& attribute, const std::string& one,
                             const std::string& other);

/// `value` as the driver takes it.
[[nodiscard]] std::string Written(const Attribute& attribute, const std::string& value);

}  // namespace Host
