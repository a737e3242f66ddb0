#include "tool/terminal/Messages.h"

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <string_view>

#include "ini/IniEscape.h"
#include "tool/terminal/Pager.h"
#include "tool/terminal/StandardStreams.h"

namespace Tool {
namespace {

constexpr bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0U) == 0x80U;
}

/// The length of a UTF-8 character, less one, by its first byte.
constexpr unsigned ContinuationsAfter(unsigned char byte) {
  if (byte >= 0xF0) return 3;
  if (byte >= 0xE0) return 2;
  return byte >= 0xC0 ? 1 : 0;
}

/// True at the first byte of U+0080 to U+009F: terminals take them as the start of a command, as
/// they take the escape character.
bool StartsC1(const std::string& text, std::size_t at) {
  return text[at] == '\xC2' && at + 1 < text.size() && (text[at + 1] & 0xE0) == 0x80;
}

std::string Hexadecimal(unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  return {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
}

}  // namespace

std::string Counted(std::size_t count, const std::string& noun, const std::string& plural) {
  const std::string many = plural.empty() ? noun + "s" : plural;
  return std::to_string(count) + " " + (count == 1 ? noun : many);
}

std::string Printable(const std::string& text) {
  std::string printable;
  unsigned rest = 0;  // continuation bytes that the character still wants
  const std::string escaped = Ini::Escape(text, Ini::Place::Comment);
  for (std::size_t at = 0; at < escaped.size(); ++at) {
    const auto byte = static_cast<unsigned char>(escaped[at]);
    if (IsContinuation(byte) && rest > 0) {
      --rest;
      printable += escaped[at];
    } else if (IsContinuation(byte) || StartsC1(escaped, at)) {
      printable += Hexadecimal(byte);
      rest = 0;  // the second byte of a C1 control is then alone, and escaped too
    } else {
      rest = ContinuationsAfter(byte);
      printable += escaped[at];
    }
  }
  return printable;
}

/// To standard error, behind what standard output has so far: both often go to one log. Whoever has
/// closed that has chosen not to be told.
void Messages::Tell(const char* prefix, const std::string& text) const {
  status_->Clear();
  std::fflush(stdout);  // a failure shows at the end of the program
  std::fprintf(stderr, "%s%s\n", prefix, Printable(text).c_str());
}

/// To standard output.
void Messages::Put(const std::string& text) const {
  status_->Clear();
  if (std::fprintf(stdout, "%s\n", text.c_str()) < 0) RaiseUnwritten(errno);
}

void Messages::Error(const std::string& text) const {
  Tell("saverestore: ", text);
}

void Messages::Warning(const std::string& text) const {
  Tell("saverestore: warning: ", text);
}

void Messages::Result(const std::string& text) const {
  if (!IsQuiet()) Put(Printable(text));
}

void Messages::Lines(const std::string& text) const {
  if (IsQuiet() || text.empty()) return;
  status_->Clear();
  if (mayPage_ && ShowThroughPager(text)) return;
  Put(text.substr(0, text.size() - 1));
}

void Messages::Document(const std::string& text) const {
  Put(text);
}

void Messages::Note(const std::string& text) const {
  if (IsQuiet()) return;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) Tell("", line);
}

void Messages::Detail(const std::string& text) const {
  if (IsVerbose()) Tell("", text);
}

}  // namespace Tool
