// Reads the JSON text of a machine as a stream of events, so that the line of a fault is known and
// a large machine is never held twice.
#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "providers/machine/MachineFile.h"

namespace Machine {
namespace {

using nlohmann::json;

constexpr std::string_view kFormat = "saverestore-machine/1";

/// Walks over a text and counts the lines it has passed.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* place, std::size_t* line) : place_(place), line_(line) {}
  reference operator*() const { return *place_; }
  CountingIterator& operator++() {
    if (*place_ == '\n') ++*line_;
    ++place_;
    return *this;
  }
  bool operator==(const CountingIterator& other) const { return place_ == other.place_; }

 private:
  const char* place_;
  std::size_t* line_;
};

/// Where in the form the reader stands.
enum class Place { Start, Top, Nodes, Node, Values, Options, Range, Length, End };

/// A member that opens an object or a list: where it stands, its name, and where it leads.
struct Opening {
  Place from;
  std::string_view member;
  bool isObject;
  Place to;
};
constexpr auto kOpenings = std::to_array<Opening>({
    {Place::Start, "", true, Place::Top},
    {Place::Top, "nodes", true, Place::Nodes},
    {Place::Node, "values", false, Place::Values},
    {Place::Node, "options", true, Place::Options},
    {Place::Node, "range", false, Place::Range},
    {Place::Node, "length", false, Place::Length},
});

class Reader final : public nlohmann::json_sax<json> {
 public:
  explicit Reader(const std::size_t& line) : line_(line) {}

  MachineImage Take() {
    if (!formatSeen_) Refuse("\"format\" is missing");
    if (!nodesSeen_) Refuse("\"nodes\" is missing");
    return std::move(machine_);
  }

  bool null() override { return Unexpected("null"); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return Unexpected("a fraction");
  }
  bool binary(binary_t& /*value*/) override { return Unexpected("binary data"); }

  bool boolean(bool value) override {
    if (place_ == Place::Node && member_ == "flag") {
      node_->flag = value;
    } else if (place_ == Place::Node && member_ == "writable") {
      constraint_.writable = value;
    } else {
      return Unexpected("true or false");
    }
    return true;
  }

  bool number_unsigned(number_unsigned_t value) override {
    if (value > static_cast<number_unsigned_t>(INT64_MAX)) Refuse("a number is too large");
    return number_integer(static_cast<number_integer_t>(value));
  }

  bool number_integer(number_integer_t value) override {
    if (place_ == Place::Range || place_ == Place::Length) {
      numbers_.push_back(value);
    } else if (place_ == Place::Node && member_ == "kind") {
      if (value < 0 || value > INT32_MAX)
        Refuse("\"kind\" must be 0 for a setting or 1 for a menu");
      node_->kind = static_cast<int>(value);
    } else {
      return Unexpected("a number");
    }
    return true;
  }

  bool string(string_t& value) override {
    if (value.find('\0') != std::string::npos) Refuse("a text holds a NUL character");
    if (place_ == Place::Values) {
      node_->values.push_back(std::move(value));
    } else if (place_ == Place::Options) {
      node_->options.insert_or_assign(member_, std::move(value));
    } else if (place_ == Place::Node && member_ == "remark") {
      node_->remark = std::move(value);
    } else if (place_ == Place::Top && member_ == "format") {
      if (value != kFormat) Refuse("\"format\" must be \"" + std::string(kFormat) + "\"");
      formatSeen_ = true;
    } else if (place_ == Place::Top && member_ == "platform") {
      machine_.platform = std::move(value);
    } else if (place_ == Place::Top && member_ == "adminPassword") {
      machine_.adminPassword = std::move(value);
    } else {
      return Unexpected("a text");
    }
    return true;
  }

  bool key(string_t& name) override {
    if (name.find('\0') != std::string::npos) Refuse("a name holds a NUL character");
    if (place_ == Place::Nodes) {
      BeginNode(name);
    } else {
      member_ = std::move(name);
    }
    return true;
  }

  bool start_object(std::size_t /*size*/) override {
    if (place_ == Place::Nodes) {
      place_ = Place::Node;
      return true;
    }
    return Open(true);
  }

  bool start_array(std::size_t /*size*/) override { return Open(false); }

  bool end_object() override {
    switch (place_) {
      case Place::Top:
        place_ = Place::End;
        break;
      case Place::Nodes:
        place_ = Place::Top;
        break;
      case Place::Node:
        EndNode();
        place_ = Place::Nodes;
        break;
      default:
        place_ = Place::Node;  // from "options"
    }
    return true;
  }

  bool end_array() override {
    if (place_ == Place::Range) constraint_.range = TakeLimits();
    if (place_ == Place::Length) constraint_.length = TakeLimits();
    place_ = Place::Node;
    return true;
  }

  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const json::exception& fault) override {
    // Behind the library's own position, which names the end of the token instead of its line.
    const std::string text = fault.what();
    const std::size_t colon = text.find(": ");
    Refuse(colon == std::string::npos ? text : text.substr(colon + 2));
  }

 private:
  [[noreturn]] void Refuse(const std::string& reason) const {
    throw MalformedMachine(line_, reason);
  }

  [[noreturn]] bool Unexpected(const std::string& what) const {
    switch (place_) {
      case Place::Start:
        Refuse("a machine file is one JSON object");
      case Place::Nodes:
        Refuse("the node " + path_ + " must be an object");
      case Place::Top:
        Refuse("\"" + member_ + "\" is unknown here or cannot be " + what);
      default:
        Refuse("node " + path_ + ": \"" + member_ + "\" is unknown here or cannot be " + what);
    }
  }

  bool Open(bool isObject) {
    const auto* opening = std::ranges::find_if(kOpenings, [&](const Opening& candidate) {
      return candidate.from == place_ && candidate.isObject == isObject &&
             (place_ == Place::Start || candidate.member == member_);
    });
    if (opening == kOpenings.end()) return Unexpected(isObject ? "an object" : "a list");
    place_ = opening->to;
    if (place_ == Place::Nodes) nodesSeen_ = true;
    numbers_.clear();
    return true;
  }

  void BeginNode(const std::string& path) {
    path_ = path;
    if (!path.starts_with('/')) Refuse("the path \"" + path + "\" must begin with \"/\"");
    const auto [node, isNew] = machine_.nodes.try_emplace(path);
    if (!isNew) Refuse("the node " + path + " stands twice");
    node_ = &node->second;
    constraint_ = {};
  }

  void EndNode() {
    if (constraint_ != Constraint{}) machine_.constraints.emplace(path_, constraint_);
  }

  Limits TakeLimits() {
    if (numbers_.size() != 2 || numbers_[0] > numbers_[1]) {
      Refuse("node " + path_ + ": \"" + member_ + "\" must be a list of two numbers, low and high");
    }
    return {numbers_[0], numbers_[1]};
  }

  const std::size_t& line_;
  MachineImage machine_;
  Place place_ = Place::Start;
  std::string member_;      // the name before the value that comes next
  std::string path_;        // of the node that is being read
  _XNode* node_ = nullptr;  // that node
  Constraint constraint_;   // and its constraint
  std::vector<std::int64_t> numbers_;
  bool formatSeen_ = false;
  bool nodesSeen_ = false;
};

}  // namespace

MachineImage ParseMachine(std::string_view text) {
  std::size_t line = 1;
  Reader reader(line);
  json::sax_parse(CountingIterator(text.data(), &line),
                  CountingIterator(text.data() + text.size(), &line), &reader);
  return reader.Take();
}

}  // namespace Machine
