#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "modules/save/SavedConfiguration.h"
#include "modules/stream/StreamFile.h"

namespace SDK::Stream {

/// A stream file as a restore looks keys up in it. Of equal keys the last one holds, as in the text
/// form. A value is never cut.
class StreamConfiguration final : public SavedConfiguration {
 public:
  /// Reads every known block of `bytes`. \throws Scf::Damaged
  explicit StreamConfiguration(Scf::Bytes bytes);

  /// For whom the block `guid` says it is, or null when there is no such block.
  [[nodiscard]] const std::string* TargetOf(const EFI_GUID& guid) const;

  [[nodiscard]] bool IsReadable() const override;
  [[nodiscard]] int MapStatus() const override;
  [[nodiscard]] FileValue Find(const std::string& section, const std::string& key) const override;
  [[nodiscard]] std::map<std::string, std::string> Entries(
      const std::string& section) const override;

 protected:
  void ForEachKey(const KeyVisitor& visit) const override;

 private:
  using Rows = std::vector<Row>;
  void Add(Scf::Section& section);
  [[nodiscard]] const Rows* RowsOf(const std::string& section) const;

  struct BlockTarget {
    EFI_GUID guid;
    std::string target;
  };
  std::vector<unsigned char> bytes_;  // with the comments, which are seldom wanted
  std::vector<BlockTarget> targets_;
  std::unordered_map<std::string, Rows> sections_;  // without brackets; rows in order of their keys
};

}  // namespace SDK::Stream
