#pragma once

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "query/Limits.h"

namespace Redfish {

/// The value that an attribute has, or will have; null for one that the server lacks.
using ValueOf = std::function<nlohmann::json(const std::string& attribute)>;

/// What a setting is and takes while the others have certain values.
struct Effect {
  std::string lock;      ///< why it cannot be changed, "read-only while …"; empty when it can be
  bool isGrey = false;   ///< the setup shows it greyed out; whether it can be changed is not said
  Query::Limits limits;  ///< what it takes then
  std::string because;   ///< " while …" where others have changed that
};

/// The dependencies of a registry: what one attribute has to do with the values of others. Terms
/// that make no sense are passed over, with a note.
class Dependencies {
 public:
  Dependencies() = default;
  /// `registry` is an attribute registry, or null. `names` is how people know an attribute.
  Dependencies(const nlohmann::json& registry, std::map<std::string, std::string> names);

  /// The limits of `attribute` less those that depend on others: what is refused by them is refused
  /// whatever the others are. `own` is what the registry says of the attribute by itself.
  [[nodiscard]] Query::Limits Fixed(const std::string& attribute, Query::Limits own) const;

  /// What holds for `attribute` while the others have the values that `valueOf` tells; of two rules
  /// for the same property the later one counts.
  [[nodiscard]] Effect On(const std::string& attribute, const Query::Limits& own,
                          const ValueOf& valueOf) const;

 private:
  using Rules = std::vector<nlohmann::json>;
  [[nodiscard]] const nlohmann::json& Entry(const std::string& attribute) const;
  [[nodiscard]] const Rules& RulesFor(const std::string& attribute) const;
  [[nodiscard]] bool IsMet(const nlohmann::json& term, const ValueOf& valueOf) const;
  [[nodiscard]] bool AreMet(const nlohmann::json& terms, const ValueOf& valueOf) const;
  [[nodiscard]] std::string Words(const nlohmann::json& terms) const;

  nlohmann::json entries_ = nlohmann::json::object();  ///< by attribute, of those in a term
  std::set<std::string> grey_;  ///< those that the registry by itself has greyed out
  std::map<std::string, std::string> names_;
  std::map<std::string, Rules> rules_;  ///< by the attribute that they are for
};

}  // namespace Redfish
