#include "providers/redfish/BmcTree.h"

#include <utility>

#include "providers/redfish/BmcCodec.h"
#include "query/NodeTree.h"

namespace Redfish {

std::vector<std::uint8_t> BmcTree::ListedAlone(const std::string& collection) {
  if (collection == "/BMC/PEF/FILTER") return {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const auto user = Query::IndexesIn("/BMC/USER[U]/CHANNEL", collection);
  const bool canBe = user && resources_.CanMake(Query::ValueOf(*user, 'U'));
  return canBe ? resources_.InstancesOf('C') : std::vector<std::uint8_t>();
}

void BmcTree::Read(const std::string& path, NodeMap& results) {
  const std::string collection = path.substr(0, path.find(Query::kChildrenSuffix));
  const std::vector<std::uint8_t> indexes = ListedAlone(collection);
  if (indexes.empty()) return PatternTree::Read(path, results);
  _XNode node;
  for (const std::uint8_t index : indexes) {
    node.values.Edit().push_back(collection + "[" + std::to_string(index) + "]");
  }
  results.try_emplace(collection, std::move(node));
}

std::optional<BmcTree::Found> BmcTree::Find(const std::string& path) {
  std::optional<Found> first;
  for (const BmcRow& row : BmcTable()) {
    const std::optional<Query::Indexes> indexes = Query::IndexesIn(row.path, path);
    if (!indexes) continue;
    Found found{&row, *indexes, resources_.PathOf(row.holder, *indexes)};
    const Resource* resource = found.resource.empty() ? nullptr : service_.Find(found.resource);
    if (resource == nullptr) found.resource.clear();
    if (resource != nullptr && HasProperty(row, resource->content)) return found;
    if (!first) first = std::move(found);
  }
  return first;
}

std::optional<std::string> BmcTree::Text(const Found& found) {
  const bool isDestination = found.row->access == BmcAccess::Replaced;
  if (found.resource.empty()) {
    const bool canBe = isDestination && !resources_.SubscriptionCollection().empty();
    return canBe ? std::optional(UnsetDestination(*found.row)) : std::nullopt;
  }
  return TextOf(*found.row, service_.Get(found.resource).content);
}

std::vector<std::uint8_t> BmcTree::InstancesOf(char letter, const Query::Indexes& /*before*/) {
  return resources_.InstancesOf(letter);
}

std::optional<_XNode> BmcTree::NodeOf(std::size_t row, const Query::Indexes& /*indexes*/,
                                      const std::string& path) {
  const std::optional<Found> found = Find(path);
  if (!found || found->row != &BmcTable()[row]) return std::nullopt;
  std::optional<std::string> text = Text(*found);
  if (!text) return std::nullopt;
  _XNode node;
  node.values = {std::move(*text)};
  for (const BmcWord& word : found->row->words) {
    node.options.emplace(std::string(word.text), std::string(word.text));
  }
  node.limits = LimitsOfRow(*found->row);
  return node;
}

bool BmcTree::MayBeEmpty(std::size_t row) const {
  return TakesEmpty(BmcTable()[row]);
}

}  // namespace Redfish
