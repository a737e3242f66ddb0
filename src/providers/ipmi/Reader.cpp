#include "providers/ipmi/Reader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "providers/ipmi/Codec.h"
#include "providers/ipmi/Instances.h"
#include "providers/ipmi/PageAccess.h"
#include "query/NodeTree.h"

namespace Ipmi {
namespace {

/// The last one of a kind that a saved file has a place for.
struct LastInFiles {
  char letter;  ///< of the field's path
  std::uint8_t index;
};
constexpr auto kLastInFiles = std::to_array<LastInFiles>({{'U', 5}, {'F', 12}, {'D', 1}});

}  // namespace

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

/// What the BMC counts is there, as many as it says it has.
bool FieldTree::IsSurelyThere(const std::string& instance) const {
  if (!instance.ends_with(']')) return false;
  const std::string collection = instance.substr(0, instance.rfind('['));
  return collection == "/BMC/PEF/FILTER" || collection == "/BMC/USER" ||
         collection.ends_with("/ALERT/DESTINATION");
}

/// Each of them would be a request of its own for what files have no place for.
bool FieldTree::PassesBy(std::size_t row, const Query::Indexes& indexes,
                         const std::string& path) const {
  const FieldRow& field = FieldTable()[row];
  std::string_view node;
  if (field.page == Page::SolBitRate) node = field.path.substr(0, field.path.rfind('/'));
  for (const auto& [letter, index] : indexes) {
    const auto* last = std::ranges::find(kLastInFiles, letter, &LastInFiles::letter);
    if (last == kLastInFiles.end() || index <= last->index) continue;
    node = field.path.substr(0, field.path.find(std::string{'[', letter, ']'}) + 3);
  }
  return !node.empty() && Query::IsBelow(Query::PathOf(node, indexes), path);
}

}  // namespace Ipmi
