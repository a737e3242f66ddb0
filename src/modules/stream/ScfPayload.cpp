// Payloads are written as a tree and read as a stream of events: a stream needs no tree beside the
// rows, and its depth can be limited before the parser's own stack is.
#include "modules/stream/ScfPayload.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace Scf {
namespace {

using nlohmann::json;

constexpr const char* kTarget = "target";
constexpr const char* kComments = "comments";
constexpr const char* kSections = "sections";
constexpr const char* kSection = "section";
constexpr const char* kPath = "path";
constexpr const char* kRows = "rows";

// The members of a row.
constexpr std::size_t kRowKey = 0;
constexpr std::size_t kRowValue = 1;
constexpr std::size_t kRowComment = 2;
constexpr std::size_t kRowPath = 3;
constexpr std::size_t kFewestRowMembers = 3;

/// Deeper nesting than any payload has, in what a reader passes over.
constexpr std::size_t kDeepest = 16;

/// More sections, rows and comments together than any server has: a few bytes of a hostile payload
/// must not become many in memory.
constexpr std::size_t kMostItems = 2'000'000;

bool IsUtf8(const std::string& text) {
  try {
    static_cast<void>(json(text).dump());
    return true;
  } catch (const json::type_error&) {
    return false;
  }
}

json Text(const std::string& text) {
  const bool isAscii = std::ranges::all_of(text, [](char c) { return c >= 0; });
  if (isAscii || IsUtf8(text)) return text;
  return json::binary({text.begin(), text.end()});
}

std::string Joined(const std::string& base, const std::string& key) {
  return base + "/" + key;
}

/// The query path of the menu that a section of this name is made from: "[A::B]" is "/A/B".
std::string PathOfName(std::string_view name) {
  std::string path = "/";
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name.substr(at).starts_with("::")) {
      path += '/';
      ++at;
    } else if (name[at] != '[' && name[at] != ']') {
      path += name[at];
    }
  }
  return path;
}

/// The path above the last component.
std::string Above(const std::string& path) {
  return path.substr(0, std::min(path.rfind('/'), path.size()));
}

/// The longest path below which the query paths of all rows lie; empty when there is none.
std::string BasePath(const Section& section) {
  std::string base;
  for (const SDK::Row& row : section.rows) {
    if (row.path.empty()) continue;
    if (base.empty()) base = Above(row.path);
    while (!base.empty() && !row.path.starts_with(Joined(base, ""))) base = Above(base);
    if (base.empty()) break;
  }
  return base.empty() ? PathOfName(section.name) : base;
}

/// The path member of a row; nothing when it goes without saying.
std::optional<std::string> PathMember(const SDK::Row& row, const std::string& base) {
  if (row.path == Joined(base, row.key)) return std::nullopt;
  const std::string prefix = Joined(base, "");
  return row.path.starts_with(prefix) ? row.path.substr(prefix.size()) : row.path;
}

/// Gives each distinct comment a number.
class CommentNumbers {
 public:
  std::size_t Of(const std::string& comment) {
    const auto [place, isNew] = numbers_.try_emplace(comment, list_.size());
    if (isNew) list_.push_back(Text(comment));
    return place->second;
  }
  [[nodiscard]] json TakeList() { return std::move(list_); }

 private:
  std::unordered_map<std::string, std::size_t> numbers_;
  json list_ = json::array();
};

json Encoded(const Section& section, CommentNumbers& comments) {
  const std::string base = BasePath(section);
  json rows = json::array();
  for (const SDK::Row& row : section.rows) {
    json members = {Text(row.key), Text(row.value), comments.Of(row.comment)};
    if (const auto path = PathMember(row, base)) members.push_back(Text(*path));
    rows.push_back(std::move(members));
  }
  json encoded = {{kSection, Text(section.name)}, {kRows, std::move(rows)}};
  if (base != PathOfName(section.name)) encoded[kPath] = Text(base);
  return encoded;
}

/// Builds a payload from the events of the CBOR parser. A handler that returns false ends the
/// parse.
class PayloadReader : public json::json_sax_t {
 public:
  explicit PayloadReader(Detail detail) : detail_(detail) {}

  /// The payload, once all of it has been read. \throws Damaged
  Payload Take() {
    if (commentCount_ > comments_.size()) throw Damaged("a row has a comment that is not there");
    for (const Reference& reference : references_) Resolve(reference);
    return std::move(payload_);
  }

