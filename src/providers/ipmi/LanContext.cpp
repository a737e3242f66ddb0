#include "providers/ipmi/LanContext.h"

#include <algorithm>
#include <array>
#include <new>

namespace Ipmi {
namespace {

const char* TextOrNone(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

}  // namespace

Opened OpenContext(const RemoteAddress& address, const Way& way) {
  Opened opened;
  Context context(ipmi_ctx_create());
  if (!context) throw std::bad_alloc();
  unsigned workarounds = 0;
  for (const Workaround& workaround : Workarounds()) {
    if (HasWorkaround(address, workaround.name)) workarounds |= workaround.flag;
  }
  const std::string& key = address.bmcKey;
  // The library wants the time between two sends to be shorter than the whole.
  const auto resendAfter = std::min(way.resendAfter, way.patience / 2);
  if (ipmi_ctx_open_outofband_2_0(
          context.get(), address.host.c_str(), TextOrNone(address.user),
          TextOrNone(address.password),
          key.empty() ? nullptr : reinterpret_cast<const unsigned char*>(key.data()),
          static_cast<unsigned>(key.size()), IPMI_PRIVILEGE_LEVEL_ADMIN, way.suite,
          static_cast<unsigned>(way.patience.count()), static_cast<unsigned>(resendAfter.count()),
          workarounds, IPMI_FLAGS_DEFAULT) == 0) {
    opened.context = std::move(context);
    return opened;
  }
  opened.number = ipmi_ctx_errnum(context.get());
  opened.detail = ipmi_ctx_errormsg(context.get());
  return opened;
}

bool SendOver(ipmi_ctx_t context, const Request& request, Answer& answer) {
  Bytes buffer = {request.command.number};
  buffer.insert(buffer.end(), request.data.begin(), request.data.end());
  std::array<std::uint8_t, 512> reply = {};
  const int length = ipmi_cmd_raw(context, 0, request.command.netFn, buffer.data(),
                                  static_cast<unsigned>(buffer.size()), reply.data(),
                                  static_cast<unsigned>(reply.size()));
  if (length < 0) return false;
  // The command number comes back before the completion code.
  answer.completion = length < 2 ? 0xFF : reply[1];
  answer.data.assign(reply.begin() + std::min(length, 2), reply.begin() + length);
  return true;
}

}  // namespace Ipmi
