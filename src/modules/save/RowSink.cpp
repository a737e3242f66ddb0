#include "modules/save/RowSink.h"

#include <utility>

#include "ini/IniPrimitives.h"

namespace SDK {

IniRowSink::IniRowSink(FILE* file, SectionObserver observer)
    : file_(file), observer_(std::move(observer)) {}

void IniRowSink::BeginSection(const std::string& name) {
  if (observer_) observer_(name);
  iniFileWriteSection(file_, name.c_str());
}

void IniRowSink::Write(const Row& row) {
  iniFileWriteDataString(file_, row.key.c_str(), row.value.c_str(), row.comment.c_str(), "");
}

}  // namespace SDK
