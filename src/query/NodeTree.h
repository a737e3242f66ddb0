#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "query/XNode.h"

/// The read contract of the path space over a map of nodes, for every back end that keeps one.
namespace Query {

/// The suffix that asks for the children of a node.
inline constexpr std::string_view kChildrenSuffix = "/@children";

/// True when `path` lies below `ancestor`: it starts with `ancestor` and then "/" or "[".
[[nodiscard]] bool IsBelow(std::string_view path, std::string_view ancestor);

/// Calls `visit` with each entry of `map` (keyed by path) at `path` and below it.
template <typename Map, typename Visit>
void ForSubtree(const Map& map, const std::string& path, Visit visit) {
  if (const auto node = map.find(path); node != map.end()) visit(*node);
  for (const char separator : {'/', '['}) {
    // Up to where the next character would stand, so that no path has to be looked at.
    const auto end = map.lower_bound(path + static_cast<char>(separator + 1));
    for (auto entry = map.lower_bound(path + separator); entry != end; ++entry) visit(*entry);
  }
}

/// Those of `values` that are paths below `path`: the children an inner node lists.
[[nodiscard]] std::vector<std::string> ChildrenAmong(const std::vector<std::string>& values,
                                                     std::string_view path);

/// Answers a read of `path` from `tree` as `QueryProvider::Read` promises it.
/// \throws ResultStatus  NoSuchNode; `results` is then unchanged.
void ReadNodes(const NodeMap& tree, const std::string& path, NodeMap& results);

}  // namespace Query
