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
enum class Place { Start, Top, Nodes, Node, Values, Options, Range, Length };

/// What a JSON value is.
enum class Value { Text, Number, Boolean, List, Object, Other };

/// The names of those kinds, for people.
constexpr auto kValueWords =
    std::to_array<const char*>({"a text", "a number", "true or false", "a list", "an object"});

enum class Name {
  Format,
  Platform,
  AdminPassword,
  Nodes,
  Kind,
  Values,
  Options,
  Flag,
  Remark,
  Writable,
  Form,
  Range,
  Step,
  Length,
  Pattern,
};

/// A member: where it stands, what it holds, and where a list or an object of it leads.
struct Member {
  Name name;
  std::string_view text;
  Place place;
  Value holds;
  Place to = Place::Start;
};
constexpr auto kMembers = std::to_array<Member>({
    {Name::Format, "format", Place::Top, Value::Text},
    {Name::Platform, "platform", Place::Top, Value::Text},
    {Name::AdminPassword, "adminPassword", Place::Top, Value::Text},
    {Name::Nodes, "nodes", Place::Top, Value::Object, Place::Nodes},
    {Name::Kind, "kind", Place::Node, Value::Number},
    {Name::Values, "values", Place::Node, Value::List, Place::Values},
    {Name::Options, "options", Place::Node, Value::Object, Place::Options},
    {Name::Flag, "flag", Place::Node, Value::Boolean},
    {Name::Remark, "remark", Place::Node, Value::Text},
    {Name::Writable, "writable", Place::Node, Value::Boolean},
    {Name::Form, "form", Place::Node, Value::Text},
    {Name::Range, "range", Place::Node, Value::List, Place::Range},
    {Name::Step, "step", Place::Node, Value::Number},
    {Name::Length, "length", Place::Node, Value::List, Place::Length},
    {Name::Pattern, "pattern", Place::Node, Value::Text},
});

class Reader final : public nlohmann::json_sax<json> {
 public:
  explicit Reader(const std::size_t& line) : line_(line) {}

  MachineImage Take() {
    if (!HasSeen(Name::Format)) Refuse("\"format\" is missing");
    if (!HasSeen(Name::Nodes)) Refuse("\"nodes\" is missing");
    return std::move(machine_);
  }

  bool null() override { return Expect(Value::Other, "null"); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
    return Expect(Value::Other, "a fraction");
  }
  bool binary(binary_t& /*value*/) override { return Expect(Value::Other, "binary data"); }

  bool boolean(bool value) override {
    Expect(Value::Boolean);
    if (member_->name == Name::Flag) {
      node_->flag = value;
    } else {
      node_->limits.Edit().isReadOnly = !value;
    }
    return true;
  }

  bool number_unsigned(number_unsigned_t value) override {
    if (value > static_cast<number_unsigned_t>(INT64_MAX)) Refuse("a number is too large");
    return number_integer(static_cast<number_integer_t>(value));
  }

  bool number_integer(number_integer_t value) override {
    Expect(Value::Number);
    if (place_ != Place::Node) {
      numbers_.push_back(value);
    } else if (member_->name == Name::Kind) {
      if (value != NODE_SETTING && value != NODE_MENU) {
        RefuseMember("must be 0 for a setting or 1 for a menu");
      }
      node_->kind = static_cast<int>(value);
    } else {
      if (value < 1) RefuseMember("must be 1 or more");
      node_->limits.Edit().increment = value;
    }
    return true;
  }

  bool string(string_t& value) override {
    Expect(Value::Text);
    if (value.find('\0') != std::string::npos) Refuse("a text holds a NUL character");
    if (place_ == Place::Values) {
      node_->values.push_back(std::move(value));
    } else if (place_ == Place::Options) {
      if (!node_->options.emplace(option_, std::move(value)).second) {
        RefuseMember("has \"" + option_ + "\" twice");
      }
    } else {
      SetText(value);
    }
    return true;
  }

  bool key(string_t& name) override {
    if (name.find('\0') != std::string::npos) Refuse("a name holds a NUL character");
    if (place_ == Place::Nodes) {
      BeginNode(name);
    } else if (place_ == Place::Options) {
      option_ = std::move(name);
    } else {
      BeginMember(name);
    }
    return true;
  }

  bool start_object(std::size_t /*size*/) override {
    if (place_ == Place::Start) {
      place_ = Place::Top;
    } else if (place_ == Place::Nodes) {
      place_ = Place::Node;
    } else {
      Open(Value::Object);
    }
    return true;
  }

  bool start_array(std::size_t /*size*/) override {
    Open(Value::List);
    return true;
  }

