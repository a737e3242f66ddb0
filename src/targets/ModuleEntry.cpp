// The exported function of each of our own modules; the build says which rows it has.
#include "targets/Rows.h"

const Targets::Module* saverestore_module_1() {
  static const auto rows = Targets::SAVERESTORE_MODULE_ROWS();
  static const Targets::Module module{rows.data(), rows.size()};
  return &module;
}
