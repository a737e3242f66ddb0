#pragma once

#include <string>

namespace Planning {

/// A folder of its owner alone for files of the moment, which may hold secrets. It goes with all
/// that is in it.
class TransientFolder {
 public:
  /// \throws Failure  there is no place for it.
  TransientFolder();
  TransientFolder(const TransientFolder&) = delete;
  TransientFolder& operator=(const TransientFolder&) = delete;
  ~TransientFolder();

  /// The path of a file of that name in it.
  [[nodiscard]] std::string PathOf(const std::string& name) const { return folder_ + "/" + name; }

 private:
  std::string folder_;
};

}  // namespace Planning
