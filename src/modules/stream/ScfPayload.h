#pragma once

#include <string>
#include <vector>

#include "modules/save/RowSink.h"
#include "modules/stream/ScfContainer.h"

namespace Scf {

/// A section of the text form with its rows.
struct Section {
  std::string name;  ///< with its brackets
  std::vector<SDK::Row> rows;
};

/// What a block holds: a CBOR map (RFC 8949) with the keys
///
/// - "target": for whom the block is, a text;
/// - "comments": the distinct comments of its rows, a list of texts;
/// - "sections": a list of maps with the keys "section" (the name with its brackets), "path" (the
///   query path below which those of its rows lie; left out where it is "/A/B" for "[A::B]") and
///   "rows": a list of [key, value, number of the comment, query path]. The query path of a row is
///   left out where it is the section's, "/" and the key. One that does not begin with "/" stands
///   below the section's; an empty one is none.
///
/// A text that is not UTF-8 is a byte string. A reader passes over keys and further members of a
/// row that it does not know.
struct Payload {
  std::string target;
  std::vector<Section> sections;
};

[[nodiscard]] std::vector<unsigned char> EncodePayload(const Payload& payload);

/// What to read of the rows: all of it, or only what a restore looks up.
enum class Detail { Everything, KeysAndValues };

/// \throws Damaged  it is no such map.
[[nodiscard]] Payload DecodePayload(Bytes bytes, Detail detail = Detail::Everything);

}  // namespace Scf
