#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

/// What a driver says of how a setting depends on another one of its settings, for example
/// "[ReadOnlyIf:SecureBoot=Enabled]" or "Off[ForceIfNot:Mode=UEFI]".
struct Term {
  enum class Effect { ReadOnly, Suppress, Force };
  Effect effect = Effect::ReadOnly;
  bool isNegated = false;  ///< it holds where the other does not have the value
  std::string attribute;   ///< the other's own name
  std::string value;
  std::string forced;  ///< what the setting then is, of a Force
  std::string text;    ///< as the driver has it
};

/// The value of an attribute by its own name; nothing where the driver has none of that name.
using ValueOf = std::function<std::optional<std::string>(const std::string& attribute)>;

/// The terms in `text`. What is no term as it should be is added to `unread`.
[[nodiscard]] std::vector<Term> TermsIn(std::string_view text, std::string& unread);

/// Whether the term holds; nothing where it is about an attribute that is not there.
[[nodiscard]] std::optional<bool> Holds(const Term& term, const ValueOf& valueOf);

/// Why the setting with this term does not take `value` while the term holds; empty when it does.
[[nodiscard]] std::string Objection(const Term& term, const std::string& value);

}  // namespace Host
