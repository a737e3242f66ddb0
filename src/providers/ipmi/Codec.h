#pragma once

#include <optional>
#include <string>

#include "providers/ipmi/FieldTable.h"
#include "query/Limits.h"

namespace Ipmi {

/// The text of `field` in the data of its page; nothing when the bytes are none that the field has
/// a text for.
[[nodiscard]] std::optional<std::string> Decode(const FieldRow& field, const Bytes& page);

/// Puts `text` into the bytes of `field`. The words of a field are taken in any case.
/// \return why the text does not fit, a part of a sentence; empty when it does. `page` is unchanged
/// when it does not.
[[nodiscard]] std::string Encode(const FieldRow& field, const std::string& text, Bytes& page);

/// `text` as the field reads once it has been written; `text` itself when it does not fit.
[[nodiscard]] std::string Canonical(const FieldRow& field, const std::string& text);

/// What the field takes, for whoever checks a value before it is written.
[[nodiscard]] Query::Limits LimitsOf(const FieldRow& field);

/// True when an empty text is a value of its own, and not just none.
[[nodiscard]] bool MayBeEmpty(const FieldRow& field);

}  // namespace Ipmi
