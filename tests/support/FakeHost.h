#pragma once

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Test {

/// A kernel driver with its firmware, as whoever writes its files meets them. What it takes is kept
/// in those files.
struct FakeDriver {
  std::string password;                      ///< of the firmware; empty: none
  bool isForgetful = false;                  ///< it forgets the password with each write
  std::size_t shortest = 0;                  ///< password that it takes, with the line end
  std::size_t longest = 64;                  ///< likewise
  int wrongError = EACCES;                   ///< of a write with a wrong password
  std::map<std::string, int> errors;         ///< of writes to a setting or a control
  std::map<std::string, std::string> after;  ///< a setting that is locked until another is written
  std::set<std::string> ignored;             ///< settings that it does not change
  int wrongPasswords = 0;                    ///< what the firmware has counted
  std::string held;                          ///< the password that the driver has
  std::vector<std::string> log;              ///< "Name=value" of each write

  /// Takes a write to one of the driver's files. \return 0 or an errno
  int Write(const std::filesystem::path& file, std::string_view bytes);

 private:
  int TakePassword(std::string_view bytes);
  int TakeSetting(const std::string& name);
};

/// Directories that look like sysfs and efivarfs of a machine.
class FakeHost {
 public:
  explicit FakeHost(std::filesystem::path folder);

  [[nodiscard]] std::filesystem::path Sysfs() const { return folder_ / "sys"; }
  /// As the environment variable of the libraries and tools for EFI variables wants it.
  [[nodiscard]] std::string Efivarfs() const { return (folder_ / "efivars/").string(); }
  [[nodiscard]] std::filesystem::path DriverFolder(const std::string& driver) const;
  [[nodiscard]] std::filesystem::path ValueFile(const std::string& driver,
                                                const std::string& name) const;

  /// Sets files of an attribute: file name to text.
  void SetAttribute(const std::string& driver, const std::string& name,
                    const std::map<std::string, std::string>& files);
  /// Puts `device` where the attribute's value would be, so that writing meets it.
  void SetValueDevice(const std::string& driver, const std::string& name,
                      const std::string& device);
  /// What stands in the attribute's value, without a line end.
  [[nodiscard]] std::string Value(const std::string& driver, const std::string& name) const;

  /// Sets a control of the driver, beside its settings.
  void SetControl(const std::string& driver, const std::string& name, const std::string& text);
  /// Gives the driver an administrator password, enabled or not.
  void SetAdmin(const std::string& driver, bool isEnabled);
  [[nodiscard]] std::filesystem::path PasswordFile(const std::string& driver) const;

  void SetDmi(const std::string& file, const std::string& text);

  /// Writes a load option of the real form: active, with a file path, made by the EFI boot library.
  void SetBootEntry(std::uint16_t number, const std::string& description);
  /// Writes a variable of these bytes, behind its four bytes of attributes.
  void SetVariable(const std::string& name, const std::string& bytes, std::uint32_t attributes = 7);
  void SetBootOrder(const std::vector<std::uint16_t>& order, std::uint32_t attributes = 7);
  /// The whole file of a variable.
  [[nodiscard]] std::string Variable(const std::string& name) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace Test
