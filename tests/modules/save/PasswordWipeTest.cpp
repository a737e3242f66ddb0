// Nothing of the BIOS administrator password stays in memory. A program of its own: it replaces
// operator delete to look into every block of the heap before it is freed, and runs the restore on
// a stack that it can look at afterwards.
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "modules/save/RestoreFixture.h"

namespace {

// The end of the password that the tests use: of a moved text the first byte is overwritten anyway.
constexpr char kRemains[] = "wipe-me-14ch";
constexpr std::size_t kLength = sizeof kRemains - 1;

bool isWatching = false;
int leaks = 0;  // blocks that were freed with the password in them

bool HoldsPassword(const void* memory, std::size_t size) {
  return memmem(memory, size, kRemains, kLength) != nullptr;
}

void Release(void* memory) {
  if (isWatching && memory != nullptr && HoldsPassword(memory, malloc_usable_size(memory))) {
    ++leaks;
  }
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  Release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  Release(memory);
}

namespace Test {
namespace {

/// Takes writes without keeping anything of them, and fails one if told to.
class ForgetfulProvider final : public FakeProvider {
 public:
  int failAt = 0;
  int seen = 0;  ///< writes that carried the password

  void Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) override {
    for (const auto& [path, value] : settings) Look(value);
    Count();
  }
  void WriteAuthorised(const SDK::SettingMap& /*settings*/, const std::string& password) override {
    Look(password);
    Count();
  }
  void WriteGroup(const std::string& /*path*/, const SDK::SettingMap& settings) override {
    for (const auto& [name, value] : settings) Look(value);
    Count();
  }

 private:
  void Look(const std::string& value) { seen += HoldsPassword(value.data(), value.size()) ? 1 : 0; }
  void Count() {
    if (++writes_ == failAt) ErrorManager::Raise(ErrorManager::PasswordRefused, "the test");
  }
  int writes_ = 0;
};

/// Memory from the system, zeroed.
class Pages {
 public:
  explicit Pages(std::size_t size)
      : size_(size),
        start_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;
  ~Pages() { munmap(start_, size_); }

  [[nodiscard]] void* Start() const { return start_; }
  [[nodiscard]] std::size_t Size() const { return size_; }
  [[nodiscard]] bool HoldPassword() const { return HoldsPassword(start_, size_); }

 private:
  std::size_t size_;
  void* start_;
};

struct WipeRow {
  const char* name;
  const char* platform;
  int failAt;  ///< 0: no write fails
  int seen;
};

class PasswordWipeTest : public RestoreTest, public ::testing::WithParamInterface<WipeRow> {
 protected:
  /// Restores on another stack, and destroys the module there too.
  void RestoreOn(const Pages& stack, const Pages& object) {
    struct Call {
      const Pages& object;
      const SDK::SavenRestoreOptions& options;
    } call{object, options};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack.Start(), stack.Size());
    pthread_t thread = 0;
    const auto run = [](void* argument) -> void* {
      const Call& now = *static_cast<Call*>(argument);
      auto* module = new (now.object.Start()) OpenSaveRestore;
      try {
        module->Restore(now.options);
      } catch (const ResultStatus&) {
        static_cast<void>(0);  // what is left behind then is the question
      }
      module->~OpenSaveRestore();
      return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &call), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
  }

  SDK::SavenRestoreOptions options = {};
};

TEST_P(PasswordWipeTest, NoCopyIsLeftBehind) {
  const auto server = std::make_shared<ForgetfulProvider>();
  server->failAt = GetParam().failAt;
  Mount(engine = server);
  SetServer(GetParam().platform, "CALDRA");
  Menu("/BIOS/Main", {{"Quiet Boot", "1"}});
  WriteText(PathOf("x.ini"), "[BIOS::Main]\nQuiet Boot=0\n");
  options = Options(PathOf("x.ini"), 0);
  options.skipSystemCheck = options.skipBootOrder = true;
  std::strcpy(options.password, "!wipe-me-14ch!");

  const Pages stack(std::size_t{1} << 20);
  const Pages object(std::size_t{1} << 14);
  leaks = 0;
  isWatching = true;
  RestoreOn(stack, object);
  isWatching = false;
  EXPECT_EQ(server->seen, GetParam().seen);
  EXPECT_EQ(leaks, 0) << "blocks of the heap were freed with the password in them";
  EXPECT_FALSE(stack.HoldPassword()) << "on the stack";
  EXPECT_FALSE(object.HoldPassword()) << "in the object";
  EXPECT_STREQ(options.password, "!wipe-me-14ch!");  // the caller's record is the caller's
}

INSTANTIATE_TEST_SUITE_P(Rows, PasswordWipeTest,
                         ::testing::Values(WipeRow{"NewPlatform", "CALDRA_PLATFORM", 0, 3},
                                           WipeRow{"OldPlatform", "OSKENT_PLATFORM", 0, 1},
                                           WipeRow{"NewRefused", "CALDRA_PLATFORM", 1, 2},
                                           WipeRow{"OldRefused", "OSKENT_PLATFORM", 1, 1},
                                           WipeRow{"BatchFails", "CALDRA_PLATFORM", 2, 3}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace Test
