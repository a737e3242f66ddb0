#include "tool/terminal/Messages.h"

#include <unistd.h>

#include <cstdio>
#include <sstream>

#include "ini/IniEscape.h"

namespace Tool {
namespace {

void Print(FILE* stream, const char* prefix, const std::string& text) {
  std::fprintf(stream, "%s%s\n", prefix, Printable(text).c_str());
}

}  // namespace

std::string Counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Printable(const std::string& text) {
  return Ini::Escape(text, Ini::Place::Comment);
}

bool Messages::ShowsProgress() const {
  return verbosity_ == Verbosity::Normal && isatty(STDERR_FILENO) == 1;
}

void Messages::Error(const std::string& text) const {
  Print(stderr, "saverestore: ", text);
}

void Messages::Warning(const std::string& text) const {
  Print(stderr, "saverestore: warning: ", text);
}

void Messages::Result(const std::string& text) const {
  if (verbosity_ != Verbosity::Quiet) Print(stdout, "", text);
}

void Messages::Document(const std::string& text) const {
  std::fprintf(stdout, "%s\n", text.c_str());
}

void Messages::Note(const std::string& text) const {
  if (verbosity_ == Verbosity::Quiet) return;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) Print(stderr, "", line);
}

void Messages::Detail(const std::string& text) const {
  if (IsVerbose()) Print(stderr, "", text);
}

}  // namespace Tool
