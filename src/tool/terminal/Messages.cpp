#include "tool/terminal/Messages.h"

#include <cerrno>
#include <cstdio>
#include <sstream>

#include "common/Text.h"
#include "tool/terminal/Pager.h"
#include "tool/terminal/StandardStreams.h"

namespace Tool {

std::string Counted(std::size_t count, const std::string& noun, const std::string& plural) {
  const std::string many = plural.empty() ? noun + "s" : plural;
  return std::to_string(count) + " " + (count == 1 ? noun : many);
}

std::string Printable(const std::string& text) {
  return Common::Printable(text);
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
  *hasDocument_ = true;
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
