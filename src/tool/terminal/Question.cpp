#include "tool/terminal/Question.h"

#include <unistd.h>

#include <iostream>

namespace Tool {

bool Confirms(const std::string& question) {
  if (isatty(STDIN_FILENO) != 1) return true;
  std::cerr << question << " [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace Tool
