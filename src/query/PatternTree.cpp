#include "query/PatternTree.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "query/NodeTree.h"

namespace Query {
namespace {

/// True when what begins with `prefix` and goes on with an index can be `path` or lie below it.
bool LeadsTo(const std::string& prefix, const std::string& path) {
  return prefix == path || IsBelow(prefix, path) || path.starts_with(prefix + "[");
}

/// True when the node `inner` is `path`, lies below it, or has it below itself.
bool IsOnTheWay(const std::string& inner, const std::string& path) {
  return inner == path || IsBelow(inner, path) || IsBelow(path, inner);
}

/// The node that `path` is a child of; empty for the root of a tree.
std::string ParentOf(const std::string& path) {
  const std::size_t cut = path.find_last_of(path.ends_with(']') ? '[' : '/');
  return path.substr(0, cut);
}

/// The index of the last token; -1 for none.
int IndexOf(const std::string& path) {
  if (!path.ends_with(']')) return -1;
  int index = -1;
  std::from_chars(path.data() + path.rfind('[') + 1, path.data() + path.size(), index);
  return index;
}

/// Lists `path` with its parent, and that with its own.
void ListWithParents(const std::string& path, NodeMap& tree) {
  const std::string parent = ParentOf(path);
  if (parent.empty()) return;
  const bool isNew = !tree.contains(parent);
  std::vector<std::string>& children = tree[parent].values.Edit();
  if (std::ranges::find(children, path) != children.end()) return;
  children.push_back(path);
  if (isNew) ListWithParents(parent, tree);
}

/// The child of `node` that is `leaf` or has it below itself.
std::string ChildOnTheWay(const std::string& node, const std::string& leaf) {
  return leaf.substr(0, leaf.find_first_of("/[", node.size() + 1));
}

bool IsInstance(const std::string& child) {
  return IndexOf(child) >= 0;
}

std::string InBrackets(std::uint8_t index) {
  return "[" + std::to_string(index) + "]";
}

}  // namespace

Step TakeStep(std::string_view& pattern) {
  for (std::size_t open = pattern.find('['); open != std::string_view::npos;
       open = pattern.find('[', open + 1)) {
    const char letter = pattern[open + 1];
    if (letter < 'A' || letter > 'Z') continue;
    const Step step{pattern.substr(0, open), letter};
    pattern.remove_prefix(open + 3);
    return step;
  }
  return {std::exchange(pattern, {}), '\0'};
}

std::optional<Indexes> IndexesIn(std::string_view pattern, std::string_view path) {
  Indexes indexes;
  for (Step step = TakeStep(pattern);; step = TakeStep(pattern)) {
    if (step.letter == '\0') return path == step.text ? std::optional(indexes) : std::nullopt;
    if (!path.starts_with(step.text)) return std::nullopt;
    path.remove_prefix(step.text.size());
    if (!path.starts_with('[')) return std::nullopt;
    path.remove_prefix(1);
    if (path.starts_with('0') && !path.starts_with("0]")) return std::nullopt;
    std::uint8_t index = 0;
    const auto [stop, error] = std::from_chars(path.data(), path.data() + path.size(), index);
    if (error != std::errc() || index == 255) return std::nullopt;
    path.remove_prefix(static_cast<std::size_t>(stop - path.data()));
    if (!path.starts_with(']')) return std::nullopt;
    path.remove_prefix(1);
    indexes.push_back({step.letter, index});
  }
}

std::uint8_t ValueOf(const Indexes& indexes, char letter) {
  const auto index = std::ranges::find(indexes, letter, &Index::letter);
  return index == indexes.end() ? std::uint8_t{0} : index->value;
}

std::string PathOf(std::string_view pattern, const Indexes& indexes) {
  std::string path;
  for (Step step = TakeStep(pattern);; step = TakeStep(pattern)) {
    path += step.text;
    if (step.letter == '\0') return path;
    path += InBrackets(ValueOf(indexes, step.letter));
  }
}

/// Visits the paths that `pattern` stands for, at and below `path`, on this server.
void PatternTree::Expand(std::string_view pattern, const std::string& path, const std::string& done,
                         const Indexes& before, const Visit& visit) {
  const Step step = TakeStep(pattern);
  const std::string prefix = done + std::string(step.text);
  if (step.letter == '\0') {
    if (prefix == path || IsBelow(prefix, path)) visit(prefix, before);
    return;
  }
  if (!LeadsTo(prefix, path)) return;
  for (const std::uint8_t index : InstancesOf(step.letter, before)) {
    const std::string instance = prefix + InBrackets(index);
    if (!IsOnTheWay(instance, path)) continue;
    Indexes indexes = before;
    indexes.push_back({step.letter, index});
    Expand(pattern, path, instance, indexes, visit);
  }
}

/// A collection lists its instances alone and in their order: what all of them share has paths
/// below it, but is none of them.
void PatternTree::ListInstancesAlone(const std::string& path, _XNode& node) const {
  bool isCollection = false;
  for (std::size_t row = 0; row < RowCount() && !isCollection; ++row) {
    isCollection = PatternOf(row).starts_with(path + "[");
  }
  if (!isCollection && std::ranges::none_of(node.values, IsInstance)) return;
  std::vector<std::string>& instances = node.values.Edit();
  std::erase_if(instances, std::not_fn(IsInstance));
  std::ranges::sort(instances, {}, IndexOf);
}

NodeMap PatternTree::Nodes(const std::string& path, Depth depth) {
  NodeMap leaves;
  NodeMap inner;
  std::vector<std::string> untold;
  const auto isListed = [&](const std::string& child) {
    const auto node = inner.find(path);
    return node != inner.end() &&
           std::ranges::find(node->second.values, child) != node->second.values.end();
  };
  for (std::size_t row = 0; row < RowCount(); ++row) {
    Expand(PatternOf(row), path, "", {}, [&](const std::string& leaf, const Indexes& indexes) {
      if (depth == Depth::Children && leaf != path) {
        const std::string child = ChildOnTheWay(path, leaf);
        if (isListed(child)) return;
        if (IsSurelyThere(child)) return ListWithParents(child, inner);
      } else if (PassesBy(row, indexes, path)) {
        const std::string parent = ParentOf(leaf);
        if (IsSurelyThere(parent)) ListWithParents(parent, inner);
        return;
      }
      std::optional<_XNode> node = NodeOf(row, indexes, leaf);
      if (!node && MayBeEmpty(row)) untold.push_back(leaf);
      if (!node) return;
      leaves[leaf] = std::move(*node);
      ListWithParents(leaf, inner);
    });
  }
  for (const std::string& leaf : untold) {
    if (leaves.contains(leaf)) continue;  // another row tells it
    if (leaf != path && !inner.contains(ParentOf(leaf))) continue;
    leaves[leaf].values = {kNotTold};
    ListWithParents(leaf, inner);
  }
  for (auto& [parent, node] : inner) ListInstancesAlone(parent, node);
  leaves.merge(inner);
  return leaves;
}

void PatternTree::Read(const std::string& path, NodeMap& results) {
  const bool asksForChildren = path.ends_with(kChildrenSuffix);
  const std::string node =
      asksForChildren ? path.substr(0, path.size() - kChildrenSuffix.size()) : path;
  ReadNodes(Nodes(node, asksForChildren ? Depth::Children : Depth::Whole), path, results);
}

bool PatternTree::IsThere(std::size_t row, const std::string& path) {
  bool isThere = false;
  Expand(PatternOf(row), path, "", {},
         [&](const std::string& leaf, const Indexes& /*indexes*/) { isThere |= leaf == path; });
  return isThere;
}

}  // namespace Query
