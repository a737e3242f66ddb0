#pragma once

#include <memory>
#include <optional>
#include <string>

#include "common/Wipe.h"

namespace Tool {

/// A password that was read once and is needed again, for a target that is opened anew. Wiped when
/// this ends.
struct KeptPassword {
  std::optional<std::string> text;

  KeptPassword() = default;
  KeptPassword(const KeptPassword&) = delete;
  KeptPassword& operator=(const KeptPassword&) = delete;
  ~KeptPassword() {
    if (text) Common::Wipe(*text);
  }
};

/// Where a password comes from; never the command line, which every user of the machine can read.
struct PasswordSource {
  std::string file;     ///< its first line; empty for none
  int descriptor = -1;  ///< the first line that it gives; -1 for none
  bool ask = false;     ///< asked for on the terminal, without echo
  std::string prompt = "BIOS administrator password: ";
  std::shared_ptr<KeptPassword> kept;  ///< taken from there, and put there when it was read
};

/// Reads the password into `out`; an empty one without a source. The caller wipes it.
/// \throws ToolError  it cannot be read, or is longer than `longest` bytes.
void ReadPassword(const PasswordSource& source, std::size_t longest, std::string& out);

}  // namespace Tool
