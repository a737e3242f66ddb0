#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What many servers have to say, put together: which are as wanted, and which of the others differ
// in the same way. Made of the JSON documents of single servers, so that it needs none of them.

namespace Planning {

/// One setting that a document has something to tell about.
struct FleetItem {
  enum class Verdict {
    Differs,
    WaitsForBoot,  ///< differs, and its value waits for the next boot
    WouldChange,
    CannotChange,
    Applied,
    Pending,
    NotApplied,
    NotReadBack,
    LeftAlone,  ///< the host's own
  };
  /// A value, with the text that the setup screen has for it; empty where it has none.
  struct Value {
    std::string value;
    std::string text;
    auto operator<=>(const Value&) const = default;  // NOLINT(modernize-use-nullptr)
  };
  std::string section;
  std::string key;                   ///< empty for a section as a whole
  std::optional<Value> found = {};   ///< on the server, before a write; nothing: it has none
  std::optional<Value> wanted = {};  ///< nothing: nobody named it
  Verdict verdict = Verdict::Differs;
  std::string reason = {};  ///< a part of a sentence; empty where the verdict says it all

  auto operator<=>(const FleetItem&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// What people read for a verdict.
[[nodiscard]] const char* NameOf(FleetItem::Verdict verdict);

/// How a document leaves its server.
enum class Standing {
  AsWanted,  ///< all is, or waits for a boot that it was told of
  Differs,
  Silent,  ///< the server did not answer
  Failed,  ///< the command failed for another reason
};

/// One document.
struct FleetDocument {
  std::string command;  ///< "verify"
  std::string file;     ///< what was wanted; empty for a failure
  Standing standing = Standing::AsWanted;
  bool waits = false;                                       ///< for the next boot
  std::vector<std::pair<std::string, std::string>> system;  ///< firmware facts by name
  std::vector<FleetItem> items;
  std::vector<FleetItem> own;         ///< what the host keeps of its own
  std::vector<std::string> messages;  ///< what the server or the restore has said
  std::string failure;
  std::string backup;
  std::optional<std::size_t> group = {};  ///< that has the items, in a report
};

/// One server. Its last document says how it stands.
struct FleetServer {
  std::string name;
  std::vector<FleetDocument> documents;  ///< at least one

  [[nodiscard]] const FleetDocument& Last() const { return documents.back(); }
};

/// Documents with the same items.
struct FleetGroup {
  std::vector<FleetItem> items;
  std::vector<std::size_t> servers;  ///< their places in the report, ascending
  bool isDifference = false;         ///< some of the servers differ in this way by now
};

/// One row of the matrix of settings and groups.
struct FleetRow {
  const FleetItem* first = nullptr;  ///< in the first group that has it
  bool isWantedAlike = true;         ///< all groups want the same value
  std::vector<std::pair<std::size_t, const FleetItem*>>
      cells;  ///< group and what it has, ascending
};

struct FleetFact {
  std::string name;  ///< "BIOSVersion"
  std::vector<std::pair<std::string, std::size_t>>
      values;  ///< with the number of servers; most first
};

struct FleetReport {
  std::vector<FleetServer> servers;  ///< in the order given; their items are in the groups
  std::vector<FleetGroup> groups;    ///< those that differ first, then the largest first
  std::vector<FleetFact> facts;

  [[nodiscard]] std::size_t Count(Standing standing) const;
  [[nodiscard]] std::size_t Waiting() const;
  /// How many groups are differences.
  [[nodiscard]] std::size_t Ways() const;
  /// The settings that the groups are about, in the order of the documents; points into the groups.
  [[nodiscard]] std::vector<FleetRow> Rows() const;
};

/// The documents in files, and in the "*.json" of folders, in the order given. A server has the
/// name of its file; a later document of the same name is about the same server. \throws Failure
/// one cannot be read, or is no document of a server; the text names it.
[[nodiscard]] std::vector<FleetServer> ReadFleet(const std::vector<std::string>& paths);

/// Puts servers together. \pre there is at least one.
[[nodiscard]] FleetReport MakeFleetReport(std::vector<FleetServer> servers);

/// The report in a sentence: "187 of 200 servers are as wanted; 3 did not answer."
[[nodiscard]] std::string Headline(const FleetReport& report);

}  // namespace Planning
