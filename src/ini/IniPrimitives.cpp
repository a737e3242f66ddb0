#include "ini/IniPrimitives.h"

#include <algorithm>
#include <string_view>

#include "ini/IniDocument.h"
#include "ini/IniEscape.h"

namespace {

void WriteLine(FILE* file, std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), file);
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

void Ini::AppendKeyLine(std::string& text, std::string_view key, std::string_view value,
                        std::string_view commentText) {
  AppendEscaped(text, key, Place::Key);
  text += '=';
  AppendEscaped(text, value, Place::Value);
  text += commentText;
  text += '\n';
}

std::string Ini::CommentText(std::string_view comment) {
  if (comment.empty()) return {};
  const std::size_t start = comment.find_first_not_of(" \t");
  comment.remove_prefix(std::min(start, comment.size()));
  // One without its ";" gets it: it must not be read as part of the value.
  std::string text = comment.starts_with(';') ? "\t" : "\t; ";
  AppendEscaped(text, comment, Place::Comment);
  return text;
}

void iniFileWriteSection(FILE* file, const char* name) {
  WriteLine(file, Ini::Escape(name, Ini::Place::Section) + '\n');
}

void iniFileWriteDataString(FILE* file, const char* key, const char* value, const char* comment,
                            std::string /*text*/) {
  std::string line;
  Ini::AppendKeyLine(line, key, value, Ini::CommentText(comment));
  WriteLine(file, line);
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
