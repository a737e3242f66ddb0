#include "providers/redfish/ExtendedInfo.h"

#include <string_view>
#include <utility>

#include "providers/redfish/Json.h"

namespace Redfish {
namespace {

using nlohmann::json;

constexpr const char* kExtendedInfo = "@Message.ExtendedInfo";

/// The last segment of a JSON pointer, or the text itself: "#/Attributes/A~1B" is about "A/B".
std::string PropertyOf(const std::string& pointer) {
  std::string name = pointer.substr(pointer.rfind('/') + 1);
  for (const auto& [escape, character] : {std::pair{"~1", "/"}, std::pair{"~0", "~"}}) {
    for (std::size_t at = name.find(escape); at != std::string::npos; at = name.find(escape, at)) {
      name.replace(at, 2, character);
      ++at;
    }
  }
  return name;
}

void AddNames(const json& list, std::set<std::string>& names) {
  if (!list.is_array()) return;
  for (const json& text : list) {
    if (!text.is_string()) continue;
    names.insert(PropertyOf(text.get<std::string>()));
    names.insert(text.get<std::string>());
  }
}

std::string WithoutFullStop(std::string text) {
  while (text.ends_with('.')) text.pop_back();
  return text;
}

std::vector<std::string> TextsIn(const json& list) {
  std::vector<std::string> texts;
  for (const json& text : list)
    texts.push_back(text.is_string() ? text.get<std::string>() : text.dump());
  return texts;
}

}  // namespace

std::string Filled(std::string text, const std::vector<std::string>& arguments) {
  for (std::size_t number = arguments.size(); number > 0; --number) {
    const std::string place = "%" + std::to_string(number);
    const std::string& argument = arguments[number - 1];
    for (std::size_t at = text.find(place); at != std::string::npos;
         at = text.find(place, at + argument.size())) {
      text.replace(at, place.size(), argument);
    }
  }
  return WithoutFullStop(OneLine(text));
}

std::vector<Message> MessagesIn(const json& list) {
  std::vector<Message> messages;
  if (!list.is_array()) return messages;
  for (const json& entry : list) {
    Message message;
    message.id = OneLine(TextAt(entry, {"MessageId"}));
    message.text = WithoutFullStop(OneLine(TextAt(entry, {"Message"})));
    if (message.text.empty()) message.text = message.id;
    message.arguments = TextsIn(At(entry, {"MessageArgs"}));
    std::string severity = TextAt(entry, {"MessageSeverity"});
    if (severity.empty()) severity = TextAt(entry, {"Severity"});
    message.isFault = severity != "OK";
    AddNames(At(entry, {"RelatedProperties"}), message.about);
    // What it is about stands there by the standard; some services name it in the arguments only.
    if (message.about.empty()) AddNames(At(entry, {"MessageArgs"}), message.about);
    messages.push_back(std::move(message));
  }
  return messages;
}

std::vector<Message> MessagesOf(const std::string& body) {
  const json document = json::parse(body, nullptr, false);
  std::vector<Message> messages = MessagesIn(At(document, {"error", kExtendedInfo}));
  const auto add = [&](const json& list, const std::string& name) {
    for (Message& message : MessagesIn(list)) {
      if (!name.empty()) message.about.insert(name);
      messages.push_back(std::move(message));
    }
  };
  add(At(document, {kExtendedInfo}), "");
  add(At(document, {"Messages"}), "");  // of a task
  for (const json* object : {&document, &At(document, {"Attributes"})}) {
    if (!object->is_object()) continue;
    for (const auto& [name, list] : object->items()) {
      if (name.ends_with(kExtendedInfo) && name != kExtendedInfo) {
        add(list, name.substr(0, name.rfind('@')));
      }
    }
  }
  if (messages.empty()) {
    if (const std::string text = OneLine(TextAt(document, {"error", "message"})); !text.empty()) {
      messages.push_back({WithoutFullStop(text), true, {}});
    }
  }
  return messages;
}

std::string FirstFault(const std::string& body) {
  for (const Message& message : MessagesOf(body)) {
    if (message.isFault && !message.text.empty()) return message.text;
  }
  return {};
}

}  // namespace Redfish
