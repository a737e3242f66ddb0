// The machine file on disk: finding, reading, rendering and replacing it.
#include "providers/machine/MachineFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>
#include <utility>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"

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

/// A node without the members that have their default value.
std::string Render(const _XNode& node, const Constraint& constraint) {
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
  if (!constraint.writable) members.Add("writable", "false");
  if (constraint.range) members.Add("range", Render(*constraint.range));
  if (constraint.length) members.Add("length", Render(*constraint.length));
  return members.Object();
}

std::string ReadText(const std::string& path) {
  std::error_code error;
  const auto type = std::filesystem::status(path, error).type();
  if (type == std::filesystem::file_type::not_found) {
    ErrorManager::Raise(ErrorManager::TargetMissing, path);
  }
  if (!error && type != std::filesystem::file_type::regular) {
    ErrorManager::Raise(ErrorManager::TargetMalformed, path, "0", "it is not a regular file");
  }
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  if (!file || !text) {
    ErrorManager::Raise(ErrorManager::NotPermitted, path, std::generic_category().message(errno));
  }
  return std::move(text).str();
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
    text += separator;
    text += "    " + Quoted(path) + ": ";
    text +=
        Render(node, constraint == machine.constraints.end() ? Constraint{} : constraint->second);
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

MachineImage LoadMachine(const std::string& path) {
  try {
    return ParseMachine(ReadText(path));
  } catch (const MalformedMachine& fault) {
    ErrorManager::Raise(ErrorManager::TargetMalformed, path, std::to_string(fault.line),
                        fault.what());
  }
}

void StoreMachine(const MachineImage& machine, const std::string& path) {
  Common::AtomicFile file(path);
  file.Write(RenderMachine(machine));
  struct stat facts = {};
  if (stat(path.c_str(), &facts) == 0) file.SetMode(facts.st_mode);
  file.Commit(Common::AtomicFile::Existing::Replace);
}

}  // namespace Machine
