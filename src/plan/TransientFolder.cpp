#include "plan/TransientFolder.h"

#include <cstdlib>
#include <filesystem>

#include "plan/Failure.h"

namespace Planning {
namespace {

std::string FolderForSecrets() {
  for (const char* variable : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
    const char* folder = std::getenv(variable);
    std::error_code error;
    if (folder != nullptr && std::filesystem::is_directory(folder, error)) return folder;
  }
  return "/tmp";
}

}  // namespace

TransientFolder::TransientFolder() : folder_(FolderForSecrets() + "/saverestore-XXXXXX") {
  if (mkdtemp(folder_.data()) == nullptr) {
    throw Failure(Failure::Kind::Failed, "there is no folder for a file of the moment; set TMPDIR");
  }
}

TransientFolder::~TransientFolder() {
  std::error_code error;  // the folder is ours alone; what cannot be removed is readable by nobody
  std::filesystem::remove_all(folder_, error);
}

}  // namespace Planning
