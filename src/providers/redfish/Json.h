#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

/// Looking into JSON that others wrote: what is missing or of another kind reads as null or empty.
namespace Redfish {

/// The member of `object` at a chain of names; null where there is none.
[[nodiscard]] const nlohmann::json& At(const nlohmann::json& object,
                                       std::initializer_list<const char*> names);

/// The text there; empty when it is no text.
[[nodiscard]] std::string TextAt(const nlohmann::json& object,
                                 std::initializer_list<const char*> names);

/// A value that is no object or list as text; empty for those and for null.
[[nodiscard]] std::string ToText(const nlohmann::json& value);

/// `text` with runs of blanks and control characters as one blank, and none at its ends.
[[nodiscard]] std::string OneLine(std::string_view text);

/// True when `text` can be a JSON text.
[[nodiscard]] bool IsUtf8(const std::string& text);

}  // namespace Redfish
