#pragma once

#include <memory>
#include <optional>
#include <string>

#include "common/Descriptor.h"

namespace Tool {

/// The terminal that somebody sits at, wherever the standard streams lead: what is asked there is
/// asked of a person, and of nobody else.
class Terminal {
 public:
  /// The terminal of this process; nothing when it has none.
  [[nodiscard]] static std::unique_ptr<Terminal> Open();

  [[nodiscard]] int Descriptor() const { return descriptor_.Get(); }
  /// Shows `text` as it is. A terminal that is gone has nobody to tell.
  void Say(const std::string& text) const;
  /// The line that is typed, without the blanks around it, in lower case; nothing at the end of the
  /// input. \throws Interrupted
  [[nodiscard]] std::optional<std::string> Answer() const;
  /// Asks a question. \return true when the answer is yes. \throws Interrupted
  [[nodiscard]] bool Confirms(const std::string& question) const;

 private:
  explicit Terminal(int descriptor) : descriptor_(descriptor) {}

  Common::Descriptor descriptor_;
};

}  // namespace Tool
