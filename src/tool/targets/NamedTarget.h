#pragma once

#include <map>
#include <string>
#include <vector>

namespace Tool {

/// A target with a name, "@rack7-3": a section of the file targets.ini.
///
///     [rack7-3]
///     target=redfish:admin@rack7-3-bmc        two, for BIOS and BMC, with a blank between them
///     bmc-password-file=/etc/saverestore/rack7-3.password
///     cacert=ca.pem                           options that reach it, without their dashes
///     rescue=ipmi:admin@rack7-3-ipmi
///
/// A file name is relative to the folder of targets.ini. A person's own file goes over that of the
/// machine, section by section. There is no key for a password.
struct NamedTarget {
  std::string file;  ///< where it stands
  std::vector<std::string> targets;
  std::string rescue;  ///< another way to the same server; empty for none
  struct Setting {
    std::string value;
    unsigned line;
  };
  std::map<std::string, Setting> settings;  ///< the other keys

  /// The targets and the rescue.
  [[nodiscard]] std::vector<std::string> All() const;
  /// The failure of a key, at its place in the file. \throws ToolError
  [[noreturn]] void Refuse(const std::string& key, const std::string& why) const;
  /// `value` as the name of a file.
  [[nodiscard]] std::string PathOf(const std::string& value) const;
};

/// The target `name`, without its "@".
/// \throws ToolError  no file has it, or one is malformed or could have been written by others.
[[nodiscard]] NamedTarget FindTarget(const std::string& name);

/// The names there are; nothing of a file that cannot be read.
[[nodiscard]] std::vector<std::string> TargetNames();

}  // namespace Tool
