#include "providers/ipmi/PageAccess.h"

#include <algorithm>
#include <cstring>

#include "providers/ipmi/CompletionCode.h"

namespace Ipmi {
namespace {

// bits 7:6 of both channel access commands: what is stored, and what is in force until a restart
constexpr std::uint8_t kNonVolatile = 0x40;
constexpr std::uint8_t kVolatile = 0x80;
constexpr std::uint8_t kDcmi = 0xDC;  // the group extension that DCMI commands begin with
constexpr std::size_t kDcmiBlock = 16;
constexpr std::size_t kInfoBlock = 16;  // of which block 0 spends two on encoding and length
constexpr std::uint8_t kSolBit = 0x02;

std::uint8_t Low(std::size_t number) {
  return static_cast<std::uint8_t>(number);
}

/// The bytes that say which of a page's kind it is, in both of its commands.
Bytes WhichOf(const PageRow& row, const Place& place) {
  switch (row.kind) {
    case Kind::UserName:
      return {place.user};
    case Kind::Pef:
      return {row.parameter};
    case Kind::Sol:
    case Kind::Lan:
      return {place.channel, row.parameter};
    default:
      return {};
  }
}

/// The request that reads a page which is one answer.
Request GetRequest(const PageRow& row, const Place& place) {
  Request request{row.commands.get, WhichOf(row, place)};
  switch (row.kind) {
    case Kind::UserAccess:
    case Kind::UserEnable:
    case Kind::PayloadAccess:
      request.data = {place.channel, place.user};
      break;
    case Kind::ChannelAccess:
      request.data = {place.channel, kNonVolatile};
      break;
    case Kind::Pef:
    case Kind::Sol:
    case Kind::Lan:
      request.data.insert(request.data.end(), {place.selector, 0});
      break;
    default:
      break;
  }
  return request;
}

bool HasRevision(Kind kind) {
  return kind == Kind::Pef || kind == Kind::Sol || kind == Kind::Lan;
}

/// The encodings of System Info texts (IPMI 2.0, table 22-16c).
constexpr unsigned kUtf8 = 1;
constexpr unsigned kUcs2 = 2;

void AppendUtf8(unsigned character, Bytes& text) {
  if (character < 0x80) return text.push_back(Low(character));
  if (character < 0x800) {
    text.push_back(Low(0xC0U | (character >> 6U)));
  } else {
    text.push_back(Low(0xE0U | (character >> 12U)));
    text.push_back(Low(0x80U | ((character >> 6U) & 0x3FU)));
  }
  text.push_back(Low(0x80U | (character & 0x3FU)));
}

/// `raw` as UTF-8: what is neither that nor UCS-2 is Latin-1, of which ASCII is a part.
Bytes ToUtf8(unsigned encoding, const Bytes& raw) {
  if (encoding == kUtf8) return raw;
  Bytes text;
  if (encoding == kUcs2) {
    for (std::size_t i = 0; i + 1 < raw.size(); i += 2)
      AppendUtf8(raw[i] + 0x100U * raw[i + 1], text);
  } else {
    for (const std::uint8_t character : raw) AppendUtf8(character, text);
  }
  return text;
}

/// A text of System Info, as UTF-8. Block 0: revision, set selector, encoding, length, 14 bytes;
/// later ones 16 bytes.
std::optional<Bytes> ReadInfoText(Bmc& bmc, std::uint8_t parameter) {
  Bytes text;
  std::size_t length = 1;
  unsigned encoding = 0;
  for (std::uint8_t block = 0; text.size() < length; ++block) {
    const std::optional<Bytes>& answer = bmc.Ask({kSetSystemInfo.get, {0, parameter, block, 0}});
    const std::size_t head = block == 0 ? 4 : 2;
    if (!answer || answer->size() <= head) {
      if (block == 0) return std::nullopt;
      break;
    }
    if (block == 0) {
      encoding = (*answer)[2] & 0x0FU;
      length = (*answer)[3];
    }
    text.insert(text.end(), answer->begin() + static_cast<std::ptrdiff_t>(head), answer->end());
  }
  text.resize(std::min(text.size(), length));
  return ToUtf8(encoding, text);
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

Request SetChannelAccess(const Place& place, const Bytes& data, std::uint8_t storage) {
  return {
      kSetChannelAccess.set,
      {place.channel, Low(storage | (data.at(0) & 0x3FU)), Low(storage | (data.at(1) & 0x0FU))}};
}

/// The request that writes a page which is one command.
Request SetRequest(const PageRow& row, const Place& place, const Bytes& data) {
  switch (row.kind) {
    case Kind::PowerPolicy:
      return {row.commands.set, {Low((data.at(0) >> 5U) & 0x03U)}};
    case Kind::UserAccess:
      // bit 7: take the bits over; callback, link authentication and IPMI messaging below it
      return {
          row.commands.set,
          {Low(0x80U | (data.at(3) & 0x70U) | place.channel), place.user, Low(data.at(3) & 0x0FU)}};
    case Kind::UserEnable:
      return {row.commands.set, {place.user, Low((data.at(1) >> 6U) == 1U ? 1U : 0U)}};
    case Kind::PayloadAccess: {
      // bits 7:6 of the second byte: enable the payloads that follow (00b), or disable them (01b)
      const bool isEnabled = (data.at(0) & kSolBit) != 0;
      return {row.commands.set,
              {place.channel, Low((isEnabled ? 0U : 0x40U) | place.user), kSolBit, 0, 0, 0}};
    }
    case Kind::ChannelAccess:
      return SetChannelAccess(place, data, kNonVolatile);
    default:
      break;
  }
  Request request{row.commands.set, WhichOf(row, place)};
  request.data.insert(request.data.end(), data.begin(), data.begin() + row.writeSize);
  return request;
}

// IPMI 2.0, 22.30: Set User Password
constexpr std::uint8_t kSetPassword = 2;
constexpr std::uint8_t kTwentyBytes = 0x80;  // with the user
constexpr std::size_t kShortPassword = 16;
constexpr std::size_t kLongPassword = 20;
constexpr std::uint8_t kBadLength = 0xC7;

/// Set User Password with a field of `size` bytes for the password.
std::uint8_t TellPassword(Bmc& bmc, std::uint8_t user, std::uint8_t operation,
                          const std::string& password, std::size_t size) {
  Request request{kSetUserEnable.set, {user, operation}};
  if (size == kLongPassword) request.data[0] |= kTwentyBytes;
  request.data.insert(request.data.end(), password.begin(), password.end());
  request.data.resize(2 + size);
  const std::uint8_t completion = bmc.Tell(request);
  explicit_bzero(request.data.data(), request.data.size());
  return completion;
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
  if (!answer) {
    // Some BMCs deny a user whose name nobody has set.
    constexpr std::uint8_t kNotTaken = 0xCC;
    const bool isNameless = page == Page::UserName && bmc.CompletionOf(request) == kNotTaken;
    return isNameless ? std::optional(Bytes(row.writeSize)) : std::nullopt;
  }
  const std::ptrdiff_t skip = HasRevision(row.kind) ? 1 : 0;
  Bytes data(answer->begin() + std::min<std::ptrdiff_t>(skip, std::ssize(*answer)), answer->end());
  const bool isEmpty = data.empty() && HasRevision(row.kind);  // how some BMCs deny a parameter
  if (isEmpty || !IsReadable(page, data)) return std::nullopt;
  if (data.size() < row.size) {
    bmc.Warn(request, "it has answered " + std::to_string(data.size()) + " bytes in the place of " +
                          std::to_string(row.size));
    return std::nullopt;
  }
  data.resize(std::max<std::size_t>(data.size(), row.writeSize));
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
  std::uint8_t completion = bmc.Tell(request);
  if (row.kind == Kind::UserEnable) {  // some BMCs want the field of the password, which is unused
    for (const std::size_t size : {kShortPassword, kLongPassword}) {
      if (completion != kBadLength) break;
      completion = TellPassword(bmc, place.user, request.data.at(1), "", size);
    }
  }
  return {completion, request.command};
}

WriteOutcome WritePassword(Bmc& bmc, std::uint8_t user, const std::string& password) {
  std::uint8_t completion = kBadLength;
  for (const std::size_t size : {kShortPassword, kLongPassword}) {
    if (password.size() > size || completion != kBadLength) continue;
    completion = TellPassword(bmc, user, kSetPassword, password, size);
  }
  return {completion, kSetUserEnable.set};
}

std::optional<Bytes> ReadAccessInForce(Bmc& bmc, const Place& place) {
  std::optional<Bytes> data = bmc.Ask({kSetChannelAccess.get, {place.channel, kVolatile}});
  if (data && data->size() < RowOf(Page::ChannelAccess).size) data.reset();
  return data;
}

WriteOutcome WriteAccessInForce(Bmc& bmc, const Place& place, const Bytes& data) {
  const Request request = SetChannelAccess(place, data, kVolatile);
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
      case Kind::ChannelAccess:  // both that is stored and that is in force
        return request.command == read.command && request.data.front() == place.channel;
      default:
        return request == read;
    }
  });
}

}  // namespace Ipmi
