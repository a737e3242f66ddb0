#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "plan/Confirmation.h"
#include "plan/History.h"
#include "plan/Layers.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "tool/commands/Writing.h"
#include "tool/guard/Guard.h"
#include "tool/terminal/Progress.h"

namespace Tool {

/// A write that somebody has to keep, when the options say so: its guard, and what is said of it.
class Keeping {
 public:
  /// Notes how the write goes; with `isOver` that is the last of it.
  using Note = std::function<void(const std::string& outcome, bool isOver)>;

  /// All of these outlive this; `record` is of the write, once that has begun.
  Keeping(const WriteOptions& options, const Planning::History& history,
          const Planning::HistoryRecord& record, const Messages& messages)
      : options_(options), history_(history), record_(record), messages_(messages) {}

  /// Says which secrets of the plan no way back brings back.
  void Warn(const Planning::Plan& plan) const;
  /// \throws ToolError  what was written before waits to be kept.
  void ThrowIfAnotherWaits() const;
  /// Has a process watch over the write from here on, which would bring back the state `before`.
  /// The secrets outlive this. \throws ToolError  that is not possible; nothing is written then.
  void Start(const std::vector<Planning::Layer>& before, const std::string& adminPassword,
             const SDK::SettingMap& accounts, const Note& note);
  [[nodiscard]] bool IsOn() const { return guard_.has_value(); }

  /// All is written, and ended as `outcome` says.
  void Written(const std::string& outcome) const;
  /// Has somebody keep it, or takes it back.
  [[nodiscard]] Planning::Confirmation Settle(const Planning::Plan& plan,
                                              const Planning::Report& report, Progress& progress,
                                              unsigned queriesOfSave) const;
  /// Takes back what was interrupted.
  [[nodiscard]] Planning::Confirmation TakeBack() const;
  /// Says what it has come to. \return the exit code; ExitDone when it was kept
  [[nodiscard]] int Tell(const Planning::Confirmation& confirmation) const;

 private:
  const WriteOptions& options_;
  const Planning::History& history_;
  const Planning::HistoryRecord& record_;
  const Messages& messages_;
  std::optional<Guard> guard_;
};

}  // namespace Tool
