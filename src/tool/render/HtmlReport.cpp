#include "tool/render/HtmlReport.h"

#include <nettle/base64.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <string_view>
#include <vector>

#include "modules/stream/Sha256.h"
#include "tool/render/HtmlReportParts.h"
#include "tool/terminal/Messages.h"

namespace Tool {
namespace {

using Planning::FleetDocument;
using Planning::FleetGroup;
using Planning::FleetItem;
using Planning::FleetReport;
using Planning::FleetRow;
using Planning::FleetServer;
using Planning::Standing;

constexpr std::size_t kOpenGroups = 3;      ///< that are shown without a click
constexpr std::size_t kMatrixColumns = 12;  ///< groups with a column of their own

/// Text that stands in the source of this program. Nothing else can be made one.
struct Markup {
  // NOLINTNEXTLINE(google-explicit-constructor): literals are meant to become markup
  consteval Markup(const char* literal) : text(literal) {}
  std::string_view text;
};

/// The one way for a text of a server or a file into the page: nothing of it can be markup, and it
/// steers no terminal and no reader.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char character : Printable(text)) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

/// The page as it grows: literals are markup, all other texts are escaped.
class Page {
 public:
  Page& operator<<(Markup markup) {
    text_ += markup.text;
    return *this;
  }
  Page& operator<<(const std::same_as<std::string> auto& text) {
    text_ += Escaped(text);
    return *this;
  }
  Page& operator<<(std::size_t number) {
    text_ += std::to_string(number);
    return *this;
  }
  [[nodiscard]] const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

/// What a content security policy calls the one script or style that it lets through.
std::string HashSource(std::string_view text) {
  const Scf::Digest digest =
      Scf::Sha256({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  std::array<char, BASE64_ENCODE_RAW_LENGTH(Scf::Digest{}.size())> base64 = {};
  base64_encode_raw(base64.data(), digest.size(), digest.data());
  return "sha256-" + std::string(base64.begin(), base64.end());
}

const char* NameOf(Standing standing) {
  constexpr auto kNames =
      std::to_array<const char*>({"as wanted", "differs", "did not answer", "failed"});
  return kNames.at(static_cast<std::size_t>(standing));
}

/// A value as the setup screen shows it. It is kept apart from the text around it, whatever the
/// direction it is written in.
void AddValue(Page& page, const std::optional<FleetItem::Value>& value) {
  if (!value) {
    page << "<em>none</em>";
  } else if (value->value.empty() && value->text.empty()) {
    page << "<em>empty</em>";
  } else if (value->text.empty()) {
    page << "<bdi>" << value->value << "</bdi>";
  } else {
    page << "<bdi>" << value->text << " (" << value->value << ")</bdi>";
  }
}

void AddItemRow(Page& page, const FleetItem& item, bool showsVerdict) {
  page << "<tr><th scope=\"row\">";
  if (item.key.empty()) {
    page << "<em>the whole section</em></th><td>";
    page << std::string(item.found ? "only on the server" : "only in the file");
  } else {
    page << "<bdi>" << item.key << "</bdi></th><td>";
    AddValue(page, item.found);
    page << " → ";
    AddValue(page, item.wanted);
  }
  page << "</td>";
  if (showsVerdict) {
    page << "<td>" << std::string(Planning::NameOf(item.verdict));
    if (!item.reason.empty()) page << ": " << item.reason;
    page << "</td>";
  }
  page << "</tr>\n";
}

bool SayTheSame(const std::vector<FleetItem>& items) {
  return std::ranges::all_of(items, [&](const FleetItem& item) {
    return item.verdict == items.front().verdict && item.reason.empty();
  });
}

/// A table of items, section by section.
void AddItems(Page& page, const std::vector<FleetItem>& items) {
  const bool showsVerdict = !SayTheSame(items);
  page << "<table><thead><tr><th scope=\"col\">Setting</th><th scope=\"col\">Found → wanted</th>";
  if (showsVerdict) page << "<th scope=\"col\">Outcome</th>";
  page << "</tr></thead>\n";
  const std::string* section = nullptr;
  for (const FleetItem& item : items) {
    if (section == nullptr || *section != item.section) {
      if (section != nullptr) page << "</tbody>\n";
      section = &item.section;
      page << "<tbody><tr><th scope=\"rowgroup\" colspan=\"" << std::size_t{showsVerdict ? 3U : 2U}
           << "\">" << *section << "</th></tr>\n";
    }
    AddItemRow(page, item, showsVerdict);
  }
  page << "</tbody></table>\n";
}

std::string GroupName(const FleetReport& report, std::size_t at) {
  return report.groups[at].isDifference ? "Group " + std::to_string(at + 1)
                                        : "Change " + std::to_string(at + 1 - report.Ways());
}

void AddGroup(Page& page, const FleetReport& report, std::size_t at) {
  const FleetGroup& group = report.groups[at];
  page << "<details class=\"group\" id=\"g" << at;
  if (at < kOpenGroups) {
    page << "\" open>";
  } else {
    page << "\">";
  }
  page << "<summary><h3>" << GroupName(report, at) << ": "
       << Counted(group.servers.size(), "server") << ", " << Counted(group.items.size(), "setting");
  if (SayTheSame(group.items)) page << " " << std::string(NameOf(group.items.front().verdict));
  page << "</h3></summary>\n";
  AddItems(page, group.items);
  page << "<p>";
  for (const std::size_t server : group.servers) {
    page << "<a href=\"#s" << server << "\">" << report.servers[server].name << "</a> ";
  }
  page << "</p></details>\n";
}

void AddGroups(Page& page, const FleetReport& report) {
  if (report.groups.empty()) return;
  page << "<section aria-labelledby=\"groups\"><h2 id=\"groups\">";
  if (report.servers.size() == 1) {
    page << "Settings</h2>\n";
  } else {
    page
        << "Alike</h2><p>Servers with the same differences, and those with the same changes.</p>\n";
  }
  for (std::size_t at = 0; at < report.groups.size(); ++at) AddGroup(page, report, at);
  page << "</section>\n";
}

void AddFacts(Page& page, const FleetReport& report) {
  if (report.facts.empty()) return;
  page << "<section aria-labelledby=\"facts\"><h2 id=\"facts\">Firmware</h2>\n<table><thead><tr>"
          "<th scope=\"col\">Version</th><th scope=\"col\">Servers</th></tr></thead>\n";
  for (const Planning::FleetFact& fact : report.facts) {
    page << "<tbody><tr><th scope=\"rowgroup\" colspan=\"2\">" << fact.name << "</th></tr>\n";
    for (const auto& [value, count] : fact.values) {
      page << "<tr><td>";
      AddValue(page, FleetItem::Value{value, ""});
      page << "</td><td>" << count << "</td></tr>\n";
    }
    page << "</tbody>\n";
  }
  page << "</table></section>\n";
}

/// How many groups get a column of their own: those of several servers, all where they are few.
std::size_t ColumnsOf(const FleetReport& report) {
  const std::size_t groups = report.groups.size();
  if (groups <= kMatrixColumns) return groups;
  const auto several = std::ranges::find_if(
      report.groups, [](const FleetGroup& group) { return group.servers.size() < 2; });
  return std::min(kMatrixColumns, static_cast<std::size_t>(several - report.groups.begin()));
}

/// What the groups without a column have, with the number of servers.
void AddOthers(Page& page, const FleetReport& report, const FleetRow& row, std::size_t columns) {
  std::vector<std::pair<std::optional<FleetItem::Value>, std::size_t>> values;
  for (const auto& [group, item] : row.cells) {
    if (group < columns) continue;
    const auto same = std::ranges::find_if(
        values, [&, found = &item->found](const auto& value) { return value.first == *found; });
    const std::size_t count = report.groups[group].servers.size();
    if (same == values.end()) {
      values.emplace_back(item->found, count);
    } else {
      same->second += count;
    }
  }
  page << "<td>";
  for (const auto& [value, count] : values) {
    AddValue(page, value);
    page << " ×" << count << " ";
  }
  page << "</td>";
}

void AddMatrixRow(Page& page, const FleetReport& report, const FleetRow& row, std::size_t columns) {
  page << "<tr><th scope=\"row\"><bdi>" << row.first->section << "</bdi>";
  if (!row.first->key.empty()) page << "::<bdi>" << row.first->key << "</bdi>";
  page << "</th><td>";
  if (row.isWantedAlike) {
    AddValue(page, row.first->wanted);
  } else {
    page << "<em>several</em>";
  }
  page << "</td>";
  auto cell = row.cells.begin();
  for (std::size_t at = 0; at < columns; ++at) {
    page << "<td>";
    if (cell != row.cells.end() && cell->first == at) {
      AddValue(page, cell->second->found);
      if (!row.isWantedAlike) {
        page << " → ";
        AddValue(page, cell->second->wanted);
      }
      ++cell;
    }
    page << "</td>";
  }
  if (columns < report.groups.size()) AddOthers(page, report, row, columns);
  page << "</tr>\n";
}

void AddMatrix(Page& page, const FleetReport& report) {
  if (report.groups.size() < 2) return;  // the group itself shows all of it
  const std::size_t columns = ColumnsOf(report);
  page << "<section aria-labelledby=\"matrix\"><h2 id=\"matrix\">Settings of all groups</h2>\n"
          "<p>What was found where it is not as wanted.</p>\n"
          "<section class=\"wide\" aria-label=\"Settings by group\" tabindex=\"0\">"
          "<table class=\"matrix\"><thead><tr><th scope=\"col\">Setting</th>"
          "<th scope=\"col\">Wanted</th>";
  for (std::size_t at = 0; at < columns; ++at) {
    page << "<th scope=\"col\"><a href=\"#g" << at << "\">" << GroupName(report, at) << "</a> ("
         << report.groups[at].servers.size() << ")</th>";
  }
  if (columns < report.groups.size()) page << "<th scope=\"col\">Other groups</th>";
  page << "</tr></thead><tbody>\n";
  for (const FleetRow& row : report.Rows()) AddMatrixRow(page, report, row, columns);
  page << "</tbody></table></section></section>\n";
}

/// What one document of a server tells beyond its items, which stand in their group.
void AddDocument(Page& page, const FleetReport& report, const FleetDocument& document) {
  page << "<p>" << document.command;
  if (!document.file.empty()) page << " of <bdi>" << document.file << "</bdi>";
  page << ": ";
  if (document.failure.empty()) {
    page << std::string(NameOf(document.standing));
  } else {
    page << document.failure;
  }
  if (document.group) {
    page << ", <a href=\"#g" << *document.group << "\">" << GroupName(report, *document.group)
         << "</a>";
  }
  if (!document.backup.empty()) {
    page << "; the state before is in <bdi>" << document.backup << "</bdi>";
  }
  page << "</p>\n";
  if (!document.messages.empty()) {
    page << "<ul>";
    for (const std::string& message : document.messages) page << "<li>" << message << "</li>\n";
    page << "</ul>\n";
  }
  if (document.own.empty()) return;
  page << "<h4>The host’s own, which no restore writes</h4>\n";
  AddItems(page, document.own);
}

void AddServers(Page& page, const FleetReport& report) {
  page << "<section aria-labelledby=\"servers\"><h2 id=\"servers\">Servers</h2>\n";
  for (std::size_t at = 0; at < report.servers.size(); ++at) {
    const FleetServer& server = report.servers[at];
    page << "<details class=\"server\" id=\"s" << at << "\"><summary><h3><bdi>" << server.name
         << "</bdi></h3> <span>" << std::string(NameOf(server.Last().standing));
    if (server.Last().group) page << ", " << GroupName(report, *server.Last().group);
    if (server.Last().waits) page << ", waits for a boot";
    page << "</span></summary>\n";
    for (const FleetDocument& document : server.documents) AddDocument(page, report, document);
    for (const auto& [name, value] : server.Last().system) {
      page << "<p>" << name << " <bdi>" << value << "</bdi></p>\n";
    }
    page << "</details>\n";
  }
  page << "</section>\n";
}

/// The shares of a fleet as one bar.
void AddBar(Page& page, const FleetReport& report) {
  if (report.servers.size() == 1) return;
  page << "<svg viewBox=\"0 0 " << report.servers.size()
       << " 1\" preserveAspectRatio=\"none\" aria-hidden=\"true\" focusable=\"false\">";
  std::size_t from = 0;
  for (const Standing standing :
       {Standing::AsWanted, Standing::Differs, Standing::Failed, Standing::Silent}) {
    const std::size_t count = report.Count(standing);
    if (count == 0) continue;
    page << "<rect class=\"standing" << static_cast<std::size_t>(standing) << "\" x=\"" << from
         << "\" width=\"" << count << "\" height=\"1\"/>";
    from += count;
  }
  page << "</svg>\n";
}

std::string TitleOf(const FleetReport& report) {
  if (report.servers.size() == 1) return "Report of a server";
  return std::to_string(report.Count(Standing::AsWanted)) + " of " +
         std::to_string(report.servers.size()) + " servers as wanted";
}

}  // namespace

std::string HtmlReport(const FleetReport& report, const std::string& made) {
  Page page;
  page << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
          "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
          "base-uri 'none'; form-action 'none'; style-src '"
       << HashSource(kReportStyle) << "'; script-src '" << HashSource(kReportScript)
       << "'\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>"
       << TitleOf(report) << "</title>\n<style>" << Markup(kReportStyle)
       << "</style></head>\n<body><header><h1>" << Headline(report) << "</h1>\n";
  AddBar(page, report);
  page << "<p>" << made
       << "</p>\n<p id=\"filter\" hidden><label>Show only what has all these words: "
          "<input type=\"search\" autocomplete=\"off\"></label> <output></output></p></header>\n"
          "<main>\n";
  AddFacts(page, report);
  AddGroups(page, report);
  AddMatrix(page, report);
  AddServers(page, report);
  page << "</main>\n<script>" << Markup(kReportScript) << "</script></body></html>\n";
  return page.Text();
}

}  // namespace Tool
