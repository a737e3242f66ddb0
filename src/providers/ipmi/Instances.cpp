#include "providers/ipmi/Instances.h"

#include <algorithm>

namespace Ipmi {
namespace {

using Indexes = std::vector<std::uint8_t>;

// IPMI 2.0, table 6-1: channels 1 to Bh are the implementation's own; Eh means the present one.
constexpr std::uint8_t kLastChannel = 0x0B;
constexpr std::uint8_t kPresentChannel = 0x0E;
// table 6-3: channel medium types
constexpr std::uint8_t kLan = 4;
constexpr std::uint8_t kOtherLan = 6;

// parameters of their configuration commands: the number of filters, and of destinations
constexpr std::uint8_t kFilterCount = 5;
constexpr std::uint8_t kDestinationCount = 17;

Indexes UpTo(unsigned last) {
  Indexes indexes;
  for (unsigned index = 1; index <= last; ++index) {
    indexes.push_back(static_cast<std::uint8_t>(index));
  }
  return indexes;
}

/// Get Channel Info: number, medium, protocol, session support (bits 7:6, 0 for none) and counts.
Indexes Channels(Bmc& bmc, bool onlyLan) {
  Indexes channels;
  for (const std::uint8_t channel : UpTo(kLastChannel)) {
    const std::optional<Bytes>& info = bmc.Ask({kGetChannelInfo, {channel}});
    if (!info || info->size() < 4) continue;
    const unsigned medium = (*info)[1] & 0x7FU;
    const bool isLan = medium == kLan || medium == kOtherLan;
    const bool hasSessions = ((*info)[3] & 0xC0U) != 0;
    if (onlyLan ? isLan : hasSessions) channels.push_back(channel);
  }
  return channels;
}

Indexes Users(Bmc& bmc) {
  const std::uint8_t channel = UserChannel(bmc);
  if (channel == 0) return {};
  const std::optional<Bytes>& access = bmc.Ask({kSetUserAccess.get, {channel, 1}});
  return access && !access->empty() ? UpTo(access->front() & 0x3FU) : Indexes{};
}

Indexes Filters(Bmc& bmc) {
  const std::optional<Bytes>& count = bmc.Ask({kSetPef.get, {kFilterCount, 0, 0}});
  return count && count->size() >= 2 ? UpTo((*count)[1] & 0x7FU) : Indexes{};
}

/// Counted from 0, as the files number them.
Indexes Destinations(Bmc& bmc, std::uint8_t channel) {
  const std::optional<Bytes>& count = bmc.Ask({kSetLan.get, {channel, kDestinationCount, 0, 0}});
  if (!count || count->size() < 2) return {};
  Indexes indexes = UpTo((*count)[1] & 0x0FU);
  std::ranges::transform(indexes, indexes.begin(),
                         [](std::uint8_t index) { return static_cast<std::uint8_t>(index - 1); });
  return indexes;
}

}  // namespace

std::vector<std::uint8_t> InstancesOf(Bmc& bmc, char letter, const Place& place) {
  switch (letter) {
    case 'L':
      return Channels(bmc, true);
    case 'S':
      return Channels(bmc, false);
    case 'U':
      return Users(bmc);
    case 'F':
      return Filters(bmc);
    default:
      return Destinations(bmc, place.channel);
  }
}

std::uint8_t UserChannel(Bmc& bmc) {
  const Indexes channels = Channels(bmc, false);
  return channels.empty() ? std::uint8_t{0} : channels.front();
}

std::uint8_t ChannelInUse(Bmc& bmc) {
  if (!bmc.Session().IsRemote()) return 0;
  const std::optional<Bytes>& info = bmc.Ask({kGetChannelInfo, {kPresentChannel}});
  return info && !info->empty() ? (*info)[0] & 0x0FU : 0;
}

}  // namespace Ipmi
