#pragma once

#include <map>
#include <string>
#include <string_view>

#include "query/Limits.h"
#include "query/Shared.h"

/// What a node of the query path space is. Other numbers are neither.
enum NodeKind : int { NODE_SETTING = 0, NODE_MENU = 1 };

/// What a remark ends with where a setting has another name beside its key, by which it is found in
/// files of a server that calls it something else: this, and the name.
inline constexpr std::string_view kAttributeRemark = "attribute ";

/// What a text reads that a server has not told, so that a file tells it from an empty one. No back
/// end writes it.
inline constexpr const char* kNotTold = "N.A.";

/// One node of a query result. Texts are UTF-8 and hold no NUL byte.
struct _XNode {  // NOLINT(bugprone-reserved-identifier): the name callers know
  int kind = NODE_SETTING;

  /// A setting: its value, and sometimes further texts. A BIOS menu, or any other inner node: the
  /// full paths of its children in the machine's order. Empty: the node has no value.
  Query::Texts values;

  /// The choices of a setting: value to display text. Empty for a free-form setting.
  Query::TextMap options;

  /// A BIOS setting with the flag set is neither saved nor restored.
  bool flag = false;

  /// What a person who edits the value should know beyond its options; part of a sentence.
  Query::Text remark = {};

  /// What a setting takes beyond its options (`Query::Objection` checks a value against both).
  Query::Shared<Query::Limits> limits = {};

  bool operator==(const _XNode&) const = default;
};

/// A query result: full path to node, in byte order of the paths.
using NodeMap = std::map<std::string, _XNode>;
