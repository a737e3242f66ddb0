#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Test {

/// Directories that look like sysfs and efivarfs of a machine. What the kernel's files do beyond
/// keeping a text, special files of its own stand in for: a full disk, a null device, a pipe.
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

  void SetPendingReboot(const std::string& driver, const std::string& text);
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
