#include "tool/terminal/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <string_view>

#include "tool/terminal/Interrupt.h"

namespace Tool {

std::unique_ptr<Terminal> Terminal::Open() {
  const int descriptor = open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  return std::unique_ptr<Terminal>(new Terminal(descriptor));
}

void Terminal::Say(const std::string& text) const {
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t written = write(descriptor_.Get(), rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::optional<std::string> Terminal::Answer() const {
  std::string answer;
  for (char character = 0; character != '\n';) {
    WaitForInput(descriptor_.Get());
    const ssize_t got = read(descriptor_.Get(), &character, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 && answer.empty()) return std::nullopt;
    if (got <= 0) break;
    answer += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  constexpr const char* kBlanks = " \t\r\n";
  answer.erase(answer.find_last_not_of(kBlanks) + 1);
  return answer.substr(std::min(answer.find_first_not_of(kBlanks), answer.size()));
}

bool Terminal::Confirms(const std::string& question) const {
  Say(question + " [y/N] ");
  const std::string answer = Answer().value_or("");
  return answer == "y" || answer == "yes";
}

}  // namespace Tool
