#include "providers/ipmi/CompletionCode.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "providers/ipmi/FieldTable.h"

namespace Ipmi {
namespace {

struct CodeRow {
  std::uint8_t code;
  Verdict verdict;
  const char* text;
};

/// IPMI 2.0, table 5-2: the completion codes that all commands share.
constexpr auto kGeneric = std::to_array<CodeRow>({
    {0x00, Verdict::Done, "done"},
    {0xC0, Verdict::Busy, "the BMC is busy"},
    {0xC1, Verdict::Absent, "the BMC does not know the command"},
    {0xC2, Verdict::Absent, "the BMC does not know the command there"},
    {0xC3, Verdict::Busy, "the BMC ran out of time"},
    {0xC4, Verdict::Failed, "the BMC is out of space"},
    {0xC5, Verdict::Failed, "the reservation is lost"},
    {0xC6, Verdict::Failed, "the request is cut off"},
    {0xC7, Verdict::Absent, "the request has a length that the BMC does not take"},
    {0xC8, Verdict::Absent, "a field of the request is too long"},
    {0xC9, Verdict::Absent, "a parameter is out of range"},
    {0xCA, Verdict::Failed, "the answer would be too long"},
    {0xCB, Verdict::Absent, "the BMC has no such item"},
    {0xCC, Verdict::Absent, "the BMC does not take a value of the request"},
    {0xCD, Verdict::Absent, "the command is not allowed there"},
    {0xCE, Verdict::Failed, "the BMC cannot answer"},
    {0xCF, Verdict::Busy, "the BMC took the request for a repeated one"},
    {0xD0, Verdict::Failed, "the BMC is updating its sensor records"},
    {0xD1, Verdict::Busy, "the BMC is updating its firmware"},
    {0xD2, Verdict::Busy, "the BMC is initialising"},
    {0xD3, Verdict::Failed, "the addressed controller is not there"},
    {0xD4, Verdict::NotAllowed, "the privilege of the session is too low"},
    {0xD5, Verdict::NotNow, "the BMC does not allow it in its present state"},
    {0xD6, Verdict::Absent, "the function is switched off"},
    {0xFF, Verdict::Failed, "the BMC names no reason"},
});

/// Codes 80h to BEh have a meaning of their own for each command (IPMI 2.0, with the commands).
struct SpecificRow {
  Command command;
  std::uint8_t code;
  const char* text;
};

constexpr auto kSpecific = std::to_array<SpecificRow>({
    {kSetLan.set, 0x80, "the BMC does not have the parameter"},
    {kSetLan.set, 0x81, "another configuration of the channel is in progress"},
    {kSetLan.set, 0x82, "the parameter is read-only"},
    {kSetSol.set, 0x80, "the BMC does not have the parameter"},
    {kSetSol.set, 0x81, "another configuration of the channel is in progress"},
    {kSetSol.set, 0x82, "the parameter is read-only"},
    {kSetPef.set, 0x80, "the BMC does not have the parameter"},
    {kSetPef.set, 0x81, "another configuration is in progress"},
    {kSetPef.set, 0x82, "the parameter is read-only"},
    {kSetChannelAccess.set, 0x82, "the channel has no sessions"},
    {kSetChannelAccess.set, 0x83, "the channel does not take this access mode"},
});

}  // namespace

Verdict Judge(std::uint8_t completion) {
  const auto* row = std::ranges::find(kGeneric, completion, &CodeRow::code);
  if (row != kGeneric.end()) return row->verdict;
  // 80h to 82h mean with every command that is read here: no such parameter, not on this channel.
  return completion >= 0x80 && completion <= 0x82 ? Verdict::Absent : Verdict::Failed;
}

std::string Describe(std::uint8_t completion, const Command& command) {
  std::array<char, 32> code = {};
  std::snprintf(code.data(), code.size(), " (completion code %02Xh)", completion);
  const auto* specific = std::ranges::find_if(kSpecific, [&](const SpecificRow& row) {
    return row.command == command && row.code == completion;
  });
  if (specific != kSpecific.end()) return specific->text + std::string(code.data());
  const auto* row = std::ranges::find(kGeneric, completion, &CodeRow::code);
  const char* text = row == kGeneric.end() ? "the BMC does not take it" : row->text;
  return text + std::string(code.data());
}

std::string Describe(const Command& command) {
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), "command %02Xh/%02Xh", command.netFn, command.number);
  return text.data();
}

std::string Describe(const Request& request) {
  std::string text = Describe(request.command);
  for (std::size_t i = 0; i < request.data.size(); ++i) {
    std::array<char, 16> byte = {};
    std::snprintf(byte.data(), byte.size(), "%s %02X", i == 0 ? " with" : "", request.data[i]);
    text += byte.data();
  }
  return text;
}

}  // namespace Ipmi
