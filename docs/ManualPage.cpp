// Writes the manual page of the configuration file's format: the fixed text, and between its halves
// the sections and keys as the module's catalogue has them, so that the page follows the catalogue.
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"

namespace {

constexpr std::string_view kBefore = R"roff(.nr HY 0
.TH SAVERESTORE.INI 5 "" "saverestore" "File formats"
.SH NAME
saverestore.ini \- the configuration of a server as a text file
.SH DESCRIPTION
.BR saverestore (1)
saves the configuration of a server into such a file and restores it from there.
In between people read, compare and edit it.
A file of everything holds [SYSTEM], the BMC, the BIOS setup menus and the two boot orders, in this
order; a file of one part holds [SYSTEM] and that part.
.SH LINES
.TP
.BI [ SECTION ]
begins a section.
Everything up to the next one belongs to it; sections of one name are one section.
.TP
.IB KEY = VALUE
is a setting.
The first "=" ends the key; spaces and tabs around the key and the value do not belong to them.
Of equal keys in a section the last one holds.
.TP
.IB KEY = VALUE <tab>; " COMMENT"
A comment behind a value begins at a semicolon directly behind a tab, or at one that the value would
begin with.
Any other semicolon is part of the value.
.TP
.BI ; " COMMENT"
A line that begins with a semicolon is a comment.
A "#" begins no comment: it may begin a key.
.PP
A restore reads no comments;
.B saverestore check
compares a value with the options that its comment lists.
Section names, keys and values compare byte by byte, but for the values of the BMC (see RESTORING).
Quotation marks are ordinary characters, and no line continues another.
Lines end in LF or CRLF; empty lines and a UTF\-8 byte order mark at the beginning are skipped.
Any other line, and a key before the first section, is an error.
Files of more than 64 MiB and files that hold a NUL byte are refused.
.SH ESCAPES
.B \exNN
with two hexadecimal digits is the byte NN of a section name, key or value.
A save writes it for what a line could not carry otherwise: control characters and a backslash before
an x; in keys and values also a leading or trailing blank and a leading semicolon; in keys also every
"=" and a leading "[".
\ex00 is no escape, and a backslash in any other place is an ordinary character.
.SH HEADER
A saved file begins with eight comment lines that warn against editing [SYSTEM], and two empty lines.
.SH SECTIONS
A "#" in the name of a section stands for the number of a user or channel; a "#" at the end of a key
for that of a channel, event filter or alert destination.
Below each key stand the query path that its value comes from, the comment that a save writes behind
the value, and where needed on which servers there is such a key.
The empty brackets of a query path take the number of the section, then that of the key.
[SYSTEM] goes by the name of the platform (for example OSKENT_PLATFORM), all other sections by that of
the product (OSKENT).
A setting that a server lacks is saved as empty.
)roff";