  bool start_object(std::size_t /*size*/) override { return Enter(true); }
  bool start_array(std::size_t size) override {
    if (!Enter(false)) return false;
    // What a list says of its length is only believed to a point.
    constexpr std::size_t kMostReserved = 1'000;
    if (Here() == Place::Rows) payload_.sections.back().rows.reserve(std::min(size, kMostReserved));
    return true;
  }
  bool end_object() override { return Leave(); }
  bool end_array() override { return Leave(); }

  bool key(string_t& name) override {
    key_ = name;
    return true;
  }

  bool string(string_t& text) override { return Take(text); }
  bool binary(binary_t& bytes) override {
    std::string text(bytes.begin(), bytes.end());
    return Take(text);
  }
  bool number_unsigned(number_unsigned_t number) override {
    const Value value = NextValue();
    if (value == Value::Ignored) return true;
    if (value != Value::CommentNumber || number >= std::numeric_limits<std::uint32_t>::max()) {
      return false;
    }
    reference_.comment = static_cast<std::size_t>(number);
    return true;
  }
  bool number_integer(number_integer_t /*number*/) override { return IsIgnored(); }
  bool number_float(number_float_t /*number*/, const string_t& /*text*/) override {
    return IsIgnored();
  }
  bool boolean(bool /*value*/) override { return IsIgnored(); }
  bool null() override { return IsIgnored(); }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const json::exception& /*error*/) override {
    return false;
  }

 private:
  /// What has been entered and not yet left.
  enum class Place { Payload, Comments, Sections, Section, Rows, Row, Ignored };
  /// What a value stands for.
  enum class Value {
    Target,
    CommentText,
    SectionName,
    SectionPath,
    Key,
    Text,
    CommentNumber,
    Path,
    Ignored,  ///< passed over
    None,     ///< no plain value may stand here
  };

  /// Where a row is and which comment and path it is to get: they may stand behind it.
  struct Reference {
    std::size_t section = 0;
    std::size_t row = 0;
    std::size_t comment = 0;
    bool hasPath = false;
  };

  [[nodiscard]] Place Here() const { return places_.back(); }

  bool Enter(bool isMap) {
    if (places_.empty()) {
      places_.push_back(Place::Payload);
      return isMap;
    }
    const Place place = Inside(isMap);
    if (place == Place::Section) payload_.sections.emplace_back();
    if (place == Place::Section) basePaths_.emplace_back();
    if (place == Place::Row) StartRow();
    places_.push_back(place);
    return places_.size() <= kDeepest && IsWithinLimit() &&
           (place != Place::Ignored || IsOptional());
  }

  /// What a map or list that begins here is.
  [[nodiscard]] Place Inside(bool isMap) const {
    struct Step {
      Place from;
      const char* key;  ///< of a map; null in a list
      bool isMap;
      Place to;
    };
    constexpr auto kSteps = std::to_array<Step>({
        {Place::Rows, nullptr, false, Place::Row},  // first: there are many
        {Place::Payload, kComments, false, Place::Comments},
        {Place::Payload, kSections, false, Place::Sections},
        {Place::Sections, nullptr, true, Place::Section},
        {Place::Section, kRows, false, Place::Rows},
    });
    const auto* step = std::ranges::find_if(kSteps, [&](const Step& candidate) {
      return candidate.from == Here() && candidate.isMap == isMap &&
             (candidate.key == nullptr || key_ == candidate.key);
    });
    return step == kSteps.end() ? Place::Ignored : step->to;
  }

  /// True where the place that has just been entered may hold what this reader does not know: the
  /// value of an unknown key, or a further member of a row.
  [[nodiscard]] bool IsOptional() const {
    const Place outer = places_[places_.size() - 2];
    switch (outer) {
      case Place::Payload:
        return key_ != kComments && key_ != kSections && key_ != kTarget;
      case Place::Section:
        return key_ != kRows && key_ != kSection && key_ != kPath;
      case Place::Row:
        return members_ > kRowPath;
      default:
        return outer == Place::Ignored;
    }
  }

  bool Leave() {
    const Place left = Here();
    places_.pop_back();
    if (left == Place::Row) {
      if (detail_ == Detail::Everything) references_.push_back(reference_);
      commentCount_ = std::max(commentCount_, reference_.comment + 1);
      if (members_ < kFewestRowMembers) return false;
    } else if (left == Place::Ignored && !places_.empty() && Here() == Place::Row) {
      ++members_;
    }
    return true;
  }

  void StartRow() {
    payload_.sections.back().rows.emplace_back();
    reference_ = {payload_.sections.size() - 1, payload_.sections.back().rows.size() - 1, 0, false};
    members_ = 0;
  }

  /// What the value that has just come stands for; counts the members of a row.
  Value NextValue() {
    if (places_.empty()) return Value::None;
    switch (Here()) {
      case Place::Payload:
        return key_ == kTarget ? Value::Target : OfUnknownKey({kComments, kSections});
      case Place::Comments:
        return Value::CommentText;
      case Place::Section:
        if (key_ == kSection) return Value::SectionName;
        return key_ == kPath ? Value::SectionPath : OfUnknownKey({kRows});
      case Place::Row:
        return OfRow(members_++);
      case Place::Ignored:
        return Value::Ignored;
      default:
        return Value::None;
    }
  }

  [[nodiscard]] Value OfUnknownKey(std::initializer_list<const char*> known) const {
    const bool isKnown = std::ranges::any_of(known, [&](const char* name) { return key_ == name; });
    return isKnown ? Value::None : Value::Ignored;
  }

  static Value OfRow(std::size_t member) {
    switch (member) {
      case kRowKey:
        return Value::Key;
      case kRowValue:
        return Value::Text;
      case kRowComment:
        return Value::CommentNumber;
      case kRowPath:
        return Value::Path;
      default:
        return Value::Ignored;
    }
  }

  bool IsIgnored() { return NextValue() == Value::Ignored; }

  bool Take(std::string& text) {
    switch (NextValue()) {
      case Value::Target:
        payload_.target = std::move(text);
        return true;
      case Value::CommentText:
        comments_.push_back(std::move(text));
        return IsWithinLimit();
      case Value::SectionName:
        payload_.sections.back().name = std::move(text);
        return true;
      case Value::SectionPath:
        basePaths_.back() = std::move(text);
        return true;
      case Value::Key:
        Row().key = std::move(text);
        return true;
      case Value::Text:
        Row().value = std::move(text);
        return true;
      case Value::Path:
        Row().path = std::move(text);
        reference_.hasPath = true;
        return true;
      case Value::Ignored:
        return true;
      case Value::CommentNumber:
      case Value::None:
        return false;
    }
    return false;
  }

  /// Counts what takes more memory than it has bytes in a payload.
  bool IsWithinLimit() { return ++items_ <= kMostItems; }

  SDK::Row& Row() { return payload_.sections.back().rows.back(); }

  void Resolve(const Reference& reference) {
    SDK::Row& row = payload_.sections[reference.section].rows[reference.row];
    row.comment = comments_[reference.comment];
    if (reference.hasPath && (row.path.empty() || row.path.front() == '/')) return;
    std::string& base = basePaths_[reference.section];
    if (base.empty()) base = PathOfName(payload_.sections[reference.section].name);
    row.path = Joined(base, reference.hasPath ? row.path : row.key);
  }

  Detail detail_;
  Payload payload_;
  std::vector<std::string> comments_;
  std::size_t commentCount_ = 0;        // that the rows need
  std::vector<std::string> basePaths_;  // of the sections
  std::vector<Reference> references_;
  std::vector<Place> places_;
  std::string key_;          // of the value that comes next
  Reference reference_;      // the row that is being read
  std::size_t members_ = 0;  // how many of it have come
  std::size_t items_ = 0;
};

}  // namespace

std::vector<unsigned char> EncodePayload(const Payload& payload) {
  CommentNumbers comments;
  json sections = json::array();
  for (const Section& section : payload.sections) sections.push_back(Encoded(section, comments));
  const json encoded = {{kTarget, Text(payload.target)},
                        {kSections, std::move(sections)},
                        {kComments, comments.TakeList()}};
  return json::to_cbor(encoded);
}

Payload DecodePayload(Bytes bytes, Detail detail) {
  PayloadReader reader(detail);
  if (!json::sax_parse(bytes.begin(), bytes.end(), &reader, json::input_format_t::cbor)) {
    throw Damaged("a block does not hold what it should");
  }
  return reader.Take();
}

}  // namespace Scf
