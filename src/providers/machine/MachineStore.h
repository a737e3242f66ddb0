#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "common/Descriptor.h"
#include "providers/machine/MachineFile.h"

namespace Machine {

/// A machine file that several processes may work on. What one of them has written since this one
/// has read it is never overwritten: a write takes a lock and compares first.
class MachineStore {
 public:
  explicit MachineStore(std::string path);

  /// Reads the machine.
  /// \throws ResultStatus  TargetMissing, NotPermitted, or TargetMalformed with line and reason.
  [[nodiscard]] MachineImage Load();

  /// Replaces the file, whole or not at all, if it still is the one that was read or written last.
  /// \throws ResultStatus  WriteFailed: it is not (the failure names both), or another process
  ///                       keeps writing it; NotPermitted.
  void Replace(const MachineImage& machine);

 private:
  void CheckUnchanged() const;

  std::string path_;
  std::unique_ptr<Common::Descriptor> file_;  ///< held: no other file can get its inode number
  struct stat facts_ = {};                    ///< of that file, when it was read or written
};

}  // namespace Machine
