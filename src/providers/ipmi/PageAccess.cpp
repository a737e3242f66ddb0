#include "providers/ipmi/PageAccess.h"

#include <algorithm>

#include "common/ErrorManager.h"
#include "providers/ipmi/CompletionCode.h"

namespace Ipmi {
namespace {

constexpr std::uint8_t kNonVolatile = 0x40;  // bits 7:6 of both channel access commands
constexpr std::uint8_t kDcmi = 0xDC;         // the group extension that DCMI commands begin with
constexpr std::size_t kDcmiBlock = 16;
constexpr std::size_t kInfoBlock = 16;  // of which block 0 spends two on encoding and length
constexpr std::uint8_t kFixedAddressInUse = 0x80;
constexpr std::uint8_t kSolBit = 0x02;

std::uint8_t Low(std::size_t number) {
  return static_cast<std::uint8_t>(number);
}

/// The request that reads a page which is one answer.
Request GetRequest(const PageRow& row, const Place& place) {
  switch (row.kind) {
    case Kind::DeviceId:
      return {kGetDeviceId, {}};
    case Kind::PowerPolicy:
      return {kSetPowerPolicy.get, {}};
    case Kind::UserName:
      return {kSetUserName.get, {place.user}};
    case Kind::UserAccess:
    case Kind::UserEnable:
      return {kSetUserAccess.get, {place.channel, place.user}};
    case Kind::PayloadAccess:
      return {kSetPayloadAccess.get, {place.channel, place.user}};
    case Kind::ChannelAccess:
      return {kSetChannelAccess.get, {place.channel, kNonVolatile}};
    case Kind::Pef:
      return {kSetPef.get, {row.parameter, place.selector, 0}};
    case Kind::Sol:
      return {kSetSol.get, {place.channel, row.parameter, place.selector, 0}};
    default:
      return {kSetLan.get, {place.channel, row.parameter, place.selector, 0}};
  }
}

bool HasRevision(Kind kind) {
  return kind == Kind::Pef || kind == Kind::Sol || kind == Kind::Lan;
}

/// A text of System Info. Block 0: revision, set selector, encoding, length, 14 bytes; later ones
/// 16 bytes.
std::optional<Bytes> ReadInfoText(Bmc& bmc, std::uint8_t parameter) {
  Bytes text;
  std::size_t length = 1;
  for (std::uint8_t block = 0; text.size() < length; ++block) {
    const std::optional<Bytes>& answer = bmc.Ask({kSetSystemInfo.get, {0, parameter, block, 0}});
    const std::size_t head = block == 0 ? 4 : 2;
    if (!answer || answer->size() <= head) {
      if (block == 0) return std::nullopt;
      break;
    }
    if (block == 0) length = (*answer)[3];
    text.insert(text.end(), answer->begin() + static_cast<std::ptrdiff_t>(head), answer->end());
  }
  text.resize(std::min(text.size(), length));
  return text;
}

/// The DCMI text. An answer: group extension, length of the whole text, a part of it.
std::optional<Bytes> ReadDcmiText(Bmc& bmc) {
  Bytes text;
  std::size_t length = 1;
  while (text.size() < length) {
    const std::size_t count =
        std::min(kDcmiBlock, text.empty() ? kDcmiBlock : length - text.size());
    const std::optional<Bytes>& answer =
        bmc.Ask({kSetHostName.get, {kDcmi, Low(text.size()), Low(count)}});
    if (!answer || answer->size() < 2) return std::nullopt;
    length = (*answer)[1];
    if (answer->size() == 2) break;
    text.insert(text.end(), answer->begin() + 2, answer->end());
  }
  text.resize(std::min(text.size(), length));
  return text;
}

std::optional<Bytes> ReadText(Bmc& bmc, const PageRow& row) {
  if (row.kind == Kind::HostName) {
    if (std::optional<Bytes> text = ReadDcmiText(bmc)) return text;
  }
  return ReadInfoText(bmc, row.parameter);
}

std::size_t LengthOf(const Bytes& text) {
  return static_cast<std::size_t>(std::ranges::find(text, 0) - text.begin());
}

/// Sends the parts of a text until one is refused.
WriteOutcome WriteDcmiText(Bmc& bmc, const Bytes& text) {
  WriteOutcome outcome{0, kSetHostName.set};
  Bytes whole(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(LengthOf(text)));
  whole.push_back(0);  // the BMC takes the text over when it has its end
  for (std::size_t at = 0; at < whole.size() && outcome.completion == 0; at += kDcmiBlock) {
    const std::size_t count = std::min(kDcmiBlock, whole.size() - at);
    Request request{kSetHostName.set, {kDcmi, Low(at), Low(count)}};
    request.data.insert(request.data.end(), whole.begin() + static_cast<std::ptrdiff_t>(at),
                        whole.begin() + static_cast<std::ptrdiff_t>(at + count));
    outcome.completion = bmc.Tell(request);
  }
  return outcome;
}

WriteOutcome WriteInfoText(Bmc& bmc, std::uint8_t parameter, const Bytes& text) {
  WriteOutcome outcome{0, kSetSystemInfo.set};
  const std::size_t length = LengthOf(text);
  Bytes whole = {0, Low(length)};  // encoding: ASCII
  whole.insert(whole.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
  whole.resize((whole.size() + kInfoBlock - 1) / kInfoBlock * kInfoBlock);
  for (std::size_t at = 0; at < whole.size() && outcome.completion == 0; at += kInfoBlock) {
    Request request{kSetSystemInfo.set, {parameter, Low(at / kInfoBlock)}};
    request.data.insert(request.data.end(), whole.begin() + static_cast<std::ptrdiff_t>(at),
                        whole.begin() + static_cast<std::ptrdiff_t>(at + kInfoBlock));
    outcome.completion = bmc.Tell(request);
  }
  return outcome;
}

/// The request that writes a page which is one command.
Request SetRequest(const PageRow& row, const Place& place, const Bytes& data) {
  switch (row.kind) {
    case Kind::PowerPolicy:
      return {kSetPowerPolicy.set, {Low((data.at(0) >> 5U) & 0x03U)}};
    case Kind::UserAccess:
      // bit 7: take the bits over; callback, link authentication and IPMI messaging below it
      return {
          kSetUserAccess.set,
          {Low(0x80U | (data.at(3) & 0x70U) | place.channel), place.user, Low(data.at(3) & 0x0FU)}};
    case Kind::UserEnable:
      return {kSetUserEnable.set, {place.user, Low((data.at(1) >> 6U) == 1U ? 1U : 0U)}};
    case Kind::PayloadAccess: {
      // bits 7:6 of the second byte: enable the payloads that follow (00b), or disable them (01b)
      const bool isEnabled = (data.at(0) & kSolBit) != 0;
      return {kSetPayloadAccess.set,
              {place.channel, Low((isEnabled ? 0U : 0x40U) | place.user), kSolBit, 0, 0, 0}};
    }
    case Kind::ChannelAccess:
      return {kSetChannelAccess.set,
              {place.channel, Low(kNonVolatile | (data.at(0) & 0x3FU)),
               Low(kNonVolatile | (data.at(1) & 0x0FU))}};
    default:
      break;
  }
  Request request{row.kind == Kind::UserName ? kSetUserName.set
                  : row.kind == Kind::Pef    ? kSetPef.set
                  : row.kind == Kind::Sol    ? kSetSol.set
                                             : kSetLan.set,
                  {}};
  if (row.kind == Kind::UserName) {
    request.data = {place.user};
  } else if (row.kind == Kind::Pef) {
    request.data = {row.parameter};
  } else {
    request.data = {place.channel, row.parameter};
  }
  request.data.insert(request.data.end(), data.begin(), data.begin() + row.writeSize);
  return request;
}

/// Of a destination's data only the form with an IPv4 address has a text.
bool IsReadable(Page page, const Bytes& data) {
  return page != Page::LanDestination || data.size() < 2 || (data[1] & 0xF0U) == 0;
}

}  // namespace

std::optional<Bytes> ReadOwnPage(Bmc& bmc, Page page, const Place& place) {
  const PageRow& row = RowOf(page);
  if (row.kind == Kind::Firmware || row.kind == Kind::HostName) return ReadText(bmc, row);
  const Request request = GetRequest(row, place);
  const std::optional<Bytes>& answer = bmc.Ask(request);
  if (!answer) return std::nullopt;
  const std::ptrdiff_t skip = HasRevision(row.kind) ? 1 : 0;
  Bytes data(answer->begin() + std::min<std::ptrdiff_t>(skip, std::ssize(*answer)), answer->end());
  const bool isEmpty = data.empty() && HasRevision(row.kind);  // how some BMCs deny a parameter
  if (isEmpty || !IsReadable(page, data)) return std::nullopt;
  if (data.size() < row.size) {
    ErrorManager::Raise(ErrorManager::BadAnswer, bmc.Session().Name(),
                        "it is too short for " + Describe(request.command));
  }
  if (row.hasSelector) data[0] = place.selector;
  return data;
}

std::optional<Bytes> ReadPage(Bmc& bmc, Page page, const Place& place) {
  std::optional<Bytes> data = ReadOwnPage(bmc, page, place);
  if (page != Page::LanIpv6Static || !data || ((*data)[1] & kFixedAddressInUse) != 0) return data;
  std::optional<Bytes> dynamic = ReadOwnPage(bmc, Page::LanIpv6Dynamic, place);
  return dynamic ? dynamic : data;
}

WriteOutcome WritePage(Bmc& bmc, Page page, const Place& place, const Bytes& data) {
  const PageRow& row = RowOf(page);
  if (row.kind == Kind::HostName) {
    return ReadDcmiText(bmc) ? WriteDcmiText(bmc, data) : WriteInfoText(bmc, row.parameter, data);
  }
  const Request request = SetRequest(row, place, data);
  return {bmc.Tell(request), request.command};
}

void ForgetPage(Bmc& bmc, Page page, const Place& place) {
  const PageRow& row = RowOf(page);
  const Request read = GetRequest(row, place);
  bmc.Forget([&](const Request& request) {
    switch (row.kind) {
      case Kind::HostName:
        return request.command == kSetHostName.get || request.command == kSetSystemInfo.get;
      case Kind::Lan:  // an address source decides on addresses, and so on
        if (!IsAddress(page)) return request == read;
        return request.command == kSetLan.get && request.data.front() == place.channel;
      case Kind::UserEnable:  // shows in the access to every channel
        return request.command == kSetUserAccess.get && request.data.back() == place.user;
      default:
        return request == read;
    }
  });
}

}  // namespace Ipmi
