#include "query/XEngine.h"

#include <algorithm>

namespace Common {

XTokenizer::XTokenizer(const std::string& text, char separator) {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    if (end > start) tokens_.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

XTokenizer XEngine::ParseXQuery(const std::string& path) const {
  return {path, '/'};
}

}  // namespace Common
