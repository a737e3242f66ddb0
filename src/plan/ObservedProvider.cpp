#include "plan/ObservedProvider.h"

#include <utility>

namespace Planning {

ObservedProvider::ObservedProvider(std::shared_ptr<SDK::QueryProvider> inner,
                                   QueryObserver observer)
    : inner_(std::move(inner)), observer_(std::move(observer)) {}

template <typename Call>
void ObservedProvider::Observe(const std::string& path, Call call) {
  observer_.onQuery(path);
  try {
    call();
  } catch (const ResultStatus& failure) {
    observer_.onFailure(path, failure);
    throw;
  }
}

void ObservedProvider::Read(const std::string& path, NodeMap& results) {
  Observe(path, [&] { inner_->Read(path, results); });
}

void ObservedProvider::Write(const SDK::SettingMap& settings, bool isBios, bool reserved) {
  Observe("a batch", [&] { inner_->Write(settings, isBios, reserved); });
}

void ObservedProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                       const std::string& password) {
  Observe("a batch", [&] { inner_->WriteAuthorised(settings, password); });
}

void ObservedProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  Observe(path, [&] { inner_->WriteGroup(path, settings); });
}

std::string ObservedProvider::PlatformName() {
  return inner_->PlatformName();
}

std::vector<SDK::WriteForesight> ObservedProvider::Foresee(const SDK::SettingMap& settings) {
  return inner_->Foresee(settings);
}

void ObservedProvider::UsePasswords(const SDK::SettingMap& passwords) {
  inner_->UsePasswords(passwords);
}

std::vector<SDK::WriteNote> ObservedProvider::TakeWriteNotes() {
  return inner_->TakeWriteNotes();
}

std::vector<SDK::BootMessage> ObservedProvider::BootMessages() {
  return inner_->BootMessages();
}

}  // namespace Planning
