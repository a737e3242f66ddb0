#include "support/FakeHost.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

extern "C" {
#include <efivar/efiboot.h>
}

namespace Test {
namespace {

namespace fs = std::filesystem;

void Put(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Get(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::string LittleEndian(std::uint32_t number, int bytes) {
  std::string text;
  for (int index = 0; index < bytes; ++index) {
    text += static_cast<char>((number >> (8 * index)) & 0xFFU);
  }
  return text;
}

}  // namespace

int FakeDriver::Write(const fs::path& file, std::string_view bytes) {
  const std::string text(bytes.substr(0, bytes.find_first_of(std::string_view("\n\0", 2))));
  if (file.filename() == "current_password") {
    log.push_back("password=" + text);
    return TakePassword(bytes.substr(0, bytes.find('\0')));
  }
  const bool isSetting = file.filename() == "current_value";
  const std::string name =
      isSetting ? file.parent_path().filename().string() : file.filename().string();
  log.push_back(name + "=" + text);
  if (const int error = isSetting ? TakeSetting(name) : 0; error != 0) return error;
  if (errors.contains(name)) return errors.at(name);
  if (!ignored.contains(name)) std::ofstream(file, std::ios::binary) << bytes;
  return 0;
}

int FakeDriver::TakePassword(std::string_view bytes) {
  if (errors.contains("password")) return errors.at("password");
  if (!bytes.empty() && (bytes.size() < shortest || bytes.size() > longest)) return EINVAL;
  held = bytes.substr(0, bytes.find('\n'));
  return 0;
}

int FakeDriver::TakeSetting(const std::string& name) {
  if (!password.empty() && held != password) {
    ++wrongPasswords;
    return wrongError;
  }
  if (isForgetful) held.clear();
  if (after.contains(name) && std::ranges::find(log, after.at(name)) == log.end()) return EPERM;
  return 0;
}

FakeHost::FakeHost(fs::path folder) : folder_(std::move(folder)) {
  fs::create_directories(folder_ / "sys");
}

fs::path FakeHost::DriverFolder(const std::string& driver) const {
  return Sysfs() / "class/firmware-attributes" / driver;
}

fs::path FakeHost::ValueFile(const std::string& driver, const std::string& name) const {
  return DriverFolder(driver) / "attributes" / name / "current_value";
}

void FakeHost::SetAttribute(const std::string& driver, const std::string& name,
                            const std::map<std::string, std::string>& files) {
  for (const auto& [file, text] : files) {
    Put(DriverFolder(driver) / "attributes" / name / file, text + "\n");
  }
}

void FakeHost::SetValueDevice(const std::string& driver, const std::string& name,
                              const std::string& device) {
  fs::create_directories(ValueFile(driver, name).parent_path());
  fs::remove(ValueFile(driver, name));
  fs::create_symlink(device, ValueFile(driver, name));
}

std::string FakeHost::Value(const std::string& driver, const std::string& name) const {
  std::string text = Get(ValueFile(driver, name));
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

void FakeHost::SetControl(const std::string& driver, const std::string& name,
                          const std::string& text) {
  Put(DriverFolder(driver) / "attributes" / name, text + "\n");
}

void FakeHost::SetAdmin(const std::string& driver, bool isEnabled) {
  Put(DriverFolder(driver) / "authentication/Admin/is_enabled", isEnabled ? "1\n" : "0\n");
  Put(PasswordFile(driver), "");
}

fs::path FakeHost::PasswordFile(const std::string& driver) const {
  return DriverFolder(driver) / "authentication/Admin/current_password";
}

void FakeHost::SetDmi(const std::string& file, const std::string& text) {
  Put(Sysfs() / "class/dmi/id" / file, text + "\n");
}

void FakeHost::SetBootEntry(std::uint16_t number, const std::string& description) {
  // End of a hardware device path (UEFI specification, "Generic Device Path Structures").
  std::string devicePath("\x7f\xff\x04\x00", 4);
  std::string text = description;
  std::string option(4096, '\0');
  const ssize_t size = efi_loadopt_create(
      reinterpret_cast<std::uint8_t*>(option.data()), static_cast<ssize_t>(option.size()), 1,
      reinterpret_cast<efidp>(devicePath.data()), static_cast<ssize_t>(devicePath.size()),
      reinterpret_cast<unsigned char*>(text.data()), nullptr, 0);
  option.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  std::ostringstream name;
  name << "Boot" << std::hex << std::uppercase;
  name.width(4);
  name.fill('0');
  name << number;
  SetVariable(name.str(), option);
}

void FakeHost::SetVariable(const std::string& name, const std::string& bytes,
                           std::uint32_t attributes) {
  Put(fs::path(Efivarfs()) / (name + "-8be4df61-93ca-11d2-aa0d-00e098032b8c"),
      LittleEndian(attributes, 4) + bytes);
}

void FakeHost::SetBootOrder(const std::vector<std::uint16_t>& order, std::uint32_t attributes) {
  std::string bytes;
  for (const std::uint16_t number : order) bytes += LittleEndian(number, 2);
  SetVariable("BootOrder", bytes, attributes);
}

std::string FakeHost::Variable(const std::string& name) const {
  return Get(fs::path(Efivarfs()) / (name + "-8be4df61-93ca-11d2-aa0d-00e098032b8c"));
}

}  // namespace Test
