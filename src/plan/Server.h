#pragma once

#include <optional>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/Mounts.h"
#include "plan/ObservedProvider.h"

namespace Planning {

/// The server that something is planned for: its back ends are mounted as long as this lives, in
/// the place of all others, and every query to them is counted and shown to an observer.
class Server {
 public:
  explicit Server(const Mounts& mounts, QueryObserver observer = {});
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  [[nodiscard]] const Mounts& Providers() const { return mounts_; }
  [[nodiscard]] unsigned Queries() const { return queries_; }

  /// The first failure with which the server has said nothing: it could not be reached, or did not
  /// permit a read. Reads swallow that, and an empty value must not pass for an answer.
  [[nodiscard]] const std::optional<ResultStatus>& Silence() const { return silence_; }
  /// Throws that failure, if there is one.
  void ThrowIfSilent() const;

  /// Has the next reads ask the server again (`QueryProvider::Refresh`). \throws ResultStatus
  void Refresh() const;

  /// All of the part that `mode` says is about to be read (`QueryProvider::Expect`).
  void Expect(Mode mode) const;

  /// What writing `settings` would lead to; nothing is written. \throws ResultStatus
  [[nodiscard]] std::vector<SDK::WriteForesight> Foresee(const SDK::SettingMap& settings) const;

  /// What the BIOS has left of its last boot, and what waits for the next one.
  [[nodiscard]] std::vector<SDK::BootMessage> BootMessages() const;

 private:
  Mounts mounts_;
  std::optional<ResultStatus> silence_;
  unsigned queries_ = 0;
};

}  // namespace Planning
