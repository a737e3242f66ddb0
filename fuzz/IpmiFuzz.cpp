// Hostile answers of a BMC: read, and written to. An input is the answers one after the other: a
// completion code, or for "done" the number of bytes that follow.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "Check.h"
#include "plan/Server.h"
#include "providers/ipmi/IpmiProvider.h"

namespace {

constexpr std::uint8_t kFirstCode = 0x80;  // completion codes other than "done" begin here
constexpr std::uint8_t kInvalidCommand = 0xC1;

class Answers final : public Ipmi::Transport {
 public:
  explicit Answers(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  Ipmi::Answer Send(const Ipmi::Request& /*request*/) override {
    if (bytes_.empty()) return {kInvalidCommand, {}};
    const std::uint8_t first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    if (first >= kFirstCode) return {first, {}};
    const auto data = bytes_.first(std::min<std::size_t>(first, bytes_.size()));
    bytes_ = bytes_.subspan(data.size());
    return {0, {data.begin(), data.end()}};
  }
  [[nodiscard]] const std::string& Name() const override { return name_; }
  [[nodiscard]] const std::string& User() const override { return user_; }
  [[nodiscard]] bool IsRemote() const override { return true; }

 private:
  std::span<const std::uint8_t> bytes_;
  std::string name_ = "bmc";
  std::string user_ = "admin";
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const Ipmi::Patience none = {std::chrono::milliseconds(0), std::chrono::milliseconds(0)};
  const auto open = [&] {
    return std::make_shared<Ipmi::IpmiProvider>(std::make_unique<Answers>(bytes), none);
  };
  Fuzz::SaveAll(open());
  Fuzz::WriteBack(*open());
  return 0;
}
