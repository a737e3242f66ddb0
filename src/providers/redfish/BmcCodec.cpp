#include "providers/redfish/BmcCodec.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "providers/redfish/Json.h"
#include "query/BmcRules.h"
#include "query/XNode.h"

namespace Redfish {
namespace {

using nlohmann::json;
using Text = std::optional<std::string>;

constexpr const char* kDisable = "DISABLE";
constexpr const char* kNoAddress = "0.0.0.0";
constexpr const char* kNoIpv6Address = "::";
constexpr const char* kSnmpScheme = "snmp://";
constexpr const char* kMailScheme = "mailto:";

json::json_pointer Pointer(std::string_view text) {
  return json::json_pointer(std::string(text));
}

const json& AtPointer(const json& content, std::string_view pointer) {
  static const json none;
  const json::json_pointer place = Pointer(pointer);
  return !pointer.empty() && content.contains(place) ? content.at(place) : none;
}

/// The first value that is told, of the places where the row stands.
const json& ValueOfRow(const BmcRow& row, const json& content) {
  const json& value = AtPointer(content, row.pointer);
  const bool isTold = !value.is_null() && value != json("");
  return isTold || row.otherwise.empty() ? value : AtPointer(content, row.otherwise);
}

std::string TextValue(const json& value) {
  return value.is_string() ? value.get<std::string>() : std::string();
}

std::string PutValue(const BmcRow& row, json value, json& change) {
  change[Pointer(row.pointer)] = std::move(value);
  return {};
}

// --- Words

Text WordText(const BmcRow& row, const json& content) {
  const auto word = std::ranges::find(row.words, ToText(ValueOfRow(row, content)), &BmcWord::value);
  return word == row.words.end() ? Text() : Text(word->text);
}

std::string PutWord(const BmcRow& row, const std::string& text, const json& /*content*/,
                    json& change) {
  if (const BmcWord* word = WordFor(row, Query::Upper(text)); word != nullptr) {
    const bool isSwitch = row.codec == BmcCodec::Switch;
    return PutValue(row, isSwitch ? json(word->value == "true") : json(word->value), change);
  }
  std::string choices;
  for (const BmcWord& choice : row.words) {
    choices += (choices.empty() ? "" : ", ") + std::string(choice.text);
  }
  return "it must be one of " + choices;
}

/// A role that the standard does not know has no other name. Files have it in capitals.
Text RoleText(const BmcRow& row, const json& content) {
  if (Text word = WordText(row, content)) return word;
  const std::string role = TextValue(ValueOfRow(row, content));
  return role.empty() ? Text() : Query::WordOf(Query::Upper(role));
}

// --- Texts and numbers

Text PlainText(const BmcRow& row, const json& content) {
  const json& value = ValueOfRow(row, content);
  if (!value.is_string() || IsMasked(TextValue(value))) return std::nullopt;
  return Query::WordOf(TextValue(value));
}

std::string PutPlain(const BmcRow& row, const std::string& text, const json& /*content*/,
                     json& change) {
  std::string raw;
  if (std::string objection = Query::TakeWord(text, raw); !objection.empty()) return objection;
  if (!IsUtf8(raw)) return "it must be UTF-8";
  return PutValue(row, raw, change);
}

Text PhraseText(const BmcRow& row, const json& content) {
  const std::string text = OneLine(TextValue(ValueOfRow(row, content)));
  return text.empty() ? Text() : Text(text);
}

std::string PutPhrase(const BmcRow& row, const std::string& text, const json& /*content*/,
                      json& change) {
  if (!IsUtf8(text)) return "it must be UTF-8";
  return PutValue(row, text, change);
}

Text NumberText(const BmcRow& row, const json& content) {
  const json& value = ValueOfRow(row, content);
  return value.is_number_integer() ? Text(value.dump()) : Text();
}

constexpr Query::Range kPorts{1, 65535};

std::string PutNumber(const BmcRow& row, const std::string& text, const json& /*content*/,
                      json& change) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < kPorts.low || number > kPorts.high) {
    return "it must be a number from " + std::to_string(kPorts.low) + " to " +
           std::to_string(kPorts.high);
  }
  return PutValue(row, number, change);
}

