#include "providers/host/BootVariables.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "common/Descriptor.h"
#include "common/ErrorManager.h"
#include "providers/host/KernelFile.h"
#include "providers/host/Names.h"

extern "C" {  // the headers do not say that it is C
#include <efivar/efiboot.h>
}

namespace Host {
namespace {

constexpr const char* kOrderPath = "/BIOS/BootOrder";

/// EFI_GLOBAL_VARIABLE (UEFI specification, "Globally Defined Variables").
constexpr const char* kGlobalGuid = "8be4df61-93ca-11d2-aa0d-00e098032b8c";
constexpr std::size_t kAttributesSize = 4;

std::string PathOf(std::size_t position) {
  return std::string(kOrderPath) + "[" + std::to_string(position) + "]";
}

std::string VariableOf(std::uint16_t number) {
  std::array<char, 16> name = {};
  std::snprintf(name.data(), name.size(), "Boot%04X", number);
  return name.data();
}

/// Takes the immutable flag, which the kernel puts on variables it does not know as harmless, off a
/// file and puts it back.
class Unlocked {
 public:
  explicit Unlocked(const std::filesystem::path& path)
      : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (!file_.IsOpen() || ioctl(file_.Get(), FS_IOC_GETFLAGS, &flags_) != 0) return;
    int without = flags_ & ~FS_IMMUTABLE_FL;
    wasLocked_ = without != flags_ && ioctl(file_.Get(), FS_IOC_SETFLAGS, &without) == 0;
  }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;
  ~Unlocked() {
    if (wasLocked_) ioctl(file_.Get(), FS_IOC_SETFLAGS, &flags_);
  }

 private:
  Common::Descriptor file_;
  int flags_ = 0;
  bool wasLocked_ = false;
};

}  // namespace

BootVariables::BootVariables(std::filesystem::path folder) : folder_(std::move(folder)) {
  const std::filesystem::path file = FileOf("BootOrder");
  const KernelText order = ReadBytes(file);
  if (order.error == ENOENT || order.error == ENOTDIR) return;
  if (order.error != 0) RaiseUnread(file, order.error);
  if (order.text.size() < kAttributesSize) {
    ErrorManager::Raise(ErrorManager::BadAnswer, file.string(), "it is too short for a variable");
  }
  attributes_ = order.text.substr(0, kAttributesSize);
  std::vector<Named> names;
  for (std::size_t at = kAttributesSize; at + 1 < order.text.size(); at += 2) {
    const auto low = static_cast<unsigned char>(order.text[at]);
    const auto high = static_cast<unsigned char>(order.text[at + 1]);
    const auto number = static_cast<std::uint16_t>(low | high << 8U);
    entries_.push_back({number, {}});
    names.push_back({Description(number), VariableOf(number)});
  }
  const std::vector<std::string> unique = UniqueNames(names, Sharing::LowestKeepsLabel);
  for (std::size_t index = 0; index < unique.size(); ++index) entries_[index].name = unique[index];
}

std::filesystem::path BootVariables::FileOf(const std::string& variable) const {
  return folder_ / (variable + "-" + kGlobalGuid);
}

std::string BootVariables::Description(std::uint16_t number) const {
  const std::filesystem::path file = FileOf(VariableOf(number));
  KernelText content = ReadBytes(file);
  if (IsDenied(content.error)) RaiseUnread(file, content.error);
  if (content.text.size() <= kAttributesSize) return {};
  std::string option = content.text.substr(kAttributesSize);
  const std::size_t size = option.size();
  option.append(2, '\0');  // a description without an end then ends here
  auto* loadOption = reinterpret_cast<efi_load_option*>(option.data());
  if (efi_loadopt_is_valid(loadOption, size) == 0) return {};
  const unsigned char* text = efi_loadopt_desc(loadOption, static_cast<ssize_t>(size));
  return text == nullptr ? std::string() : CleanName(reinterpret_cast<const char*>(text));
}

void BootVariables::AddTo(NodeMap& nodes) const {
  if (entries_.empty()) return;
  std::vector<std::string>& positions = nodes[kOrderPath].values.Edit();
  for (std::size_t index = 0; index < entries_.size(); ++index) {
    positions.push_back(PathOf(index + 1));
    nodes[positions.back()].values = {entries_[index].name};
  }
}

bool BootVariables::Has(const std::string& path) const {
  return path.starts_with(std::string(kOrderPath) + "[");
}

std::vector<std::uint16_t> BootVariables::OrderWith(const SDK::SettingMap& writes) const {
  std::vector<std::uint16_t> order;
  std::vector<bool> placed(entries_.size(), false);
  for (std::size_t index = 0; index < entries_.size(); ++index) {
    const std::string path = PathOf(index + 1);
    const auto write = writes.find(path);
    const std::string& name = write == writes.end() ? entries_[index].name : write->second;
    const auto entry = std::ranges::find(entries_, name, &Entry::name);
    if (entry == entries_.end()) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, name, "there is no such boot entry");
    }
    const auto source = static_cast<std::size_t>(entry - entries_.begin());
    if (placed[source]) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, name,
                          "this boot entry would stand at two positions");
    }
    placed[source] = true;
    order.push_back(entry->number);
  }
  return order;
}

void BootVariables::CheckWritable() const {
  const std::filesystem::path file = FileOf("BootOrder");
  const bool isWritable = faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0;
  if (isWritable || (geteuid() == 0 && errno == EPERM)) return;  // root takes the lock off
  if (errno == EROFS) {
    ErrorManager::Raise(ErrorManager::NotPermitted, file.string(),
                        "efivarfs is mounted read-only; remount it with \"mount -o remount,rw " +
                            folder_.string() + "\"");
  }
  RaiseUnread(file, errno);
}

std::vector<SDK::WriteNote> BootVariables::Write(const std::vector<std::uint16_t>& order,
                                                 const KernelWriter& write) const {
  using Fate = SDK::WriteNote::Fate;
  std::string bytes = attributes_;
  for (const std::uint16_t number : order) {
    bytes += static_cast<char>(number & 0xFFU);
    bytes += static_cast<char>(number >> 8U);
  }
  const std::filesystem::path file = FileOf("BootOrder");
  const Unlocked unlocked(file);
  if (const int error = write(file, bytes); error != 0) {
    if (IsDenied(error)) RaiseUnread(file, error);
    return {{"", Fate::Refused, Words(error)}};
  }
  if (ReadBytes(file).text != bytes) {
    return {{"", Fate::Ignored, "the firmware kept its boot order"}};
  }
  return {};
}

}  // namespace Host
