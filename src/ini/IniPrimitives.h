#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <string_view>

class IniDocument;

/// The four routines through which the save and restore walks write and read a configuration file.
/// They keep no state; the form of a line is described with IniDocument.

/// What the readers answer.
enum IniReadStatus : int {
  INI_READ = 0,
  INI_BAD_ARGUMENT = -2,  ///< a null pointer or a size of 0
  INI_NO_SECTION = -4,
  INI_NO_KEY = -5,
  INI_CANNOT_READ = 75,  ///< the file is not there, not readable or refused
  INI_MALFORMED = 77,    ///< map read only: a line that is none, a NUL byte, or too large a file
};

/// Writes a section heading on a line of its own. `name` carries its brackets ("[POWER]"). Control
/// characters are escaped. A failing write shows in `ferror(file)`.
void iniFileWriteSection(FILE* file, const char* name);

/// Writes one key line: `key=value`, and for a non-empty `comment` one tab and the comment from its
/// ";" on. Characters that the reader would misunderstand are escaped. `text` changes nothing.
/// A failing write shows in `ferror(file)`.
void iniFileWriteDataString(FILE* file, const char* key, const char* value, const char* comment,
                            std::string text);

namespace Ini {

/// Appends the line that `iniFileWriteDataString` writes to `text`; its comment has been made by
/// `CommentText`.
void AppendKeyLine(std::string& text, std::string_view key, std::string_view value,
                   std::string_view commentText);

/// A comment as it stands behind a value, with its tab; empty for an empty one.
[[nodiscard]] std::string CommentText(std::string_view comment);

}  // namespace Ini

/// Reads the value of `key` in `section` (a name without brackets) into `out`, zero-terminated and
/// cut to `size` bytes with its terminator. `flags` changes nothing.
/// \return INI_READ, or why there is no value; `out` then holds `defaultValue`, cut in the same
/// way.
int GetRequiredProfileString(const char* section, const char* key, const char* defaultValue,
                             char* out, unsigned short size, const char* file,
                             unsigned short flags);

/// The same from a document that is loaded already, so that an operation reads its file only once.
/// A document that could not be loaded answers INI_CANNOT_READ.
int GetRequiredProfileString(const char* section, const char* key, const char* defaultValue,
                             char* out, unsigned short size, const IniDocument& document,
                             unsigned short flags);

/// Reads every key of `section` into `entries`, which is emptied first.
/// \return INI_READ, also for an absent or empty section (an empty map); INI_BAD_ARGUMENT,
///         INI_CANNOT_READ or INI_MALFORMED.
int GetRequiredProfileMap(const char* section, const char* file,
                          std::map<std::string, std::string>& entries);

/// The same from a document that is loaded already.
int GetRequiredProfileMap(const char* section, const IniDocument& document,
                          std::map<std::string, std::string>& entries);
