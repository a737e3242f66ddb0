#pragma once

#include <string>
#include <vector>

#include "plan/Change.h"
#include "plan/Configuration.h"
#include "plan/Layers.h"
#include "plan/Server.h"

// A write that somebody has to keep. Without that, or when the server no longer answers as it
// should, it is taken back, if need be over a second way to the same server, the rescue.

namespace Planning {

/// What has become of a write that was to be kept.
struct Confirmation {
  enum class Outcome { Kept, TakenBack, NotTakenBack };
  Outcome outcome = Outcome::NotTakenBack;
  std::string reason;   ///< why it was to be taken back; empty when it was kept
  std::string failure;  ///< why that has failed
};

[[nodiscard]] const char* NameOf(Confirmation::Outcome outcome);

/// As the history tells it; of a write that was kept, what follows its own outcome.
[[nodiscard]] std::string TextOf(const Confirmation& confirmation);

/// What tells the server that has `other` from the one that has `present`: a part of a sentence,
/// empty when they may be one. Servers of one kind differ in their settings only, so each counts;
/// facts of [SYSTEM] count where both ways tell them. `other` may have more.
[[nodiscard]] std::string WhatTellsApart(const Configuration& present, const Configuration& other);

/// What of `changes` a server that was opened anew shows otherwise than right after the write, or
/// which fact of [SYSTEM]: a part of a sentence, empty when nothing.
[[nodiscard]] std::string WhatHasTurned(const std::vector<Change>& changes,
                                        const Configuration& afterWrite, const Configuration& anew);

/// Brings the mounted server back to the state `before`: writes what differs, waiting changes
/// included, and reads it again.
/// \return why it is not as it was; empty when it is, or will be after the next boot.
/// \throws ResultStatus, Failure  it cannot be read, or does not take the file.
[[nodiscard]] std::string TakeBack(const std::vector<Layer>& before, const std::string& password,
                                   const Server& server);

}  // namespace Planning
