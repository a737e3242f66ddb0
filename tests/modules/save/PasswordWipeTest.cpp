// Nothing of the BIOS administrator password stays in memory. A program of its own: it replaces
// operator delete to look into every block of the heap before it is freed, and runs the restore on
// a stack that it can look at afterwards.
#include <malloc.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "modules/save/RestoreFixture.h"

namespace {

// The end of the password that the tests use: of a moved text the first byte is overwritten anyway.
constexpr char kRemains[] = "wipe-me-14ch";
constexpr std::size_t kLength = sizeof kRemains - 1;

// AddressSanitizer keeps arguments that are passed by value a second time, in a place of its own.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSeesStack = false;
#elif defined(__has_feature)  // clang's way to tell
constexpr bool kSeesStack = !__has_feature(address_sanitizer);
#else
constexpr bool kSeesStack = true;
#endif

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

/// Memory that a stack or an object is put into.
using Pages = std::vector<char>;

struct WipeRow {
  const char* name;
  const char* platform;
  int failAt;  ///< 0: no write fails
  int seen;
};

/// One restore for another thread.
struct Call {
  Pages& object;
  const SDK::SavenRestoreOptions& options;
  const char* frame;  ///< everything below has been used by the restore alone
  std::atomic<bool> isDone;
  std::atomic<bool> isSeen;
};

/// Restores, and calls nothing afterwards that would use the same stack.
__attribute__((noinline)) void RestoreOnly(OpenSaveRestore* module, const Call& call) {
  try {
    module->Restore(call.options);
  } catch (const ResultStatus&) {
    return;
  }
}

/// Keeps the restore's frames away from those of the waiting that follows.
__attribute__((noinline)) void RestoreDeeper(OpenSaveRestore* module, const Call& call) {
  volatile char room[8192];
  room[0] = 0;
  RestoreOnly(module, call);
  room[1] = room[0];
}

void* RunCall(void* argument) {
  Call& call = *static_cast<Call*>(argument);
  auto* module = new (call.object.data()) OpenSaveRestore;
  RestoreDeeper(module, call);
  constexpr std::size_t kOwnFrame = 1024;
  call.frame = static_cast<const char*>(__builtin_frame_address(0)) - kOwnFrame;
  call.isDone = true;
  while (!call.isSeen) sched_yield();
  module->~OpenSaveRestore();
  return nullptr;
}

class PasswordWipeTest : public RestoreTest, public ::testing::WithParamInterface<WipeRow> {
 protected:
  /// Restores on another stack, and destroys the module there too. \return what the stack holds of
  /// the password once all is done, while the thread still has it: its end may clear it.
  bool LeavesOnStack(Pages& stack, Pages& object) {
    Call call{object, options, {}, false, false};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack.data(), stack.size());
    pthread_t thread = 0;
    EXPECT_EQ(pthread_create(&thread, &attributes, RunCall, &call), 0);
    while (!call.isDone) sched_yield();
    const bool holds =
        HoldsPassword(stack.data(), static_cast<std::size_t>(call.frame - stack.data()));
    call.isSeen = true;
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return holds;
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

  Pages stack(std::size_t{1} << 20);
  Pages object(std::size_t{1} << 14);
  leaks = 0;
  isWatching = true;
  const bool isOnStack = LeavesOnStack(stack, object);
  isWatching = false;
  EXPECT_EQ(server->seen, GetParam().seen);
  EXPECT_EQ(leaks, 0) << "blocks of the heap were freed with the password in them";
  EXPECT_FALSE(isOnStack && kSeesStack);
  EXPECT_FALSE(HoldsPassword(object.data(), object.size()));
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
