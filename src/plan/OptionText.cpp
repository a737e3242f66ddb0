#include "plan/OptionText.h"

#include <algorithm>
#include <string_view>

namespace Planning {

std::string OptionText(const std::string& comment, const std::string& value) {
  constexpr std::string_view kOptions = ";Options: ";
  if (!comment.starts_with(kOptions)) return "";
  const std::string_view list = std::string_view(comment).substr(kOptions.size());
  const std::string ending = "=" + value;
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(": ", start), list.size());
    std::string_view option = list.substr(start, end - start);
    // Behind the last option there may be a remark.
    if (end == list.size()) option = option.substr(0, option.find("; "));
    if (option.ends_with(ending))
      return std::string(option.substr(0, option.size() - ending.size()));
    start = end + 2;
  }
  return "";
}

}  // namespace Planning
