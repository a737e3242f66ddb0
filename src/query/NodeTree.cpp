#include "query/NodeTree.h"

#include <algorithm>
#include <iterator>

#include "common/ErrorManager.h"

namespace Query {

bool IsBelow(std::string_view path, std::string_view ancestor) {
  return path.size() > ancestor.size() && path.starts_with(ancestor) &&
         (path[ancestor.size()] == '/' || path[ancestor.size()] == '[');
}

std::vector<std::string> ChildrenAmong(const std::vector<std::string>& values,
                                       std::string_view path) {
  std::vector<std::string> children;
  std::ranges::copy_if(values, std::back_inserter(children),
                       [&](const std::string& value) { return IsBelow(value, path); });
  return children;
}

void ReadNodes(const NodeMap& tree, const std::string& path, NodeMap& results) {
  if (path.ends_with(kChildrenSuffix)) {
    const std::string parent = path.substr(0, path.size() - kChildrenSuffix.size());
    const auto node = tree.find(parent);
    if (node == tree.end()) ErrorManager::Raise(ErrorManager::NoSuchNode, parent);
    _XNode listing = node->second;
    listing.values = ChildrenAmong(listing.values, parent);
    results.try_emplace(parent, std::move(listing));
    return;
  }
  bool found = false;
  ForSubtree(tree, path, [&](const NodeMap::value_type& entry) {
    results.insert(results.end(), entry);  // they come in order: mostly no search is needed
    found = true;
  });
  if (!found) ErrorManager::Raise(ErrorManager::NoSuchNode, path);
}

}  // namespace Query
