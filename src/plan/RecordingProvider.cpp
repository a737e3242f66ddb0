#include "plan/RecordingProvider.h"

#include <utility>

namespace Planning {
namespace {

constexpr const char* kPasswordPath = "/BIOS/AdminPw";

}  // namespace

RecordingProvider::RecordingProvider(std::shared_ptr<SDK::QueryProvider> inner,
                                     std::vector<RecordedWrite>& log)
    : inner_(std::move(inner)), log_(log) {}

void RecordingProvider::Read(const std::string& path, NodeMap& results) {
  inner_->Read(path, results);
}

void RecordingProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  for (const auto& [path, value] : settings) {
    if (path != kPasswordPath) log_.push_back({path, value});
  }
}

void RecordingProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                        const std::string& /*password*/) {
  Write(settings, true, false);
}

void RecordingProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) return;
  for (const auto& [name, value] : settings) log_.push_back({path + "/" + name, value});
}

std::string RecordingProvider::PlatformName() {
  return inner_->PlatformName();
}

std::vector<SDK::WriteForesight> RecordingProvider::Foresee(const SDK::SettingMap& settings) {
  return inner_->Foresee(settings);
}

void RecordingProvider::UsePasswords(const SDK::SettingMap& passwords) {
  inner_->UsePasswords(passwords);
}

std::vector<SDK::WriteNote> RecordingProvider::TakeWriteNotes() {
  return inner_->TakeWriteNotes();
}

std::vector<SDK::BootMessage> RecordingProvider::BootMessages() {
  return inner_->BootMessages();
}

}  // namespace Planning