constexpr std::string_view kBehind = R"roff(.SS BIOS setup menus
Each menu that takes part is a section.
Its name is the path of the menu with "::" for each "/", for example [BIOS::Main] and below it
[BIOS::Main::System Labels].
Its keys are the settings by the names that the BIOS gives them, from
.RI /BIOS/ MENU / SETTING .
The comment lists what the BIOS offers, of each option the text on the screen and behind the "=" the
value that stands in the file:
.PP
.RS
.EX
Quiet Boot=1<tab>;Options: Disabled=0: Enabled=1
.EE
.RE
.PP
A comment without options belongs to a setting of free form.
.PP
Which top\-level menus take part is a fixed list of names, longer on some servers; Advanced takes
part where the BIOS says that it is aware of UEFI 2.3.1.
Sub\-menus follow their menu.
These are never saved: the keys AdminPw, UserPw and SystemTime of any menu; settings that the BIOS
marks as not to be saved; the sub\-menus Boot Options, Add EFI Boot Option and Delete EFI Boot Option
of Boot Options; the sub\-menus of Server Management.
.SS [BootOrder::Hard Disk]
One key for each hard disk of the boot order: its name, with its position, from 1, as the value.
.SS [BIOS::BootOrder]
The same for each boot device.
.SH RESTORING
[SYSTEM] is compared with the server and never written: the BIOS versions have to agree in their first
six characters, all others as a whole (but on board R7740HCA, where they are not compared).
.PP
The file has to have every key of the BMC that a save of this server writes, but for the "#" keys of
users and LAN channels, and for the details of IPv6 where the file does not enable IPV6Status.
Keys and sections that the server does not have are ignored.
A BIOS setting or section that the file lacks is named and left alone.
.PP
Values of the BMC may be in any case except where the case counts.
An empty one is written as the empty text, while an empty BIOS value leaves the setting alone.
A value of more than 127 bytes leaves its setting alone too.
.PP
Some values are never written, so that the server stays reachable and keeps what its product keeps to
itself.
They are not all that "should not be edited": the MAC addresses of the gateways are written.
Not written are:
.IP \(bu 2
SubnetMask, GatewayIP and BackupGatewayIP;
.IP \(bu 2
HostIP, IPV6, IPV6PrefixLength and IPV6GatewayIP of the LAN channels 1 to 3 (on OSKENT and VEXHAM,
which have no IPv6, HostIP of 1 and 3);
.IP \(bu 2
UserName of user 1, and on TARVEN the privileges of user 1;
.IP \(bu 2
UserName, PrivilegeChl# and UserAccessCh# of user 2 on BRISKEL, CALDRA, MIRKET, NARDUN, OSKENT and
VEXHAM;
.IP \(bu 2
where the file has LANFailOver enabled: of the LAN channels 2 and 3 everything from CommunityString to
IPV6GatewayIP, and everything of their serial over LAN.
.PP
In the boot orders, devices that the section does not name fill the free positions in their present
order; a name that the server does not have, or a position that is taken or does not exist, ends the
restore.
.SH SEE ALSO
.BR saverestore (1)
)roff";

/// What the rows of a section do not tell.
struct SectionNote {
  std::string_view section;
  std::string_view text;
};
constexpr auto kSectionNotes = std::to_array<SectionNote>({
    {"[USERS]", "The number is always 5."},
    {"[USERS::USER_]",
     "The users 1 to 5, but for those that the BMC reserves. The keys with a # stand once for each "
     "channel of the user; there is no SOLEnableCh4."},
    {"[PEF::FILTERS]",
     "The first twelve event filters, but for those that the BMC reserves; none on a BMC that has "
     "fewer than twelve."},
    {"[CHANNEL::LAN_]",
     "The LAN channels. The keys with a # stand for the alert destinations 0 and 1."},
    {"[CHANNEL::LAN_::SOL]",
     "The channels with serial over LAN. The BMC keeps the retry interval in steps of 10 ms."},
    {"[EMAILCONFIG]", "The sum over all LAN channels."},
    {"[EMAILCONFIG::CHANNEL_::INFO]", "The LAN channels."},
});

/// The families of servers that the catalogue may tell apart.
constexpr auto kFamilies =
    std::to_array<const char*>({"BRISKEL", "CALDRA", "DORRIK", "HEMLIT", "MIRKET", "NARDUN",
                                "OSKENT", "PALVERN", "QUILMOR", "TARVEN", "VEXHAM"});

/// The characters that roff takes for something else, or prints as another one.
constexpr auto kRoffEscapes = std::to_array<std::pair<char, const char*>>({
    {'\\', "\\e"},
    {'-', "\\-"},
    {'\'', "\\(aq"},
    {'"', "\\(dq"},
    {'^', "\\(ha"},
    {'~', "\\(ti"},
    {'`', "\\(ga"},
});

/// `text` for roff, at any place of a line or in the argument of a macro: every character prints as
/// itself.
std::string Roff(std::string_view text) {
  std::string roff;
  if (text.starts_with('.')) roff += "\\&";  // or the line would be a request
  for (const char character : text) {
    const auto* escape =
        std::ranges::find(kRoffEscapes, character, &std::pair<char, const char*>::first);
    roff += escape == kRoffEscapes.end() ? std::string(1, character) : escape->second;
  }
  return roff;
}

/// The name of a key or section, with "#" for the number that it takes.
std::string RoffName(std::string_view name) {
  std::string roff = "\"";
  roff += Roff(SDK::Expansion::Number(std::string(name), "#"));
  return roff += '"';
}

/// On which servers rows with `presence` stand, as a sentence; empty for all.
std::string Where(SDK::Presence presence) {
  const auto stands = [&](const std::string& family) {
    return SDK::IsPresent(presence, family + "_PLATFORM", family);
  };
  const bool elsewhere = stands("");  // on families without a name here
  std::string text = elsewhere ? "Not on" : "Only on";
  const char* separator = " ";
  for (const char* family : kFamilies) {
    if (stands(family) == elsewhere) continue;
    text.append(separator).append(family);
    separator = ", ";
  }
  const bool isNamed = *separator == ',';
  return isNamed || !elsewhere ? text + "." : "";
}

void WriteRow(std::ofstream& page, const SDK::CatalogueSection& section,
              const SDK::CatalogueRow& row) {
  const auto line = [&](std::string_view text) {
    if (!text.empty()) page << ".br\n" << Roff(text) << "\n";
  };
  std::string_view comment = row.form.comment;
  comment.remove_prefix(std::min(comment.find_first_not_of('\t'), comment.size()));
  page << ".TP 4\n.B " << RoffName(row.key) << "\n";
  line(row.query);
  line(comment);
  if (row.type == SDK::QT_COUNT || row.type == SDK::QT_CALC) {
    line("For information: a restore needs the key and writes nothing.");
  }
  if (SDK::Expansion::IsIpv6Detail(row.key)) line("Only where IPV6Status is ENABLE.");
  if (SDK::Expansion::KeepsCase(section.name, row.key, section.numbered != 0)) {
    line("The case counts.");
  }
  line(Where(row.presence));
}

void WriteSection(std::ofstream& page, const SDK::CatalogueSection& section) {
  page << ".SS " << RoffName(section.name) << "\n";
  const auto* note = std::ranges::find(kSectionNotes, section.name, &SectionNote::section);
  if (note != kSectionNotes.end()) page << Roff(note->text) << "\n";
  for (const SDK::CatalogueRow& row : section.rows) {
    if (row.type != SDK::QT_LIST && row.type != SDK::QT_SUBLIST) WriteRow(page, section, row);
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
  for (const SDK::CatalogueSection& section : SDK::CatalogueTable()) WriteSection(page, section);
  page << kBehind;
  if (page.flush()) return 0;
  std::fprintf(stderr, "%s cannot be written\n", argv[1]);
  return 1;
}
