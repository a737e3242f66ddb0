#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "providers/redfish/Dependencies.h"
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
  /// Its name, and below an attribute that is an object the names that lead to the value.
  std::vector<std::string> members;
  ValueType type = ValueType::Text;
  Query::Limits limits = {};  ///< what the registry says of it by itself

  /// The names with "/" between them.
  [[nodiscard]] std::string Name() const;
};

struct SetupTree {
  NodeMap nodes;                                ///< kSetupRoot and all below it
  std::map<std::string, Attribute> attributes;  ///< by the path of their setting
  Dependencies dependencies;
};

/// The tree of `attributes` (the object of names and values). `registry` is an attribute registry,
/// or null: then all settings lie in one menu under their names.
///
/// Left out are attributes that the registry hides (or a menu around them), has as write-only or as
/// passwords, those whose names say that they hold a secret, and values that are neither text,
/// number nor true or false; an object is a menu of its members. What is wrong with a registry
/// costs no more than the text or place of the attribute concerned.
///
/// The remark of a setting says what holds for it under the present values. Its node has only those
/// limits that hold under all values.
[[nodiscard]] SetupTree BuildSetupTree(const nlohmann::json& attributes,
                                       const nlohmann::json& registry);

/// The attributes that a registry describes, each with its current or default value, or the lowest
/// it takes: a server of its kind as it leaves the factory.
[[nodiscard]] nlohmann::json AttributesOfRegistry(const nlohmann::json& registry);

/// `text` as the JSON value of `attribute`; none when it is no text of the attribute's type. True
/// and false may be spelled 1 and 0.
[[nodiscard]] std::optional<nlohmann::json> ToJson(const Attribute& attribute,
                                                   const std::string& text);

/// `text` as one component of a path: blanks and control characters collapsed, "/" as "%2F".
[[nodiscard]] std::string Label(std::string_view text);

}  // namespace Redfish