Text PresenceText(const BmcRow& row, const json& content) {
  return AtPointer(content, row.pointer).is_object() ? Text("1") : Text();
}

// --- Lists

bool IsListed(const json& list, const char* name) {
  return list.is_array() && std::ranges::find(list, json(name)) != list.end();
}

Text MembershipText(const BmcRow& row, const json& content) {
  const json& list = ValueOfRow(row, content);
  if (!list.is_array()) return std::nullopt;
  return IsListed(list, row.parameter) ? kEnable : kDisable;
}

/// Two rows have one list: what the other one has changed stays.
std::string PutMembership(const BmcRow& row, const std::string& text, const json& content,
                          json& change) {
  const std::string wanted = Query::Upper(text);
  if (wanted != kEnable && wanted != kDisable) return "it must be one of ENABLE, DISABLE";
  const bool isChanged = change.contains(Pointer(row.pointer));
  json list = AtPointer(isChanged ? change : content, row.pointer);
  if (!list.is_array()) list = json::array();
  const auto place = std::ranges::find(list, json(row.parameter));
  if (wanted == kEnable && place == list.end()) list.push_back(row.parameter);
  if (wanted == kDisable && place != list.end()) list.erase(place);
  return PutValue(row, std::move(list), change);
}

constexpr const char* kCommunity = "CommunityString";

Text CommunityText(const BmcRow& row, const json& content) {
  const json& list = ValueOfRow(row, content);
  if (!list.is_array() || list.empty()) return std::nullopt;
  const json& value = At(list.front(), {kCommunity});
  if (!value.is_string() || IsMasked(TextValue(value))) return std::nullopt;
  return Query::WordOf(TextValue(value));
}

/// In a change of a list an empty object leaves the entry at its place as it is.
std::string PutCommunity(const BmcRow& row, const std::string& text, const json& content,
                         json& change) {
  std::string raw;
  if (std::string objection = Query::TakeWord(text, raw); !objection.empty()) return objection;
  if (!IsUtf8(raw)) return "it must be UTF-8";
  const json& present = ValueOfRow(row, content);
  json list = json::array({json::object({{kCommunity, raw}})});
  for (std::size_t index = 1; index < present.size(); ++index) list.push_back(json::object());
  return PutValue(row, std::move(list), change);
}

// --- Addresses

Text AddressText(const BmcRow& row, const json& content, int family, const char* none) {
  const std::string text = TextValue(ValueOfRow(row, content));
  if (!text.empty()) {
    const std::string canonical = Query::CanonicalAddress(family, text);
    return canonical.empty() ? Text() : Text(canonical);
  }
  return HasProperty(row, content) ? Text(none) : Text();
}

Text Ipv4Text(const BmcRow& row, const json& content) {
  return AddressText(row, content, AF_INET, kNoAddress);
}

Text Ipv6GatewayText(const BmcRow& row, const json& content) {
  return AddressText(row, content, AF_INET6, kNoIpv6Address);
}

/// The address in use: one that is not of the link alone, else the first fixed one.
const json& Ipv6InUse(const BmcRow& row, const json& content) {
  static const json none;
  for (const json& address : AtPointer(content, row.pointer)) {
    const std::string text = Query::CanonicalAddress(AF_INET6, TextAt(address, {"Address"}));
    const bool isOfLink =
        TextAt(address, {"AddressOrigin"}) == "LinkLocal" || text.starts_with("FE80:");
    if (!text.empty() && !isOfLink) return address;
  }
  const json& fixed = AtPointer(content, row.otherwise);
  return fixed.is_array() && !fixed.empty() ? fixed.front() : none;
}

Text Ipv6Text(const BmcRow& row, const json& content) {
  const std::string text = TextAt(Ipv6InUse(row, content), {"Address"});
  if (!text.empty()) {
    const std::string canonical = Query::CanonicalAddress(AF_INET6, text);
    return canonical.empty() ? Text() : Text(canonical);
  }
  return HasProperty(row, content) ? Text(kNoIpv6Address) : Text();
}

Text Ipv6PrefixText(const BmcRow& row, const json& content) {
  const json& length = At(Ipv6InUse(row, content), {"PrefixLength"});
  if (length.is_number_integer()) return length.dump();
  return HasProperty(row, content) ? Text("0") : Text();
}

