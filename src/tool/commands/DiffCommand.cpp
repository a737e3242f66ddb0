#include "tool/commands/DiffCommand.h"

#include <nlohmann/json.hpp>

#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "tool/ExitCodes.h"

namespace Tool {
namespace {

using nlohmann::ordered_json;

ordered_json KeysAsJson(const std::vector<const Setting*>& settings) {
  ordered_json list = ordered_json::array();
  for (const Setting* setting : settings) {
    list.push_back(
        {{"section", setting->section}, {"key", setting->key}, {"value", setting->value}});
  }
  return list;
}

/// How the two sides are called in the output.
struct Sides {
  const char* left;
  const char* right;
};

void PrintJson(const Comparison& comparison, const Sides& sides, const Messages& messages) {
  ordered_json document = {{"schema", "saverestore-diff/1"}};
  document["different"] = ordered_json::array();
  for (const auto& [left, right] : comparison.different) {
    document["different"].push_back({{"section", left->section},
                                     {"key", left->key},
                                     {sides.left, left->value},
                                     {sides.right, right->value}});
  }
  const auto only = [&](const char* side, const auto& sections, const auto& keys) {
    document[std::string("only_") + side] = {{"sections", sections}, {"keys", KeysAsJson(keys)}};
  };
  only(sides.left, comparison.onlyLeftSections, comparison.onlyLeftKeys);
  only(sides.right, comparison.onlyRightSections, comparison.onlyRightKeys);
  messages.Document(document.dump(2, ' ', false, ordered_json::error_handler_t::replace));
}

void PrintText(const Comparison& comparison, const Sides& sides, const Messages& messages) {
  for (const auto& [left, right] : comparison.different) {
    messages.Result(left->Name() + ": " + sides.left + " \"" + left->value + "\", " + sides.right +
                    " \"" + right->value + "\"");
  }
  const auto only = [&](const char* side, const auto& sections, const auto& keys) {
    for (const std::string& section : sections) {
      messages.Result("[" + section + "]: in the " + side + " only");
    }
    for (const Setting* setting : keys) {
      messages.Result(setting->Name() + ": in the " + side + " only");
    }
  };
  only(sides.left, comparison.onlyLeftSections, comparison.onlyLeftKeys);
  only(sides.right, comparison.onlyRightSections, comparison.onlyRightKeys);
}

/// The settings that a comparison in `mode` is about.
Configuration InMode(const Configuration& whole, Mode mode) {
  Configuration part;
  const auto covered = [&](const std::string& section) {
    if (section == "SYSTEM") return true;
    return IsBiosSection(section) ? mode != ModeBmc : mode != ModeBios;
  };
  for (const std::string& section : whole.Sections()) {
    if (covered(section)) part.AddSection(section);
  }
  for (const Setting& setting : whole.Settings()) {
    if (covered(setting.section)) part.Add(setting);
  }
  return part;
}

}  // namespace

int RunDiff(const DiffRequest& request, const Messages& messages) {
  const bool withTarget = request.other.empty();
  const ConfigurationFile file(request.file);
  const Configuration& whole = file.Content();
  const Mode mode = request.mode.value_or(withTarget ? ModeOf(whole) : ModeAll);
  const Configuration left = InMode(whole, mode);
  Configuration right;
  if (withTarget) {
    const WatchedTarget target(request.openTarget, messages);
    CheckMode(target.Providers(), mode);
    right = ConfigurationOfTarget(mode);
    target.ThrowIfSilent();
  } else {
    right = InMode(ConfigurationFile(request.other).Content(), mode);
  }
  const Comparison comparison = Compare(left, right);
  const Sides sides = withTarget ? Sides{"file", "machine"} : Sides{"first", "second"};
  if (request.json) {
    PrintJson(comparison, sides, messages);
  } else {
    PrintText(comparison, sides, messages);
  }
  return comparison.IsEmpty() ? ExitDone : ExitDifferent;
}

}  // namespace Tool
