#include "providers/ipmi/Reader.h"

#include <utility>

#include "providers/ipmi/Codec.h"
#include "providers/ipmi/Instances.h"
#include "providers/ipmi/PageAccess.h"

namespace Ipmi {

std::optional<std::string> ReadField(Bmc& bmc, const FieldRow& field, Place place,
                                     const std::string& path) {
  const Bmc::Subject subject(bmc, path);
  if (field.page == Page::UserEnable) place.channel = UserChannel(bmc);
  const std::optional<Bytes> data = ReadPage(bmc, field.page, place);
  return data ? Decode(field, *data) : std::nullopt;
}

bool IsThere(Bmc& bmc, const FieldRow& field, const std::string& path) {
  return FieldTree(bmc).IsThere(static_cast<std::size_t>(&field - FieldTable().data()), path);
}

std::vector<std::uint8_t> FieldTree::InstancesOf(char letter, const Query::Indexes& before) {
  return Ipmi::InstancesOf(bmc_, letter, PlaceAt(before));
}

std::optional<_XNode> FieldTree::NodeOf(std::size_t row, const Query::Indexes& indexes,
                                        const std::string& path) {
  const FieldRow& field = FieldTable()[row];
  std::optional<std::string> text = ReadField(bmc_, field, PlaceAt(indexes), path);
  if (!text) return std::nullopt;
  _XNode node;
  node.values = {std::move(*text)};
  for (const Word& word : field.words) node.options.emplace(word.text, word.text);
  node.limits = LimitsOf(field);
  return node;
}

bool FieldTree::MayBeEmpty(std::size_t row) const {
  return Ipmi::MayBeEmpty(FieldTable()[row]);
}

/// The event filters are all there, as many as the BMC says it has.
bool FieldTree::IsSurelyThere(const std::string& instance) const {
  return instance.starts_with("/BMC/PEF/FILTER[") && instance.ends_with(']');
}

}  // namespace Ipmi
