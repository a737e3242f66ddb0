#include "common/Platform.h"

#include <utility>

#include "common/ResultStatus.h"

namespace Platform {
namespace {

std::function<std::string()>& NameSource() {
  static std::function<std::string()> source;
  return source;
}

}  // namespace

PlatformImpl* PlatformImpl::inst = nullptr;

PlatformImpl* PlatformImpl::CreateInstance() {
  if (inst != nullptr) return inst;
  static PlatformImpl aPlatForm;
  inst = &aPlatForm;
  try {
    inst->InitPlatform();
  } catch (const ResultStatus& failure) {
    throw ResultStatus(failure);
  }
  return inst;
}

void PlatformImpl::InitPlatform() {
  platformName_.clear();
  if (NameSource()) platformName_ = NameSource()();
}

void PlatformImpl::SetNameSource(std::function<std::string()> source) {
  NameSource() = std::move(source);
}

}  // namespace Platform
