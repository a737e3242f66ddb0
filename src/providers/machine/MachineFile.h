#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "query/XNode.h"

/// The machine file: a whole server in one JSON text, for work without hardware.
///
///     {
///       "format": "saverestore-machine/1",
///       "platform": "CALDRA_PLATFORM",
///       "adminPassword": "secret",
///       "nodes": {
///         "/BIOS": {"kind": 1, "values": ["/BIOS/Main"]},
///         "/BIOS/Main": {"kind": 1, "values": ["/BIOS/Main/Quiet Boot"]},
///         "/BIOS/Main/Quiet Boot": {"values": ["1"], "options": {"0": "Off", "1": "On"}},
///         ...
///
/// "adminPassword" may be missing; of a node's members all may be missing. What a setting takes
/// beyond its options are the members "writable", "form" ("whole" or "number"; a "range" without it
/// is one of whole numbers), "range" and "length" ([low, high]), "step" and "pattern".
namespace Machine {

/// An inclusive range.
using Limits = Query::Range;

/// What a setting accepts, in the terms of those who make machines by hand.
struct Constraint {
  bool writable = true;
  std::optional<Limits> range;   ///< of a whole number
  std::optional<Limits> length;  ///< in characters
  bool operator==(const Constraint&) const = default;
};

/// A server.
struct MachineImage {
  std::string platform;
  std::string adminPassword;  ///< empty: none is set
  NodeMap nodes;
  std::map<std::string, Constraint> constraints;  ///< for nodes without limits of their own
};

/// Why a text is no machine file.
class MalformedMachine : public std::runtime_error {
 public:
  MalformedMachine(std::size_t lineNumber, const std::string& reason)
      : std::runtime_error(reason), line(lineNumber) {}
  std::size_t line;  ///< 1-based
};

/// Reads a machine from its JSON text. Anything that the form does not know, or that stands twice,
/// is refused, so that a misspelt member is not overlooked. \throws MalformedMachine
[[nodiscard]] MachineImage ParseMachine(std::string_view text);

/// The JSON text of a machine: one line for each node, in byte order of the paths, so that a
/// changed setting is a changed line.
[[nodiscard]] std::string RenderMachine(const MachineImage& machine);

/// True when a machine file can hold `text`: it is valid UTF-8.
[[nodiscard]] bool IsRenderable(const std::string& text);

/// Reads the machine file at `path`.
/// \throws ResultStatus  TargetMissing, NotPermitted, or TargetMalformed with line and reason.
[[nodiscard]] MachineImage LoadMachine(const std::string& path);

/// Writes the machine file at `path` whole or not at all; an existing file keeps its permissions,
/// and a symbolic link stays one.
/// \throws ResultStatus  WriteFailed, NotPermitted.
void StoreMachine(const MachineImage& machine, const std::string& path);

}  // namespace Machine
