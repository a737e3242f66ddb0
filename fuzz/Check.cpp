#include "Check.h"

#include "ini/IniDocument.h"
#include "ini/IniEscape.h"
#include "ini/IniPrimitives.h"
#include "plan/Server.h"

namespace Fuzz {

void RequireSameWhenWritten(const Planning::Configuration& content) {
  std::string text;
  for (const std::string& section : content.Sections()) {
    text += "[" + Ini::Escape(section, Ini::Place::Section) + "]\n";
    for (const Planning::Setting* setting : content.Of(section)) {
      Ini::AppendKeyLine(text, setting->key, setting->value, Ini::CommentText(setting->comment));
    }
  }
  IniDocument again;
  Require(again.Parse(text) == IniDocument::Status::Ok && again.IsWellFormed(), text);
  Require(again.Entries().size() == content.Settings().size(), "as many keys in\n" + text);
  for (const Planning::Setting& setting : content.Settings()) {
    const IniDocument::Entry* entry = again.Find(setting.section, setting.key);
    Require(entry != nullptr && entry->value == setting.value, setting.Name() + " in\n" + text);
  }
}

void WriteBack(SDK::QueryProvider& bmc) {
  NodeMap tree;
  if (!Try([&] { bmc.Read("/BMC", tree); })) return;
  SDK::SettingMap settings;
  for (const auto& [path, node] : tree) {
    if (node.values.size() != 1 || node.values.front().starts_with('/')) continue;
    settings[path] = node.options.empty() ? "1" + node.values.front() : node.options.begin()->first;
  }
  bmc.UsePasswords({{"admin", "secret"}, {"root", "secret"}});
  Try([&] { static_cast<void>(bmc.Foresee(settings)); });
  Try([&] { bmc.Write(settings, false, false); });
  for (const SDK::WriteNote& note : bmc.TakeWriteNotes()) {
    Require(!note.path.empty() || !note.reason.empty(), "a note says something");
  }
}

void SaveAll(const std::shared_ptr<SDK::QueryProvider>& provider) {
  const Planning::Server server(Planning::AllTrees(provider));
  for (const Planning::Mode mode : {Planning::ModeBios, Planning::ModeBmc}) {
    Try([&] { RequireSameWhenWritten(Planning::ConfigurationOfTarget(mode)); });
  }
}

}  // namespace Fuzz
