#include "plan/Layers.h"

#include <fnmatch.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "ini/IniEscape.h"
#include "modules/save/Expansion.h"
#include "modules/save/RowSink.h"
#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "plan/Failure.h"
#include "plan/Template.h"
#include "plan/UnknownNames.h"

namespace Planning {
namespace {

bool IsPattern(const std::string& section) {
  return section.find('*') != std::string::npos;
}

/// The sections of `present` that a setting of a wildcard stands for: those that have its key, or
/// would have it once IPv6 is on there. A name that stands for none is kept, to be told as unknown.
std::vector<std::string> InstancesOf(const Setting& setting, const Configuration& present) {
  std::vector<std::string> fitting;
  std::vector<std::string> having;
  for (const std::string& section : present.Sections()) {
    if (fnmatch(setting.section.c_str(), section.c_str(), FNM_NOESCAPE) != 0 ||
        // A wildcard ends where its part of the name does: LAN* is no LAN1::SOL.
        std::ranges::count(section, ':') != std::ranges::count(setting.section, ':')) {
      continue;
    }
    fitting.push_back(section);
    if (present.Find(section, setting.key) != nullptr ||
        SDK::Expansion::IsIpv6Detail(setting.key)) {
      having.push_back(section);
    }
  }
  if (!having.empty()) return having;
  return {fitting.empty() ? setting.section : fitting.front()};
}

/// Adds a layer's settings of named sections, or those of wildcards for every section they fit.
void AddSettings(const Configuration& layer, bool ofPatterns, const Configuration& present,
                 Configuration& all) {
  for (const Setting& setting : layer.Settings()) {
    if (IsPattern(setting.section) != ofPatterns) continue;
    std::vector<std::string> sections = {setting.section};
    if (ofPatterns) sections = InstancesOf(setting, present);
    for (const std::string& section : sections) {
      Setting wanted = setting;
      wanted.section = section;
      wanted.isOfWildcard = ofPatterns;
      all.AddSection(section);
      all.Add(std::move(wanted));
    }
  }
}

/// What a layer tells by itself, and the names in it that no server has, told as of its file.
void AddFindings(const Layer& layer, const Selection& selection, const Configuration& present,
                 std::vector<Finding>& all) {
  std::vector<Finding> findings = Selected(layer.findings, selection);
  std::ranges::copy(layer.end, std::back_inserter(findings));
  std::ranges::move(UnknownAnywhere(selection.Of(Overlaid({layer}, present))),
                    std::back_inserter(findings));
  for (Finding& finding : findings) {
    finding.file = layer.name;
    all.push_back(std::move(finding));
  }
}

/// Without lines: of several files they would say nothing.
Configuration WithoutLines(const Configuration& content) {
  Configuration plain;
  for (const std::string& section : content.Sections()) plain.AddSection(section);
  for (Setting setting : content.Settings()) {
    setting.line = 0;
    plain.Add(std::move(setting));
  }
  return plain;
}

std::pair<std::string, std::string> SplitAt(const std::string& text, std::size_t at,
                                            std::size_t width) {
  return {text.substr(0, at), text.substr(at + width)};
}

}  // namespace

Layer ReadLayer(const std::string& path, const Variables& variables, const std::string& name) {
  Layer layer;
  layer.name = name.empty() ? path : name;
  layer.source = SourceOf(path, name);  // before it is read: a change meanwhile must show
  bool isBaseline = false;
  const auto fill = [&](const std::string& text) {
    isBaseline = IsBaseline(text);
    return Filled(text, layer.name, variables);
  };
  const ConfigurationFile file =
      IsStreamName(path) ? ConfigurationFile(path) : ConfigurationFile(path, fill);
  layer.findings = CheckFile(file, Extent::Part);
  layer.end = CheckEnd(file, isBaseline ? Extent::Baseline : Extent::Part);
  ThrowIfMalformed(layer.findings, layer.name);
  ThrowIfMalformed(layer.end, layer.name);
  layer.content = file.Content();
  return layer;
}

Layer LayerOfTexts(const std::vector<std::string>& texts) {
  Layer layer;
  layer.name = "--set";
  for (const std::string& text : texts) {
    const auto [name, value] = SplitAt(text, std::min(text.find('='), text.size()), 1);
    const std::size_t colons = name.rfind("::");
    if (text.find('=') == std::string::npos || colons == std::string::npos || colons == 0 ||
        colons + 2 == name.size()) {
      throw Failure(Failure::Kind::Usage, "\"" + text + "\" is not SECTION::KEY=VALUE");
    }
    const auto [section, key] = SplitAt(name, colons, 2);
    layer.content.AddSection(section);
    layer.content.Add({section, Ini::Unescape(key), Ini::Unescape(value), "", ""});
  }
  return layer;
}

std::vector<Layer> StateBefore(const HistoryRecord& record) {
  std::vector<Layer> layers = {ReadLayer(record.backup, {})};
  if (record.waiting.empty()) return layers;
  Layer waiting{"what waited", {}};
  for (const Setting& setting : record.waiting) {
    waiting.content.AddSection(setting.section);
    waiting.content.Add(setting);
  }
  layers.push_back(std::move(waiting));
  return layers;
}

Configuration Overlaid(const std::vector<Layer>& layers, const Configuration& present) {
  Configuration all;
  for (const Layer& layer : layers) {
    AddSettings(layer.content, true, present, all);
    AddSettings(layer.content, false, present, all);
    for (const std::string& section : layer.content.Sections()) {
      if (!IsPattern(section)) all.AddSection(section);  // also one that has no settings
    }
  }
  return all;
}

Configuration Laid(const Configuration& wanted, const Configuration& present) {
  Configuration whole;
  std::set<std::string> orders;
  for (const std::string& section : wanted.Sections()) {
    if (IsBootOrder(section) && !wanted.Of(section).empty()) orders.insert(section);
  }
  for (const std::string& section : present.Sections()) whole.AddSection(section);
  for (const std::string& section : wanted.Sections()) whole.AddSection(section);
  for (const Setting& setting : present.Settings()) {
    if (!orders.contains(setting.section)) whole.Add(setting);
  }
  for (const Setting& setting : wanted.Settings()) {
    const Setting* now = present.Find(setting.section, setting.key);
    Setting laid = setting;
    if (now != nullptr) laid.comment = now->comment;
    whole.Add(std::move(laid));
  }
  return whole;
}

void WriteTextFile(const std::string& path, const Configuration& content) {
  SDK::IniFile text(path.c_str());
  for (const std::string& section : content.Sections()) {
    text.Rows().BeginSection("[" + section + "]");
    for (const Setting* setting : content.Of(section)) {
      text.Rows().Write({setting->key, setting->value, setting->comment, setting->path});
    }
  }
  text.Finish();
}

TransientFile::TransientFile(const Configuration& content) {
  WriteTextFile(Path(), content);
}

LaidRequest RequestOfLayers(const std::vector<Layer>& layers, const Selection& selection,
                            const State& state) {
  LaidRequest laid;
  Request& request = laid.request;
  const Configuration all = Overlaid(layers, state.present);
  selection.ThrowIfIdle(all);
  request.wanted = selection.Of(layers.size() > 1 ? WithoutLines(all) : all);
  for (const Layer& layer : layers) {
    request.name += (request.name.empty() ? "" : ", ") + layer.name;
    AddFindings(layer, selection, state.present, request.findings);
    if (layer.source) request.files.push_back(*layer.source);
  }
  laid.file = std::make_unique<TransientFile>(Laid(request.wanted, state.next));
  request.file = laid.file->Path();
  request.mode = ModeOf(request.wanted);
  request.skipSystemCheck = request.wanted.Of("SYSTEM").empty();
  request.isPart = true;
  request.present = InMode(state.present, request.mode);
  return laid;
}

LaidRequest RequestOfPart(const std::string& path, const std::string& name,
                          std::optional<Mode> mode, const Selection& selection,
                          const State& state) {
  Layer layer{name, {}, SourceOf(path, name)};
  const ConfigurationFile file(path);
  layer.content = InMode(file.Content(), mode.value_or(ModeAll));
  layer.findings = CheckFile(file, Extent::Part);
  layer.end = CheckEnd(file);
  return RequestOfLayers({layer}, selection, state);
}

}  // namespace Planning