std::string PutKept(const BmcRow& /*row*/, const std::string& /*text*/, const json& /*content*/,
                    json& /*change*/) {
  return Query::kOwnAddresses;
}

// --- How the interface gets its IPv6 address

constexpr const char* kStateful = "Stateful";
constexpr const char* kOff = "Disabled";
constexpr auto kIpv6Sources = std::to_array<const char*>({"STATIC", "DHCPV6", "AUTO"});

Text Ipv6SourceText(const BmcRow& row, const json& content) {
  const json& mode = AtPointer(content, row.pointer);
  const json& isAutomatic = AtPointer(content, row.otherwise);
  if (!mode.is_string() && !isAutomatic.is_boolean()) return std::nullopt;
  if (mode == json(kStateful) || mode == json("Enabled")) return "DHCPV6";
  return isAutomatic == json(true) ? "AUTO" : "STATIC";
}

/// Only those of the two properties change that the interface has and that matter.
std::string PutIpv6Source(const BmcRow& row, const std::string& text, const json& content,
                          json& change) {
  const std::string wanted = Query::Upper(text);
  if (std::ranges::find(kIpv6Sources, wanted) == kIpv6Sources.end()) {
    return "it must be one of STATIC, DHCPV6, AUTO";
  }
  const json& mode = AtPointer(content, row.pointer);
  const json& isAutomatic = AtPointer(content, row.otherwise);
  const bool isByServer = wanted == "DHCPV6";
  if (isByServer ? !mode.is_string() : wanted == "AUTO" && !isAutomatic.is_boolean()) {
    return "the interface has no such source";
  }
  const bool isStateful = mode == json(kStateful) || mode == json("Enabled");
  if (mode.is_string() && isByServer != isStateful) {
    change[Pointer(row.pointer)] = isByServer ? kStateful : kOff;
  }
  if (isAutomatic.is_boolean() && !isByServer && isAutomatic != json(wanted == "AUTO")) {
    change[Pointer(row.otherwise)] = wanted == "AUTO";
  }
  return {};
}

// --- Destinations of subscriptions

/// "snmp://[USER@]HOST[:PORT]"
std::string HostIn(std::string destination) {
  if (!destination.starts_with(kSnmpScheme)) return {};
  destination.erase(0, std::string_view(kSnmpScheme).size());
  if (const std::size_t at = destination.rfind('@'); at != std::string::npos) {
    destination.erase(0, at + 1);
  }
  return destination.substr(0, destination.find_first_of(":/"));
}

Text TrapText(const BmcRow& row, const json& content) {
  const std::string host = HostIn(TextValue(AtPointer(content, row.pointer)));
  const std::string canonical = Query::CanonicalAddress(AF_INET, host);
  return canonical.empty() ? Text() : Text(canonical);
}

/// The new destination differs from the old one in its address alone.
std::string PutTrap(const BmcRow& row, const std::string& text, const json& content, json& change) {
  const std::string address = Query::CanonicalAddress(AF_INET, text);
  if (address.empty()) return Query::ObjectionToAddress(AF_INET);
  std::string destination = TextValue(AtPointer(content, row.pointer));
  const std::string host = HostIn(destination);
  if (host.empty()) {
    destination = kSnmpScheme + address;
  } else {
    const std::size_t user = destination.rfind('@');
    const std::size_t from =
        user == std::string::npos ? std::string_view(kSnmpScheme).size() : user + 1;
    destination.replace(from, host.size(), address);
  }
  return PutValue(row, destination, change);
}

Text MailText(const BmcRow& row, const json& content) {
  const std::string destination = TextValue(AtPointer(content, row.pointer));
  if (!destination.starts_with(kMailScheme)) return std::nullopt;
  return OneLine(destination.substr(std::string_view(kMailScheme).size()));
}

std::string PutMail(const BmcRow& row, const std::string& text, const json& /*content*/,
                    json& change) {
  const std::size_t at = text.find('@');
  const bool isAddress = at != std::string::npos && at != 0 && at + 1 < text.size() &&
                         text.find_first_of(" \t,;?") == std::string::npos && IsUtf8(text);
  if (!isAddress) return "it must be an e-mail address";
  return PutValue(row, kMailScheme + text, change);
}

