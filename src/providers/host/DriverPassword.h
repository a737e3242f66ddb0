#pragma once

#include <filesystem>
#include <string>

#include "providers/host/KernelFile.h"

namespace Host {

/// Where a driver takes the administrator password: the folder that says so of itself, or else the
/// one with the usual name.
[[nodiscard]] std::filesystem::path AdminFolder(const std::filesystem::path& driver);

/// True when the driver takes writes with the administrator password only.
[[nodiscard]] bool NeedsPassword(const std::filesystem::path& driver);

/// Why `password` cannot be the one that is set, by what the driver says of their lengths; empty
/// when it can.
[[nodiscard]] std::string PasswordObjection(const std::filesystem::path& driver,
                                            const std::string& password);

/// The administrator password in the hands of a driver. It has it from the first `Give` on, for the
/// time that this exists.
class DriverPassword {
 public:
  DriverPassword(const std::filesystem::path& driver, const std::string& password,
                 KernelWriter write);
  DriverPassword(const DriverPassword&) = delete;
  DriverPassword& operator=(const DriverPassword&) = delete;
  ~DriverPassword();

  /// Where the driver takes it.
  [[nodiscard]] const std::filesystem::path& File() const { return file_; }

  /// Gives it to the driver, unless it still has it.
  /// \throws ResultStatus  PasswordRefused: it is of no form that the driver takes; no attempt was
  ///                       used up. NotPermitted, WriteFailed.
  void Give();

  /// To be called after each write: some drivers forget the password with it.
  void WriteDone();

  /// Takes it back. \return why the driver did not forget it, as a part of a sentence; else empty
  [[nodiscard]] std::string TakeBack();

 private:
  [[nodiscard]] int WriteLine(const std::string& lineEnd) const;

  std::filesystem::path file_;
  const std::string& password_;
  KernelWriter write_;
  bool isForgetful_;
  bool isGiven_ = false;  ///< the driver has it, as far as is known
  bool isOpen_ = false;   ///< it has to be taken back
};

}  // namespace Host
