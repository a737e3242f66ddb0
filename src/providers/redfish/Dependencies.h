#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Redfish {

/// The value that an attribute has, or will have; null for one that the server lacks.
using ValueOf = std::function<nlohmann::json(const std::string& attribute)>;

/// What one attribute has to do with the values of others, as the dependencies of a registry say.
struct Dependent {
  std::string
      property;  ///< of the attribute that changes: "ReadOnly", "GrayOut", "UpperBound", ...
  nlohmann::json value;   ///< that the property has then
  std::string condition;  ///< in words: "Boot Mode is Legacy"
};

/// The dependencies of a registry. Terms that make no sense are passed over.
class Dependencies {
 public:
  Dependencies() = default;
  /// `registry` is an attribute registry, or null.
  explicit Dependencies(const nlohmann::json& registry);

  /// What holds for `attribute` while the others have the values that `valueOf` tells; of two for
  /// the same property the later one counts.
  [[nodiscard]] std::vector<Dependent> Holding(const std::string& attribute,
                                               const ValueOf& valueOf) const;

 private:
  [[nodiscard]] const nlohmann::json& Entry(const std::string& attribute) const;
  [[nodiscard]] bool IsMet(const nlohmann::json& term, const ValueOf& valueOf) const;
  [[nodiscard]] bool AreMet(const nlohmann::json& terms, const ValueOf& valueOf) const;
  [[nodiscard]] std::string Words(const nlohmann::json& terms) const;

  nlohmann::json entries_ = nlohmann::json::object();  ///< by attribute
  std::vector<nlohmann::json> rules_;
};

}  // namespace Redfish
