#include "providers/host/DriverPassword.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"

namespace Host {
namespace {

namespace fs = std::filesystem;

/// How long drivers keep a password. One without a row is given it before each write: where that
/// is not needed it does no harm, and where it is, each write without it counts as a wrong one.
struct DriverRow {
  std::string_view driver;
  bool isForgetful;
};
constexpr auto kDrivers = std::to_array<DriverRow>({
    {"dell-wmi-sysman", false},
    {"hp-bioscfg", true},
    {"thinklmi", false},
});

bool IsForgetful(const fs::path& driver) {
  const auto* row = std::ranges::find(kDrivers, driver.filename().string(), &DriverRow::driver);
  return row == kDrivers.end() || row->isForgetful;
}

std::size_t LengthIn(const fs::path& file, std::size_t otherwise) {
  const std::string text = TextOrNothing(file);
  std::size_t length = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  return error == std::errc() && length > 0 ? length : otherwise;
}

}  // namespace

fs::path AdminFolder(const fs::path& driver) {
  for (const fs::path& folder : FoldersIn(driver / "authentication")) {
    if (TextOrNothing(folder / "role") == "bios-admin") return folder;
  }
  return driver / "authentication/Admin";
}

bool NeedsPassword(const fs::path& driver) {
  return TextOrNothing(AdminFolder(driver) / "is_enabled") == "1";
}

std::string PasswordObjection(const fs::path& driver, const std::string& password) {
  const fs::path folder = AdminFolder(driver);
  const std::size_t shortest = LengthIn(folder / "min_password_length", 0);
  const std::size_t longest = LengthIn(folder / "max_password_length", password.size());
  if (password.size() < shortest) {
    return "it is too short: those of this firmware have at least " + std::to_string(shortest) +
           " characters";
  }
  if (password.size() <= longest) return {};
  return "it is too long: those of this firmware have at most " + std::to_string(longest) +
         " characters";
}

DriverPassword::DriverPassword(const fs::path& driver, const std::string& password,
                               KernelWriter write)
    : file_(AdminFolder(driver) / "current_password"),
      password_(password),
      write_(std::move(write)),
      isForgetful_(IsForgetful(driver)) {}

DriverPassword::~DriverPassword() {
  static_cast<void>(TakeBack());
}

int DriverPassword::WriteLine(const std::string& lineEnd) const {
  std::string line;
  const Common::WipeOnExit wipe(line);
  line.reserve(password_.size() + lineEnd.size());  // no growing, no stray copy
  line.append(password_).append(lineEnd);
  return write_(file_, line);
}

void DriverPassword::Give() {
  if (isGiven_) return;
  isOpen_ = true;  // it may be taken in part
  int error = WriteLine("\n");
  if (error == EINVAL) error = WriteLine("");  // some count the line end among the characters
  if (error == EINVAL) {
    ErrorManager::Raise(ErrorManager::PasswordRefused,
                        "the driver says that it cannot be one; no attempt was used up");
  }
  if (IsDenied(error)) RaiseUnread(file_, error);
  if (error != 0) ErrorManager::Raise(ErrorManager::WriteFailed, file_.string(), Words(error));
  isGiven_ = true;
}

void DriverPassword::WriteDone() {
  if (isForgetful_) isGiven_ = false;
}

std::string DriverPassword::TakeBack() {
  if (!std::exchange(isOpen_, false)) return {};
  int error = write_(file_, "\n");
  // For some an empty line is a password that is too short. An empty text is what they wait for.
  if (error == EINVAL) error = write_(file_, std::string_view("\0", 1));
  return error == 0 ? "" : "the driver could not be made to forget it: " + Words(error);
}

}  // namespace Host
