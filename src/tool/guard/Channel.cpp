#include "tool/guard/Channel.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace Tool {
namespace {

constexpr std::size_t kLongestPacket = 64UL * 1024;
constexpr char kEnd = '\0';  // of each text; none of them holds one

constexpr auto kOutcomes = std::to_array<Planning::Confirmation::Outcome>(
    {Planning::Confirmation::Outcome::Kept, Planning::Confirmation::Outcome::TakenBack,
     Planning::Confirmation::Outcome::NotTakenBack});

/// The address of a socket in an open folder: the folder's own name may be too long for one.
sockaddr_un AddressIn(int folder, const std::string& name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + name;
  if (path.size() >= sizeof address.sun_path) {
    throw std::system_error(ENAMETOOLONG, std::generic_category(), name);
  }
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

Common::Descriptor FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return Common::Descriptor(
      open(folder.empty() ? "." : folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::unique_ptr<Common::Descriptor> NewSocket() {
  return std::make_unique<Common::Descriptor>(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
}

[[noreturn]] void ThrowErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

bool SendPacket(int channel, const Packet& packet) {
  std::string bytes;
  for (const std::string& text : packet) bytes += text + kEnd;
  if (bytes.size() > kLongestPacket) bytes.resize(kLongestPacket);
  ssize_t sent = 0;
  do {
    sent = send(channel, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent >= 0;
}

std::optional<Packet> ReceivePacket(int channel) {
  std::string bytes(kLongestPacket, '\0');
  ssize_t got = 0;
  do {
    got = recv(channel, bytes.data(), bytes.size(), 0);
    // Of an end that went away with something unread the kernel tells first, once, and only then
    // hands out what that end had sent: its last word, whether the write was kept.
  } while (got < 0 && (errno == EINTR || errno == ECONNRESET));
  if (got <= 0) return std::nullopt;
  Packet packet;
  for (std::size_t at = 0, size = static_cast<std::size_t>(got); at < size;) {
    packet.emplace_back(bytes.c_str() + at);
    at += packet.back().size() + 1;
  }
  return packet;
}

Packet PacketOf(const Planning::Confirmation& confirmation) {
  return {kSettled, NameOf(confirmation.outcome), confirmation.reason, confirmation.failure};
}

std::optional<Planning::Confirmation> ConfirmationIn(const Packet& packet) {
  if (packet.size() != 4 || packet[0] != kSettled) return std::nullopt;
  for (const auto outcome : kOutcomes) {
    if (packet[1] == NameOf(outcome)) return Planning::Confirmation{outcome, packet[2], packet[3]};
  }
  return std::nullopt;
}

std::unique_ptr<Common::Descriptor> ListenAt(const std::string& path) {
  const Common::Descriptor folder = FolderOf(path);
  auto listener = NewSocket();
  const sockaddr_un address = AddressIn(folder.Get(), std::filesystem::path(path).filename());
  unlink(path.c_str());
  const mode_t before = umask(0177);
  const int bound =
      bind(listener->Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  umask(before);
  errno = error;
  if (bound != 0 || listen(listener->Get(), SOMAXCONN) != 0) ThrowErrno(path);
  return listener;
}

std::unique_ptr<Common::Descriptor> ConnectTo(const std::string& path) {
  const Common::Descriptor folder = FolderOf(path);
  auto channel = NewSocket();
  const sockaddr_un address = AddressIn(folder.Get(), std::filesystem::path(path).filename());
  if (connect(channel->Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return nullptr;
  }
  return channel;
}

}  // namespace Tool
