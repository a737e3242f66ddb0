#include "providers/ipmi/Reader.h"

#include <algorithm>
#include <charconv>
#include <functional>

#include "providers/ipmi/Codec.h"
#include "providers/ipmi/Instances.h"
#include "providers/ipmi/PageAccess.h"
#include "query/NodeTree.h"

namespace Ipmi {
namespace {

using Visit = std::function<void(const std::string& path, const Place& place)>;

/// True when what begins with `prefix` and goes on with an index can be `path` or lie below it.
bool LeadsTo(const std::string& prefix, const std::string& path) {
  return prefix == path || Query::IsBelow(prefix, path) || path.starts_with(prefix + "[");
}

/// True when the node `inner` is `path`, lies below it, or has it below itself.
bool IsOnTheWay(const std::string& inner, const std::string& path) {
  return inner == path || Query::IsBelow(inner, path) || Query::IsBelow(path, inner);
}

/// Visits the paths that `pattern` stands for, at and below `path`, on this BMC.
void Expand(Bmc& bmc, std::string_view pattern, const std::string& path, const std::string& done,
            const Place& place, const Visit& visit) {
  const Step step = TakeStep(pattern);
  const std::string prefix = done + std::string(step.text);
  if (step.letter == '\0') {
    if (prefix == path || Query::IsBelow(prefix, path)) visit(prefix, place);
    return;
  }
  if (!LeadsTo(prefix, path)) return;
  for (const std::uint8_t index : InstancesOf(bmc, step.letter, place)) {
    const std::string instance = prefix + "[" + std::to_string(index) + "]";
    if (!IsOnTheWay(instance, path)) continue;
    Place there = place;
    PutIndex(there, step.letter, index);
    Expand(bmc, pattern, path, instance, there, visit);
  }
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

/// The event filters are all there, as many as the BMC says it has.
bool IsSurelyThere(const std::string& child) {
  return child.starts_with("/BMC/PEF/FILTER[") && child.ends_with(']');
}

/// A collection lists its instances alone and in their order: what all of them share has paths
/// below it, but is none of them.
void ListInstancesAlone(const std::string& path, _XNode& node) {
  const auto isInstance = [](const std::string& child) { return IndexOf(child) >= 0; };
  const bool isCollection = std::ranges::any_of(
      FieldTable(), [&](const FieldRow& field) { return field.path.starts_with(path + "["); });
  if (!isCollection && std::ranges::none_of(node.values, isInstance)) return;
  std::vector<std::string>& instances = node.values.Edit();
  std::erase_if(instances, std::not_fn(isInstance));
  std::ranges::sort(instances, {}, IndexOf);
}

}  // namespace

std::optional<std::string> ReadField(Bmc& bmc, const FieldRow& field, Place place,
                                     const std::string& path) {
  const Bmc::Subject subject(bmc, path);
  if (field.page == Page::UserEnable) place.channel = UserChannel(bmc);
  const std::optional<Bytes> data = ReadPage(bmc, field.page, place);
  return data ? Decode(field, *data) : std::nullopt;
}

bool IsThere(Bmc& bmc, const FieldRow& field, const std::string& path) {
  bool isThere = false;
  Expand(bmc, field.path, path, "", {},
         [&](const std::string& leaf, const Place& /*place*/) { isThere |= leaf == path; });
  return isThere;
}

NodeMap ReadTree(Bmc& bmc, const std::string& path, Depth depth) {
  NodeMap leaves;
  NodeMap inner;
  std::vector<std::string> untold;
  const auto isListed = [&](const std::string& child) {
    const auto node = inner.find(path);
    return node != inner.end() &&
           std::ranges::find(node->second.values, child) != node->second.values.end();
  };
  for (const FieldRow& field : FieldTable()) {
    Expand(bmc, field.path, path, "", {}, [&](const std::string& leaf, const Place& place) {
      if (depth == Depth::Children && leaf != path) {
        const std::string child = ChildOnTheWay(path, leaf);
        if (isListed(child)) return;
        if (IsSurelyThere(child)) return ListWithParents(child, inner);
      }
      std::optional<std::string> text = ReadField(bmc, field, place, leaf);
      if (!text && MayBeEmpty(field)) untold.push_back(leaf);
      if (!text) return;
      _XNode& node = leaves[leaf];
      node.values = {std::move(*text)};
      for (const Word& word : field.words) node.options.emplace(word.text, word.text);
      node.limits = LimitsOf(field);
      ListWithParents(leaf, inner);
    });
  }
  for (const std::string& leaf : untold) {
    if (leaf != path && !inner.contains(ParentOf(leaf))) continue;
    leaves[leaf].values = {kNotTold};
    ListWithParents(leaf, inner);
  }
  for (auto& [parent, node] : inner) ListInstancesAlone(parent, node);
  leaves.merge(inner);
  return leaves;
}

}  // namespace Ipmi
