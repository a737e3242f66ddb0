// The JSON text of a machine.
#include "providers/machine/MachineFile.h"

#include <nlohmann/json.hpp>

namespace Machine {
namespace {

std::string Quoted(const std::string& text) {
  return nlohmann::json(text).dump();
}

/// The members of one JSON object or list on one line.
class Members {
 public:
  void Add(const std::string& text) { text_ += (text_.empty() ? "" : ", ") + text; }
  void Add(const std::string& name, const std::string& value) { Add(Quoted(name) + ": " + value); }
  [[nodiscard]] std::string Object() const { return "{" + text_ + "}"; }
  [[nodiscard]] std::string List() const { return "[" + text_ + "]"; }

 private:
  std::string text_;
};

std::string Render(const Limits& limits) {
  return "[" + std::to_string(limits.low) + ", " + std::to_string(limits.high) + "]";
}

Query::Limits LimitsOf(const Constraint& constraint) {
  Query::Limits limits;
  limits.isReadOnly = !constraint.writable;
  if (constraint.range) limits.form = Query::Limits::Form::Whole;
  limits.range = constraint.range;
  limits.length = constraint.length;
  return limits;
}

/// A range is one of whole numbers unless the form says otherwise.
std::string FormOf(const Query::Limits& limits) {
  using Form = Query::Limits::Form;
  if (limits.form == Form::Number) return "number";
  return limits.form == Form::Whole && !limits.range ? "whole" : "";
}

void AddLimits(const Query::Limits& limits, Members& members) {
  if (limits.isReadOnly) members.Add("writable", "false");
  if (const std::string form = FormOf(limits); !form.empty()) members.Add("form", Quoted(form));
  if (limits.range) members.Add("range", Render(*limits.range));
  if (limits.increment != 0) members.Add("step", std::to_string(limits.increment));
  if (limits.length) members.Add("length", Render(*limits.length));
  if (!limits.pattern.empty()) members.Add("pattern", Quoted(limits.pattern));
}

/// A node without the members that have their default value.
std::string Render(const _XNode& node, const Query::Limits& limits) {
  Members members;
  if (node.kind != NODE_SETTING) members.Add("kind", std::to_string(node.kind));
  if (!node.values.empty()) {
    Members values;
    for (const std::string& value : node.values) values.Add(Quoted(value));
    members.Add("values", values.List());
  }
  if (!node.options.empty()) {
    Members options;
    for (const auto& [value, text] : node.options) options.Add(value, Quoted(text));
    members.Add("options", options.Object());
  }
  if (node.flag) members.Add("flag", "true");
  if (!node.remark.empty()) members.Add("remark", Quoted(node.remark));
  AddLimits(limits, members);
  return members.Object();
}

}  // namespace

std::string RenderMachine(const MachineImage& machine) {
  std::string text = "{\n  \"format\": \"saverestore-machine/1\",\n";
  text += "  \"platform\": " + Quoted(machine.platform) + ",\n";
  if (!machine.adminPassword.empty()) {
    text += "  \"adminPassword\": " + Quoted(machine.adminPassword) + ",\n";
  }
  text += "  \"nodes\": {";
  const char* separator = "\n";
  for (const auto& [path, node] : machine.nodes) {
    const auto constraint = machine.constraints.find(path);
    const bool isElsewhere =
        node.limits == Query::Limits{} && constraint != machine.constraints.end();
    text += separator;
    text += "    " + Quoted(path) + ": ";
    text += Render(node, isElsewhere ? LimitsOf(constraint->second) : node.limits.Get());
    separator = ",\n";
  }
  return text + "\n  }\n}\n";
}

bool IsRenderable(const std::string& text) {
  try {
    static_cast<void>(Quoted(text));
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

}  // namespace Machine
