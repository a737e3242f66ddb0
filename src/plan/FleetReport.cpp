#include "plan/FleetReport.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace Planning {
namespace {

constexpr auto kVerdictNames = std::to_array<const char*>({
    "differs",
    "waits for the boot",
    "would change",
    "cannot change",
    "applied",
    "pending until the next boot",
    "not applied",
    "not read back",
    "left alone",
});

/// "3 did not answer", or nothing where there is none.
std::string Clause(std::size_t count, const char* one, const char* many) {
  if (count == 0) return "";
  return "; " + std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string Counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

/// How many settings of a server are not as wanted by now.
std::size_t Differences(const FleetServer& server, const FleetReport& report) {
  if (!server.Last().group) return 0;
  return static_cast<std::size_t>(
      std::ranges::count_if(report.groups[*server.Last().group].items, [](const FleetItem& item) {
        return item.verdict != FleetItem::Verdict::Applied &&
               item.verdict != FleetItem::Verdict::Pending;
      }));
}

std::string HeadlineOfOne(const FleetServer& server, const FleetReport& report) {
  std::string text = server.name;
  switch (server.Last().standing) {
    case Standing::AsWanted:
      text += " is as wanted";
      break;
    case Standing::Differs:
      text += " differs in " + Counted(Differences(server, report), "setting");
      break;
    case Standing::Silent:
      text += " did not answer";
      break;
    case Standing::Failed:
      text += " failed";
      break;
  }
  return text + (server.Last().waits ? "; it waits for a boot." : ".");
}

std::vector<FleetFact> FactsOf(const std::vector<FleetServer>& servers) {
  std::vector<FleetFact> facts;
  for (const FleetServer& server : servers) {
    for (const auto& [name, value] : server.Last().system) {
      auto fact = std::ranges::find(facts, name, &FleetFact::name);
      if (fact == facts.end()) fact = facts.insert(facts.end(), {name, {}});
      using Counted = std::pair<std::string, std::size_t>;
      const auto counted = std::ranges::find(fact->values, value, &Counted::first);
      if (counted == fact->values.end()) {
        fact->values.emplace_back(value, 1);
      } else {
        ++counted->second;
      }
    }
  }
  for (FleetFact& fact : facts) {
    std::ranges::stable_sort(fact.values, [](const auto& left, const auto& right) {
      return left.second > right.second;
    });
  }
  return facts;
}

/// Moves the items of all documents into groups of the same items. The documents say which
/// afterwards.
std::vector<FleetGroup> GroupsOf(std::vector<FleetServer>& servers) {
  std::map<std::vector<FleetItem>, std::size_t> places;
  std::vector<FleetGroup> groups;
  for (std::size_t at = 0; at < servers.size(); ++at) {
    for (FleetDocument& document : servers[at].documents) {
      if (document.items.empty()) continue;
      const auto [place, isNew] = places.try_emplace(std::move(document.items), groups.size());
      if (isNew) groups.push_back({place->first, {}, false});
      document.items.clear();
      document.group = place->second;
      FleetGroup& group = groups[place->second];
      if (group.servers.empty() || group.servers.back() != at) group.servers.push_back(at);
      group.isDifference = group.isDifference || (&document == &servers[at].documents.back() &&
                                                  document.standing == Standing::Differs);
    }
  }
  return groups;
}

/// Puts the groups into their order, and has the documents follow.
void Sort(FleetReport& report) {
  std::vector<std::size_t> order(report.groups.size());
  for (std::size_t at = 0; at < order.size(); ++at) order[at] = at;
  std::ranges::stable_sort(order, [&](std::size_t left, std::size_t right) {
    const FleetGroup& first = report.groups[left];
    const FleetGroup& second = report.groups[right];
    if (first.isDifference != second.isDifference) return first.isDifference;
    return first.servers.size() > second.servers.size();
  });
  std::vector<FleetGroup> sorted;
  std::vector<std::size_t> places(order.size());
  for (const std::size_t from : order) {
    places[from] = sorted.size();
    sorted.push_back(std::move(report.groups[from]));
  }
  report.groups = std::move(sorted);
  for (FleetServer& server : report.servers) {
    for (FleetDocument& document : server.documents) {
      if (document.group) document.group = places[*document.group];
    }
  }
}

}  // namespace

const char* NameOf(FleetItem::Verdict verdict) {
  return kVerdictNames.at(static_cast<std::size_t>(verdict));
}

std::size_t FleetReport::Count(Standing standing) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      servers, [&](const FleetServer& server) { return server.Last().standing == standing; }));
}

std::size_t FleetReport::Waiting() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      servers, [](const FleetServer& server) { return server.Last().waits; }));
}

std::size_t FleetReport::Ways() const {
  return static_cast<std::size_t>(std::ranges::count(groups, true, &FleetGroup::isDifference));
}

std::vector<FleetRow> FleetReport::Rows() const {
  std::vector<FleetRow> rows;
  std::map<std::pair<std::string, std::string>, std::size_t> places;
  for (std::size_t at = 0; at < groups.size(); ++at) {
    for (const FleetItem& item : groups[at].items) {
      const auto [place, isNew] = places.try_emplace({item.section, item.key}, rows.size());
      if (isNew) rows.push_back({&item, true, {}});
      FleetRow& row = rows[place->second];
      row.isWantedAlike = row.isWantedAlike && item.wanted == row.first->wanted;
      row.cells.emplace_back(at, &item);
    }
  }
  return rows;
}

FleetReport MakeFleetReport(std::vector<FleetServer> servers) {
  FleetReport report;
  report.facts = FactsOf(servers);
  report.groups = GroupsOf(servers);
  report.servers = std::move(servers);
  Sort(report);
  return report;
}

std::string Headline(const FleetReport& report) {
  if (report.servers.size() == 1) return HeadlineOfOne(report.servers.front(), report);
  const std::size_t wanted = report.Count(Standing::AsWanted);
  const std::size_t differing = report.Count(Standing::Differs);
  std::string text = std::to_string(wanted) + " of " + std::to_string(report.servers.size()) +
                     " servers " + (wanted == 1 ? "is" : "are") + " as wanted";
  text += Clause(report.Count(Standing::Silent), "did not answer", "did not answer");
  text += Clause(report.Count(Standing::Failed), "failed", "failed");
  text += Clause(differing, "differs", "differ");
  if (differing != 0) text += " in " + Counted(report.Ways(), "way");
  return text + Clause(report.Waiting(), "waits for a boot", "wait for a boot") + ".";
}

}  // namespace Planning