  bool end_object() override {
    if (place_ == Place::Node) EndNode();
    if (place_ == Place::Options) node_->options = choices_.Of(node_->options);
    place_ = place_ == Place::Node      ? Place::Nodes
             : place_ == Place::Options ? Place::Node
                                        : Place::Top;
    return true;
  }

  bool end_array() override {
    if (place_ == Place::Range) node_->limits.Edit().range = TakeRange();
    if (place_ == Place::Length) node_->limits.Edit().length = TakeRange();
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

  /// The place of a member in front of what is said of it.
  [[nodiscard]] std::string Where() const {
    return place_ == Place::Top ? "" : "node " + path_ + ": ";
  }

  [[noreturn]] void RefuseMember(const std::string& reason) const {
    Refuse(Where() + "\"" + std::string(member_->text) + "\" " + reason);
  }

  /// Refuses a value of the kind `value`, or of that `word`, where the form has another.
  bool Expect(Value value, const char* word = nullptr) const {
    if (place_ == Place::Start) Refuse("a machine file is one JSON object");
    if (place_ == Place::Nodes) Refuse("the node " + path_ + " must be an object");
    Value wanted = member_->holds;
    if (place_ == Place::Values || place_ == Place::Options) wanted = Value::Text;
    if (place_ == Place::Range || place_ == Place::Length) wanted = Value::Number;
    if (value == wanted) return true;
    const bool isWithin = place_ != Place::Top && place_ != Place::Node;
    RefuseMember(std::string(isWithin ? "holds " : "is ") +
                 (word != nullptr ? word : kValueWords.at(static_cast<std::size_t>(value))) +
                 " instead of " + kValueWords.at(static_cast<std::size_t>(wanted)));
  }

  void Open(Value value) {
    Expect(value);
    place_ = member_->to;
    numbers_.clear();
  }

  [[nodiscard]] bool HasSeen(Name name) const {
    return (seen_ & (1U << static_cast<unsigned>(name))) != 0;
  }

  void BeginMember(const std::string& name) {
    member_ = std::ranges::find_if(kMembers, [&](const Member& candidate) {
      return candidate.place == place_ && candidate.text == name;
    });
    if (member_ == kMembers.end()) Refuse(Where() + "\"" + name + "\" is unknown");
    if (HasSeen(member_->name)) RefuseMember("stands twice");
    seen_ |= 1U << static_cast<unsigned>(member_->name);
  }

  void SetText(std::string& value) {
    switch (member_->name) {
      case Name::Format:
        if (value != kFormat) RefuseMember("must be \"" + std::string(kFormat) + "\"");
        break;
      case Name::Platform:
        machine_.platform = std::move(value);
        break;
      case Name::AdminPassword:
        machine_.adminPassword = std::move(value);
        break;
      case Name::Remark:
        node_->remark = std::move(value);
        break;
      case Name::Pattern:
        node_->limits.Edit().pattern = std::move(value);
        break;
      default:
        if (value != "whole" && value != "number") RefuseMember("must be \"whole\" or \"number\"");
        node_->limits.Edit().form =
            value == "whole" ? Query::Limits::Form::Whole : Query::Limits::Form::Number;
    }
  }

  void BeginNode(const std::string& path) {
    path_ = path;
    if (!path.starts_with('/')) Refuse("the path \"" + path + "\" must begin with \"/\"");
    const auto [node, isNew] = machine_.nodes.try_emplace(path);
    if (!isNew) Refuse("the node " + path + " stands twice");
    node_ = &node->second;
    for (const Member& member : kMembers) {
      if (member.place == Place::Node) seen_ &= ~(1U << static_cast<unsigned>(member.name));
    }
  }

  void EndNode() {
    if (node_->limits->range && !HasSeen(Name::Form)) {
      node_->limits.Edit().form = Query::Limits::Form::Whole;
    }
    const Query::Limits& limits = node_->limits.Get();
    const Constraint constraint{!limits.isReadOnly, limits.range, limits.length};
    if (constraint != Constraint{}) machine_.constraints.emplace(path_, constraint);
  }

  Query::Range TakeRange() {
    if (numbers_.size() != 2 || numbers_[0] > numbers_[1]) {
      RefuseMember("must be a list of two numbers, low and high");
    }
    return {numbers_[0], numbers_[1]};
  }

  const std::size_t& line_;
  MachineImage machine_;
  Place place_ = Place::Start;
  const Member* member_ = nullptr;  // before the value that comes next
  unsigned seen_ = 0;               // a bit for each member at the top and of the node being read
  std::string option_;              // the name before an option's text
  std::string path_;                // of the node that is being read
  _XNode* node_ = nullptr;          // that node
  Query::TextMapPool choices_;
  std::vector<std::int64_t> numbers_;
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
