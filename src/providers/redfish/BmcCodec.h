#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "providers/redfish/BmcTable.h"
#include "query/Limits.h"

/// The values of the BMC's settings, as JSON and as text. `content` is the resource of a row.
namespace Redfish {

/// True when the resource has the property of the row, whether or not it tells its value.
[[nodiscard]] bool HasProperty(const BmcRow& row, const nlohmann::json& content);

/// The text of the row; nothing when the resource does not have or not tell it, or has a value
/// without a text.
[[nodiscard]] std::optional<std::string> TextOf(const BmcRow& row, const nlohmann::json& content);

/// Adds to `change`, a change of the resource, that the row gets this text. The words of a row are
/// taken in any case. \return why the text does not fit, a part of a sentence; empty when it does.
[[nodiscard]] std::string AddChange(const BmcRow& row, const std::string& text,
                                    const nlohmann::json& content, nlohmann::json& change);

/// `text` as the row reads once it has been written; `text` itself when it does not fit.
[[nodiscard]] std::string CanonicalText(const BmcRow& row, const std::string& text);

/// What the row takes, for whoever checks a value before it is written.
[[nodiscard]] Query::Limits LimitsOfRow(const BmcRow& row);

/// True for what a service shows in the place of a secret.
[[nodiscard]] bool IsMasked(const std::string& text);

/// True when an empty text is a value of its own, and not just none.
[[nodiscard]] bool TakesEmpty(const BmcRow& row);

/// What a row reads for which there is no subscription.
[[nodiscard]] std::string UnsetDestination(const BmcRow& row);

}  // namespace Redfish
