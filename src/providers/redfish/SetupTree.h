#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "query/XNode.h"

/// The BIOS attributes of a server as setup menus and settings.
///
/// A Redfish service has one flat list of attributes ("Attributes" of its Bios resource) and,
/// mostly, a registry that says of each attribute what it is, where it lies in the setup menus and
/// what it takes. These functions join the two; they talk to nobody.
namespace Redfish {

/// The menu that all others lie in.
inline constexpr const char* kSetupRoot = "/BIOS/Advanced";

/// The JSON type of an attribute's value.
enum class ValueType { Text, Integer, Real, Boolean };

/// The attribute behind a setting.
struct Attribute {
  std::string name;
  ValueType type = ValueType::Text;
  bool isReadOnly = false;
  /// Inclusive bounds of a number, or of the length of a text.
  std::optional<std::pair<std::int64_t, std::int64_t>> bounds;
};

struct SetupTree {
  NodeMap nodes;                                ///< kSetupRoot and all below it
  std::map<std::string, Attribute> attributes;  ///< by the path of their setting
};

/// The tree of `attributes` (the object of names and values). `registry` is an attribute registry,
/// or null: then all settings lie in one menu under their names.
///
/// Left out are attributes that the registry hides (or a menu around them), has as write-only or as
/// passwords, those whose names say that they hold a secret, and values that are neither text,
/// number nor true or false. What is wrong with a registry costs no more than the text or place of
/// the attribute concerned.
[[nodiscard]] SetupTree BuildSetupTree(const nlohmann::json& attributes,
                                       const nlohmann::json& registry);

/// The attributes that a registry describes, each with its current or default value, or the lowest
/// it takes: a server of its kind as it leaves the factory.
[[nodiscard]] nlohmann::json AttributesOfRegistry(const nlohmann::json& registry);

/// `text` as the JSON value of `attribute`; none when it is no text of the attribute's type.
[[nodiscard]] std::optional<nlohmann::json> ToJson(const Attribute& attribute,
                                                   const std::string& text);

/// What a text must be to be a value of `attribute`, as the reason of a refusal.
[[nodiscard]] const char* ExpectationOf(const Attribute& attribute);

/// A value of an attribute as text; empty for null.
[[nodiscard]] std::string ToText(const nlohmann::json& value);

/// `text` as one component of a path: blanks and control characters collapsed, "/" as "%2F".
[[nodiscard]] std::string Label(std::string_view text);

}  // namespace Redfish
