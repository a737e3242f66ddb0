#include "providers/redfish/Json.h"

namespace Redfish {

using nlohmann::json;

const json& At(const json& object, std::initializer_list<const char*> names) {
  static const json none;
  const json* place = &object;
  for (const char* name : names) {
    if (!place->is_object()) return none;
    const auto member = place->find(name);
    if (member == place->end()) return none;
    place = &*member;
  }
  return *place;
}

std::string TextAt(const json& object, std::initializer_list<const char*> names) {
  const json& text = At(object, names);
  return text.is_string() ? text.get<std::string>() : std::string();
}

std::string ToText(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  return value.is_null() || value.is_structured() ? std::string() : value.dump();
}

std::string OneLine(std::string_view text) {
  std::string line;
  bool pendingBlank = false;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte <= ' ' || byte == 0x7f) {
      pendingBlank = !line.empty();
      continue;
    }
    if (pendingBlank) line += ' ';
    pendingBlank = false;
    line += character;
  }
  return line;
}

bool IsUtf8(const std::string& text) {
  try {
    static_cast<void>(json(text).dump());
    return true;
  } catch (const json::type_error&) {
    return false;
  }
}

}  // namespace Redfish
