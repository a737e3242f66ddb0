#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/Descriptor.h"
#include "plan/Confirmation.h"

// How the tool, its guard and whoever confirms from elsewhere talk: packets of a word and texts.

namespace Tool {

/// A word, and what belongs to it.
using Packet = std::vector<std::string>;

inline constexpr const char* kReady = "ready";         ///< of the guard: it watches
inline constexpr const char* kWritten = "written";     ///< with how the write has ended
inline constexpr const char* kAnswers = "answers";     ///< the server does; the time begins
inline constexpr const char* kKeep = "keep";           ///< from the tool, or from elsewhere
inline constexpr const char* kTakeBack = "take back";  ///< likewise, with the reason
inline constexpr const char* kNotYet = "not yet";      ///< of the guard: the tool still writes
inline constexpr const char* kSettled = "settled";     ///< of the guard: outcome, reason, failure

/// Sends a packet. Whoever is gone need not be told. \return false when nobody is there
bool SendPacket(int channel, const Packet& packet);

/// Waits for a packet; nothing when the other end is gone.
[[nodiscard]] std::optional<Packet> ReceivePacket(int channel);

[[nodiscard]] Packet PacketOf(const Planning::Confirmation& confirmation);
/// The confirmation that a packet tells; nothing when it is another one.
[[nodiscard]] std::optional<Planning::Confirmation> ConfirmationIn(const Packet& packet);

/// A socket at `path`, however long that is, for its owner alone, in the place of one that a killed
/// guard has left. \throws std::system_error
[[nodiscard]] std::unique_ptr<Common::Descriptor> ListenAt(const std::string& path);

/// Connects to it; nothing when nobody listens there.
[[nodiscard]] std::unique_ptr<Common::Descriptor> ConnectTo(const std::string& path);

}  // namespace Tool
