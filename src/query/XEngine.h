#pragma once

#include <string>
#include <vector>

namespace Common {

/// A text split into tokens.
class XTokenizer {
 public:
  /// Splits `text` at every `separator`.
  XTokenizer(const std::string& text, char separator);

  /// The tokens in order. Empty ones are left out, so a leading separator yields no token.
  [[nodiscard]] std::vector<std::string> TokenList() const { return tokens_; }

 private:
  std::vector<std::string> tokens_;
};

/// The query parser.
class XEngine {
 public:
  /// The "/"-separated tokens of a query path.
  [[nodiscard]] XTokenizer ParseXQuery(const std::string& path) const;
};

}  // namespace Common
