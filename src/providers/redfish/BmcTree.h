#pragma once

#include <optional>
#include <string>
#include <vector>

#include "providers/redfish/BmcResources.h"
#include "query/PatternTree.h"

namespace Redfish {

/// The settings of a BMC as a Redfish service shows them: the table of `BmcTable` on its resources.
/// Reads throw as `Service::Get`.
class BmcTree final : public Query::PatternTree {
 public:
  explicit BmcTree(Service& service) : service_(service), resources_(service) {}

  /// As `PatternTree::Read`, and lists what has no settings here: the event filters, so that a file
  /// of this BMC can be restored over IPMI too, and the channels of an account that can be made, by
  /// which a restore knows what else the file tells of it.
  void Read(const std::string& path, NodeMap& results);

  /// The row that counts for a path, and its place; nothing for a path that no row has.
  struct Found {
    const BmcRow* row;
    Query::Indexes indexes;
    std::string resource;  ///< its path; empty where the service does not have it
  };
  [[nodiscard]] std::optional<Found> Find(const std::string& path);

  /// The value of a setting; nothing where the service does not have or not tell it.
  [[nodiscard]] std::optional<std::string> Text(const Found& found);

  [[nodiscard]] BmcResources& Resources() { return resources_; }
  [[nodiscard]] Service& Of() { return service_; }

 protected:
  [[nodiscard]] std::size_t RowCount() const override { return BmcTable().size(); }
  [[nodiscard]] std::string_view PatternOf(std::size_t row) const override {
    return BmcTable()[row].path;
  }
  [[nodiscard]] std::vector<std::uint8_t> InstancesOf(char letter,
                                                      const Query::Indexes& before) override;
  [[nodiscard]] std::optional<_XNode> NodeOf(std::size_t row, const Query::Indexes& indexes,
                                             const std::string& path) override;
  [[nodiscard]] bool MayBeEmpty(std::size_t row) const override;

 private:
  [[nodiscard]] std::vector<std::uint8_t> ListedAlone(const std::string& collection);

  Service& service_;
  BmcResources resources_;
};

}  // namespace Redfish
