#pragma once

#include <optional>
#include <string>

#include "providers/ipmi/Bmc.h"
#include "providers/ipmi/FieldTable.h"
#include "query/PatternTree.h"

namespace Ipmi {

/// The text of one setting, or nothing when the BMC does not have or not tell it. Warnings name
/// `path`.
/// \throws ResultStatus  as `Bmc::Ask`.
[[nodiscard]] std::optional<std::string> ReadField(Bmc& bmc, const FieldRow& field, Place place,
                                                   const std::string& path);

/// True when the BMC has the channel, user, filter and destination that `path`, one of `field`,
/// names.
/// \throws ResultStatus  as `Bmc::Ask`.
[[nodiscard]] bool IsThere(Bmc& bmc, const FieldRow& field, const std::string& path);

/// The table of fields on a BMC. Reads throw as `Bmc::Ask`.
class FieldTree final : public Query::PatternTree {
 public:
  explicit FieldTree(Bmc& bmc) : bmc_(bmc) {}

 protected:
  [[nodiscard]] std::size_t RowCount() const override { return FieldTable().size(); }
  [[nodiscard]] std::string_view PatternOf(std::size_t row) const override {
    return FieldTable()[row].path;
  }
  [[nodiscard]] std::vector<std::uint8_t> InstancesOf(char letter,
                                                      const Query::Indexes& before) override;
  [[nodiscard]] std::optional<_XNode> NodeOf(std::size_t row, const Query::Indexes& indexes,
                                             const std::string& path) override;
  [[nodiscard]] bool MayBeEmpty(std::size_t row) const override;
  [[nodiscard]] bool IsSurelyThere(const std::string& instance) const override;
  [[nodiscard]] bool PassesBy(std::size_t row, const Query::Indexes& indexes,
                              const std::string& path) const override;

 private:
  Bmc& bmc_;
};

}  // namespace Ipmi
