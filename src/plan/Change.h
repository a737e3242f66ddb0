#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "plan/RecordingProvider.h"

namespace Planning {

/// A write that changes something.
struct Change {
  std::string path;
  std::string section;  ///< how the file calls it; of a boot order the key is the device
  std::string key;
  std::string from;  ///< the present value, of a device its position; empty without one
  std::string to;
  std::string fromText;  ///< what the setup screen shows for it; empty where it has no options
  std::string toText;
  std::optional<std::string> waiting = {};  ///< what the next boot would bring without the change

  /// How people see it: "BIOS::Main::Quiet Boot".
  [[nodiscard]] std::string Name() const { return section + "::" + key; }
};

/// Those of `writes` that change what the mounted server has. `present` is what a save of it would
/// write now.
/// `waiting` has what the next boot would bring, by path: a change too where it is not wanted.
[[nodiscard]] std::vector<Change> ChangesOf(const std::vector<RecordedWrite>& writes,
                                            const Configuration& present,
                                            const SDK::SettingMap& waiting);

/// Those of `changes` whose setting has no longer the value that they start from, with the value
/// that it has now: somebody else was at work. Asks the mounted server for each.
/// \throws ResultStatus  the server cannot be asked.
[[nodiscard]] std::vector<Change> ChangedSince(const std::vector<Change>& changes);

/// True for what a save writes where a server does not tell a value: an empty text, or
/// `kNotTold`.
[[nodiscard]] bool TellsNothing(const std::string& value);

/// Why a change cannot be made.
struct Obstacle {
  enum class Kind {
    Impossible,    ///< the server cannot take the value
    ReadOnly,      ///< nobody can change it: no fault of the file
    Kept,          ///< the server leaves it alone by a rule of its own, likewise
    Absent,        ///< the server has no such setting at all, likewise
    Locked,        ///< nobody can while other settings are as they will be
    NeedsRestart,  ///< the server takes it once it has restarted with the rest
  };
  Change change;
  std::string reason;  ///< a part of a sentence that says what is allowed
  Kind kind = Kind::Impossible;

  /// True when it is no fault of the file, and no reason to end with a failure.
  [[nodiscard]] bool IsHarmless() const { return kind == Kind::Kept || kind == Kind::Absent; }
};

/// True when the mounted server says that nobody can change the setting at `path`.
[[nodiscard]] bool IsReadOnly(const std::string& path);

/// What of `changes` cannot be written: held against what the mounted server says of each setting,
/// and against the form that its key promises. `wanted` has the values as the file has them.
[[nodiscard]] std::vector<Obstacle> ObstaclesTo(const std::vector<Change>& changes,
                                                const Configuration& wanted,
                                                const Configuration& present);

}  // namespace Planning
