#include "plan/ValueJson.h"

#include <string>

namespace Planning {

using nlohmann::ordered_json;

namespace {

std::string TextIn(const ordered_json& json, const char* member) {
  return json.at(member).get<std::string>();
}

}  // namespace

ordered_json JsonOf(const Setting& setting) {
  return {{"section", setting.section}, {"key", setting.key}, {"value", setting.value}};
}

ordered_json JsonOf(const Change& change) {
  return {{"section", change.section},
          {"key", change.key},
          {"path", change.path},
          {"from", change.from},
          {"to", change.to}};
}

Setting SettingOf(const ordered_json& json) {
  return {TextIn(json, "section"), TextIn(json, "key"), TextIn(json, "value"), "", ""};
}

Change ChangeOf(const ordered_json& json) {
  return {TextIn(json, "path"),
          TextIn(json, "section"),
          TextIn(json, "key"),
          TextIn(json, "from"),
          TextIn(json, "to"),
          "",
          ""};
}

}  // namespace Planning
