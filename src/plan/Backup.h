#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "common/AtomicFile.h"
#include "plan/Configuration.h"
#include "plan/Plan.h"
#include "plan/Server.h"

namespace Planning {

/// A configuration that was saved into a file.
struct Saved {
  std::string file;
  std::size_t sections = 0;
  std::size_t keys = 0;
  std::vector<std::string> warnings;  ///< what a person should know of it
};

/// Hears of each section as it is read; its name carries its brackets.
using SectionObserver = std::function<void(const std::string& name)>;

/// Saves the mounted server's configuration into `file`, of the form that its name says.
/// \throws Failure, ResultStatus  the file is then not to be used.
void SaveInto(Common::AtomicFile& file, Mode mode, const Server& server,
              const SectionObserver& observer = {});

/// Reads a saved file back, the way a restore will.
/// \throws Failure  that is not possible.
[[nodiscard]] Saved ReviewSaved(const std::string& file, Mode mode);

/// Saves what the server has before something is written to it, whole or not at all, as the new
/// file `name`. \throws Failure, ResultStatus  nothing has been written then.
[[nodiscard]] Saved SaveBackup(const std::string& name, Mode mode, const Server& server);

}  // namespace Planning