std::string PutNothing(const BmcRow& /*row*/, const std::string& /*text*/, const json& /*content*/,
                       json& /*change*/) {
  return "it is read-only";
}

struct CodecRow {
  BmcCodec codec;
  Text (*get)(const BmcRow& row, const json& content);
  std::string (*put)(const BmcRow& row, const std::string& text, const json& content, json& change);
};
constexpr auto kCodecs = std::to_array<CodecRow>({
    {BmcCodec::Word, WordText, PutWord},
    {BmcCodec::Switch, WordText, PutWord},
    {BmcCodec::Role, RoleText, PutWord},
    {BmcCodec::Text, PlainText, PutPlain},
    {BmcCodec::Phrase, PhraseText, PutPhrase},
    {BmcCodec::Number, NumberText, PutNumber},
    {BmcCodec::Ipv4, Ipv4Text, PutKept},
    {BmcCodec::Ipv6, Ipv6Text, PutKept},
    {BmcCodec::Ipv6Prefix, Ipv6PrefixText, PutKept},
    {BmcCodec::Ipv6Gateway, Ipv6GatewayText, PutKept},
    {BmcCodec::Ipv6Source, Ipv6SourceText, PutIpv6Source},
    {BmcCodec::Membership, MembershipText, PutMembership},
    {BmcCodec::Community, CommunityText, PutCommunity},
    {BmcCodec::TrapAddress, TrapText, PutTrap},
    {BmcCodec::MailAddress, MailText, PutMail},
    {BmcCodec::Presence, PresenceText, PutNothing},
});
static_assert(kCodecs.size() == static_cast<std::size_t>(BmcCodec::Presence) + 1);
static_assert(std::ranges::is_sorted(kCodecs, {}, &CodecRow::codec));

const CodecRow& CodecOf(const BmcRow& row) {
  return kCodecs.at(static_cast<std::size_t>(row.codec));
}

/// The first name of a pointer, which is the property of the resource, or that of a group of them
/// where it holds such a group.
bool HasPlace(const json& content, std::string_view pointer) {
  if (pointer.empty()) return false;
  if (content.contains(Pointer(pointer))) return true;
  const std::size_t index = pointer.find("/0/");  // of a list that is there and empty
  return index != std::string_view::npos && AtPointer(content, pointer.substr(0, index)).is_array();
}

}  // namespace

bool IsMasked(const std::string& text) {
  return !text.empty() && text.find_first_not_of('*') == std::string::npos;
}

bool HasProperty(const BmcRow& row, const json& content) {
  if (!TextAt(content, {"@odata.type"}).starts_with(row.type)) return false;
  return HasPlace(content, row.pointer) || HasPlace(content, row.otherwise);
}

std::optional<std::string> TextOf(const BmcRow& row, const json& content) {
  Text text = CodecOf(row).get(row, content);
  if (text && text->find('\0') != std::string::npos) return std::nullopt;
  return text;
}

std::string AddChange(const BmcRow& row, const std::string& text, const json& content,
                      json& change) {
  return CodecOf(row).put(row, text, content, change);
}

std::string CanonicalText(const BmcRow& row, const std::string& text) {
  if (row.codec == BmcCodec::Ipv6Source || row.codec == BmcCodec::Role ||
      row.codec == BmcCodec::Membership) {
    return Query::Upper(text);
  }
  json change = json::object();
  if (!AddChange(row, text, json::object(), change).empty()) return text;
  return TextOf(row, change).value_or(text);
}

Query::Limits LimitsOfRow(const BmcRow& row) {
  Query::Limits limits;
  if (row.codec == BmcCodec::Number) {
    limits.form = Query::Limits::Form::Whole;
    limits.range = kPorts;
  } else if (TakesEmpty(row)) {
    limits.pattern = "(%[0-9A-Fa-f][0-9A-Fa-f]|[!-~])*";
  }
  return limits;
}

bool TakesEmpty(const BmcRow& row) {
  return row.codec == BmcCodec::Text || row.codec == BmcCodec::Community;
}

std::string UnsetDestination(const BmcRow& row) {
  return row.codec == BmcCodec::TrapAddress ? kNoAddress : "";
}

}  // namespace Redfish
