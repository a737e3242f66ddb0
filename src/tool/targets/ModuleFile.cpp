#include "tool/targets/ModuleFile.h"

#include <dlfcn.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tool/ExitCodes.h"

namespace Tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kEnding = ".so";
constexpr const char* kEntry = "saverestore_module_1";

/// Whether the process may do what the user who has started it may not, or is root.
bool IsPrivileged() {
  return geteuid() == 0 || getauxval(AT_SECURE) != 0;
}

/// Why somebody else could have put something at `path`; empty when nobody could. A directory in
/// which only owners may replace things, such as /tmp, protects what is in it.
std::string WhoElseWrites(const fs::path& path) {
  for (fs::path part = path;; part = part.parent_path()) {
    struct stat facts = {};
    if (stat(part.c_str(), &facts) != 0) return part.string() + " cannot be looked at";
    if (facts.st_uid != 0 && facts.st_uid != geteuid()) {
      return part.string() + " belongs to another user";
    }
    const bool isOpen = (facts.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (isOpen && (facts.st_mode & S_ISVTX) == 0) return "others may write " + part.string();
    if (part == part.root_path()) return {};
  }
}

}  // namespace

std::string ModuleFolder() {
  if (const char* folder = secure_getenv("SAVERESTORE_MODULES")) return folder;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  return (program.parent_path() / SAVERESTORE_MODULE_PATH).lexically_normal().string();
}

std::vector<std::string> ModuleNames(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == kEnding) names.push_back(entry->path().stem().string());
  }
  std::ranges::sort(names);
  return names;
}

const Targets::Module& LoadModule(const std::string& folder, const std::string& name) {
  std::error_code error;
  const fs::path path = fs::canonical(fs::path(folder) / (name + kEnding), error);
  if (error) throw ToolError(ExitFailed, error.message());
  if (IsPrivileged()) {
    if (const std::string why = WhoElseWrites(path); !why.empty()) throw ToolError(ExitFailed, why);
  }
  // At once, so that what it lacks shows now and not in the middle of a restore.
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) throw ToolError(ExitFailed, dlerror());
  const auto entry = reinterpret_cast<decltype(&saverestore_module_1)>(dlsym(module, kEntry));
  if (entry == nullptr) {
    throw ToolError(ExitFailed, path.string() + " is no back end for this version: it has no " +
                                    std::string(kEntry));
  }
  return *entry();
}

}  // namespace Tool
