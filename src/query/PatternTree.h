#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "query/XNode.h"

/// Trees whose settings are rows of a table of path patterns: "/BMC/USER[U]/CHANNEL[S]/PRIVILEGE".
/// An index that a capital letter stands for runs over what the server has; others are as they are.
namespace Query {

/// The index that stands for a letter of a pattern.
struct Index {
  char letter;
  std::uint8_t value;
};
/// In the order of the pattern.
using Indexes = std::vector<Index>;

/// A pattern takes its steps one after the other: a text, and the letter that stands for the index
/// behind it; 0 at the end of the pattern.
struct Step {
  std::string_view text;
  char letter;
};
/// Takes the first step off `pattern`.
[[nodiscard]] Step TakeStep(std::string_view& pattern);

/// The indexes of `path` when it is one that `pattern` stands for. An index is from 0 to 254,
/// without leading zeros.
[[nodiscard]] std::optional<Indexes> IndexesIn(std::string_view pattern, std::string_view path);

/// The value that stands for a letter; 0 without one.
[[nodiscard]] std::uint8_t ValueOf(const Indexes& indexes, char letter);

/// The path that `pattern` is with these indexes; those of letters that it lacks are passed over.
[[nodiscard]] std::string PathOf(std::string_view pattern, const Indexes& indexes);

/// A back end's view of such a table.
class PatternTree {
 public:
  PatternTree() = default;
  PatternTree(const PatternTree&) = delete;
  PatternTree& operator=(const PatternTree&) = delete;
  virtual ~PatternTree() = default;

  /// Adds nodes as `QueryProvider::Read` promises it. An inner node lists its children, a
  /// collection its instances; asking for the children of a node reads only as many settings as
  /// that takes, and a read of a node passes by what `PassesBy` names. A text that can be empty
  /// reads `kNotTold` where the server does not tell it, but tells others beside it.
  void Read(const std::string& path, NodeMap& results);

  /// True when the server has what `path`, one of the row's, names by its indexes.
  [[nodiscard]] bool IsThere(std::size_t row, const std::string& path);

 protected:
  using Visit = std::function<void(const std::string& path, const Indexes& indexes)>;

  [[nodiscard]] virtual std::size_t RowCount() const = 0;
  [[nodiscard]] virtual std::string_view PatternOf(std::size_t row) const = 0;
  /// The indexes that a letter runs over, in ascending order, behind those to its left.
  [[nodiscard]] virtual std::vector<std::uint8_t> InstancesOf(char letter,
                                                              const Indexes& before) = 0;
  /// The setting; nothing where the server does not have or not tell it.
  [[nodiscard]] virtual std::optional<_XNode> NodeOf(std::size_t row, const Indexes& indexes,
                                                     const std::string& path) = 0;
  /// True when an empty text is a value of its own, and not just none.
  [[nodiscard]] virtual bool MayBeEmpty(std::size_t row) const = 0;
  /// True for an instance that is there even when none of its settings can be read.
  [[nodiscard]] virtual bool IsSurelyThere(const std::string& /*instance*/) const { return false; }
  /// True for a setting that a read of `path`, a node above it, leaves out.
  [[nodiscard]] virtual bool PassesBy(std::size_t /*row*/, const Indexes& /*indexes*/,
                                      const std::string& /*path*/) const {
    return false;
  }

 private:
  enum class Depth : std::uint8_t { Whole, Children };

  [[nodiscard]] NodeMap Nodes(const std::string& path, Depth depth);
  void Expand(std::string_view pattern, const std::string& path, const std::string& done,
              const Indexes& before, const Visit& visit);
  void ListInstancesAlone(const std::string& path, _XNode& node) const;
};

}  // namespace Query
