// Writes the manual page of the configuration file's format: the fixed text, and the sections and
// keys as the module's catalogue has them.
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "modules/save/SectionCatalogue.h"

namespace {

constexpr std::string_view kBefore = R"(.TH SAVERESTORE.INI 5 "" "saverestore" "File formats"
.SH NAME
saverestore.ini \- the configuration of a server as a text file
.SH DESCRIPTION
.BR saverestore (1)
saves the configuration of a server into such a file and restores it from there.
It is meant to be read, compared and edited between the two.
.SH LINES
.TP
.B [SECTION]
begins a section.
Everything up to the next one belongs to it; sections of one name are one section.
.TP
.BI KEY = VALUE
is a setting.
Blanks around the key and the value do not belong to them.
Of equal keys in a section the last one holds.
.TP
.BI KEY = VALUE "<tab>; COMMENT"
A comment behind a value begins with a semicolon directly behind a tab, or at the very start of the
value.
Comments name the allowed values; they are not read back.
.TP
.BI ; " COMMENT"
A line that begins with a semicolon is a comment.
A line that begins with # is none: "#" may begin a key.
.PP
Section and key names compare byte by byte.
Lines end in LF or CRLF; a UTF-8 byte order mark is skipped.
A restore reads at most 127 bytes of a value and leaves a setting alone whose value is longer.
Files above 64 MiB and files that hold NUL bytes are refused.
.SH ESCAPES
.B \exNN
with two hexadecimal digits stands for the byte NN, in section names, keys and values.
It is written for what a line could not carry otherwise: control characters, a leading or trailing
blank, a leading semicolon, a backslash before an x; in keys also every "=" and a leading "[".
.SH HEADER
A file begins with eight comment lines that warn against editing [SYSTEM], and two empty lines.
.SH SECTIONS
The sections stand in this order.
A "#" in a name takes the number of a user or channel, a "#" at the end of a key that of a channel,
filter or destination.
Behind each key stand the query path that its value comes from, and the comment that the file has.
)";

constexpr std::string_view kBehind = R"(.SS BIOS settings
Each BIOS setup menu that takes part is a section; its name is the path of the menu with "::" between
the components, for example [BIOS::Main].
Its keys are the settings as the BIOS names them, with the comment
.RS
;Options: text=value: text=value
.RE
that lists what the BIOS offers: of each option the text on the screen and behind the "=" the value
that the file takes.
A comment without options belongs to a setting of free form.
The keys AdminPw, UserPw and SystemTime are never written and never read.
An empty value is not restored.
.SS [BootOrder::Hard Disk]
One key for each hard disk: its name, with its position as the value.
.SS [BIOS::BootOrder]
One key for each boot device: its name, with its position as the value.
Devices that the section does not name fill the free positions in their present order.
.SH RESTORING
[SYSTEM] is compared with the server and never written.
The addresses of the BMC, the name of the first user, and what a product keeps to itself are read and
left as they are.
Values of BMC keys may be written in any case, but for names, host names, community strings and the
texts of e-mails.
.SH SEE ALSO
.BR saverestore (1)
)";

struct PresenceText {
  SDK::Presence presence;
  const char* text;
};
constexpr auto kPresenceTexts = std::to_array<PresenceText>({
    {SDK::Presence::Always, ""},
    {SDK::Presence::BootAreaPlatform, "CALDRA, MIRKET, BRISKEL and NARDUN platforms only."},
    {SDK::Presence::OskentPlatform, "OSKENT platform only."},
    {SDK::Presence::NotOskentPlatform, "All platforms but OSKENT."},
    {SDK::Presence::OskentOrVexham, "OSKENT and VEXHAM only."},
    {SDK::Presence::NotOskentOrVexham, "Not on OSKENT and VEXHAM."},
    {SDK::Presence::PlainMail, "CALDRA, MIRKET, BRISKEL and NARDUN only."},
    {SDK::Presence::ExtendedMail, "Not on CALDRA, MIRKET, BRISKEL and NARDUN."},
});

/// `text` for roff: backslashes, hyphens and quotes as they are.
std::string Roff(std::string_view text) {
  std::string roff;
  for (const char character : text) {
    if (character == '\\') {
      roff += "\\e";
    } else if (character == '-') {
      roff += "\\-";
    } else if (character == '\'') {
      roff += "\\(aq";
    } else {
      roff += character;
    }
  }
  return roff;
}

/// The name of a key or section, with "#" for the number that it takes.
std::string RoffName(std::string name) {
  std::ranges::replace(name, '_', '#');
  return Roff(name);
}

/// A comment of the file without its leading tab and "; ".
std::string_view CommentText(std::string_view comment) {
  comment.remove_prefix(std::min(comment.find_first_not_of("\t; "), comment.size()));
  return comment;
}

void WriteRow(std::ofstream& page, const SDK::CatalogueRow& row) {
  page << ".TP\n.B " << RoffName(row.key) << "\n" << Roff(row.query) << "\n";
  if (*row.comment != '\0') page << ".br\n" << Roff(CommentText(row.comment)) << "\n";
  for (const PresenceText& presence : kPresenceTexts) {
    if (presence.presence == row.presence && *presence.text != '\0') {
      page << ".br\n" << presence.text << "\n";
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: saverestore_manual FILE\n", stderr);
    return 64;
  }
  std::ofstream page(argv[1], std::ios::binary);
  page << kBefore;
  for (const SDK::CatalogueSection& section : SDK::CatalogueTable()) {
    page << ".SS " << RoffName(section.name) << "\n";
    for (const SDK::CatalogueRow& row : section.rows) {
      if (row.type != SDK::QT_LIST && row.type != SDK::QT_SUBLIST) WriteRow(page, row);
    }
  }
  page << kBehind;
  if (page.flush()) return 0;
  std::fprintf(stderr, "%s cannot be written\n", argv[1]);
  return 1;
}
