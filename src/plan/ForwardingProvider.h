#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "query/QueryProvider.h"

namespace Planning {

/// Passes every call on to another provider. Those that stand before a back end override what they
/// are about, and no call gets lost when the interface grows.
class ForwardingProvider : public SDK::QueryProvider {
 public:
  explicit ForwardingProvider(std::shared_ptr<SDK::QueryProvider> inner)
      : inner_(std::move(inner)) {}

  void Read(const std::string& path, NodeMap& results) override { inner_->Read(path, results); }
  void Refresh() override { inner_->Refresh(); }
  void Expect(const std::vector<std::string>& trees) override { inner_->Expect(trees); }
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override {
    inner_->Write(settings, isBios, reserved);
  }
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override {
    inner_->WriteAuthorised(settings, password);
  }
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override {
    inner_->WriteGroup(path, settings);
  }
  std::string PlatformName() override { return inner_->PlatformName(); }
  std::vector<SDK::WriteForesight> Foresee(const SDK::SettingMap& settings) override {
    return inner_->Foresee(settings);
  }
  void UsePasswords(const SDK::SettingMap& passwords) override { inner_->UsePasswords(passwords); }
  std::vector<SDK::WriteNote> TakeWriteNotes() override { return inner_->TakeWriteNotes(); }
  std::vector<SDK::BootMessage> BootMessages() override { return inner_->BootMessages(); }
  void LookAhead(bool isAhead) override { inner_->LookAhead(isAhead); }
  void ClearWaiting() override { inner_->ClearWaiting(); }
  void Restart(bool mayForce, std::chrono::seconds limit) override {
    inner_->Restart(mayForce, limit);
  }

 private:
  std::shared_ptr<SDK::QueryProvider> inner_;
};

}  // namespace Planning
