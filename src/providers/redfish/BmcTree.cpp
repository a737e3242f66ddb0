#include "providers/redfish/BmcTree.h"

#include <utility>

#include "providers/redfish/BmcCodec.h"

namespace Redfish {

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
  for (const BmcWord& word : found->row->words) node.options.emplace(word.text, word.text);
  node.limits = LimitsOfRow(*found->row);
  return node;
}

bool BmcTree::MayBeEmpty(std::size_t row) const {
  return TakesEmpty(BmcTable()[row]);
}

}  // namespace Redfish
