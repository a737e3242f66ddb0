#include "ini/IniPrimitives.h"

#include <algorithm>
#include <string_view>

#include "ini/IniDocument.h"
#include "ini/IniEscape.h"

namespace {

void WriteLine(FILE* file, std::string line) {
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), file);
}

/// A comment from its ";" on. One that has none gets it: it must not be read as part of the value.
std::string CommentText(std::string_view comment) {
  const std::size_t start = comment.find_first_not_of(" \t");
  comment.remove_prefix(std::min(start, comment.size()));
  const std::string text = Ini::Escape(comment, Ini::Place::Comment);
  return text.starts_with(';') ? text : "; " + text;
}

void CopyCut(std::string_view text, char* out, unsigned short size) {
  out[text.copy(out, size - 1U)] = '\0';
}

/// Sets `value` when the answer is INI_READ.
int Read(const IniDocument& document, const char* section, const char* key,
         std::string_view& value) {
  if (section == nullptr || key == nullptr) return INI_BAD_ARGUMENT;
  if (document.GetStatus() != IniDocument::Status::Ok) return INI_CANNOT_READ;
  if (!document.HasSection(section)) return INI_NO_SECTION;
  const IniDocument::Entry* entry = document.Find(section, key);
  if (entry == nullptr) return INI_NO_KEY;
  value = entry->value;
  return INI_READ;
}

}  // namespace

void iniFileWriteSection(FILE* file, const char* name) {
  WriteLine(file, Ini::Escape(name, Ini::Place::Section));
}

void iniFileWriteDataString(FILE* file, const char* key, const char* value, const char* comment,
                            std::string /*text*/) {
  std::string line =
      Ini::Escape(key, Ini::Place::Key) + "=" + Ini::Escape(value, Ini::Place::Value);
  if (*comment != '\0') line += "\t" + CommentText(comment);
  WriteLine(file, std::move(line));
}

int GetRequiredProfileString(const char* section, const char* key, const char* defaultValue,
                             char* out, unsigned short size, const IniDocument& document,
                             unsigned short /*flags*/) {
  if (out == nullptr || size == 0) return INI_BAD_ARGUMENT;
  std::string_view value = defaultValue == nullptr ? "" : defaultValue;
  const int status = Read(document, section, key, value);
  CopyCut(value, out, size);
  return status;
}

int GetRequiredProfileString(const char* section, const char* key, const char* defaultValue,
                             char* out, unsigned short size, const char* file,
                             unsigned short flags) {
  IniDocument document;
  if (file != nullptr) document.Load(file);
  const int status =
      GetRequiredProfileString(section, key, defaultValue, out, size, document, flags);
  return file == nullptr ? INI_BAD_ARGUMENT : status;
}

int GetRequiredProfileMap(const char* section, const IniDocument& document,
                          std::map<std::string, std::string>& entries) {
  entries.clear();
  if (section == nullptr) return INI_BAD_ARGUMENT;
  switch (document.GetStatus()) {
    case IniDocument::Status::Empty:
    case IniDocument::Status::CannotRead:
      return INI_CANNOT_READ;
    case IniDocument::Status::TooLarge:
    case IniDocument::Status::HoldsNul:
      return INI_MALFORMED;
    case IniDocument::Status::Ok:
      break;
  }
  if (!document.IsWellFormed()) return INI_MALFORMED;
  for (const IniDocument::Entry& entry : document.Entries()) {
    if (document.Sections()[entry.section].name != section) continue;
    entries.insert_or_assign(std::string(entry.key), std::string(entry.value));
  }
  return INI_READ;
}

int GetRequiredProfileMap(const char* section, const char* file,
                          std::map<std::string, std::string>& entries) {
  entries.clear();
  if (file == nullptr) return INI_BAD_ARGUMENT;
  IniDocument document;
  document.Load(file);
  return GetRequiredProfileMap(section, document, entries);
}
