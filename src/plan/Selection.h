#pragma once

#include <string>
#include <vector>

#include "plan/Configuration.h"

namespace Planning {

/// Which settings something is about, by shell patterns over "SECTION::KEY" ("CHANNEL::LAN*",
/// "BIOS::Main::*"). A pattern that names a section stands for all of it.
struct Selection {
  std::vector<std::string> only;    ///< empty: all
  std::vector<std::string> except;  ///< taken out of those

  [[nodiscard]] bool IsAll() const { return only.empty() && except.empty(); }
  [[nodiscard]] bool Covers(const std::string& section, const std::string& key) const;

  /// The settings that are covered. Sections that lose all of theirs go with them; [SYSTEM] stays
  /// unless it is taken out by name, since it says where the file is from.
  [[nodiscard]] Configuration Of(const Configuration& whole) const;

  /// A pattern that selects nothing is a mistyped one, and what it was meant for would pass for
  /// looked at. \throws Failure  `only` has one that fits no setting of `whole`.
  void ThrowIfIdle(const Configuration& whole) const;
};

}  // namespace Planning
