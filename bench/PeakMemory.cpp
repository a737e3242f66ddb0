// How much memory a save of 100,000 settings needs at its peak, as a multiple of the tree that is
// saved. Counts what operator new hands out, in the size that the heap really gives.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "SetupTree.h"

namespace {

constexpr std::size_t kSettings = 100'000;
constexpr double kMostTimesTree = 4;

std::size_t liveBytes = 0;  // of one thread
std::size_t peakBytes = 0;

void* Counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  liveBytes += malloc_usable_size(memory);
  peakBytes = std::max(peakBytes, liveBytes);
  return memory;
}

void Release(void* memory) {
  liveBytes -= malloc_usable_size(memory);  // 0 for a null pointer
  std::free(memory);
}

}  // namespace

// The other forms, of arrays and without exceptions, call these.
void* operator new(std::size_t size) {
  return Counted(std::malloc(std::max<std::size_t>(size, 1)));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto step = static_cast<std::size_t>(alignment);
  return Counted(std::aligned_alloc(step, (size + step - 1) / step * step));
}
void operator delete(void* memory) noexcept {
  Release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  Release(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  Release(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  Release(memory);
}

int main() try {
  const Bench::ScratchFile file("saved.ini");
  const std::size_t before = liveBytes;
  const Bench::MountedMachine machine(Bench::MakeSetupTree(kSettings));
  const std::size_t treeBytes = liveBytes - before;

  peakBytes = liveBytes;
  Bench::SaveBios(file.Path());
  const std::size_t savePeak = peakBytes - before;

  const double ratio = static_cast<double>(savePeak) / static_cast<double>(treeBytes);
  std::printf("tree  %11zu bytes, %zu settings\n", treeBytes, kSettings);
  std::printf("peak  %11zu bytes during the save, the tree included\n", savePeak);
  std::printf("ratio %11.2f times the tree, %.2f at most\n", ratio, kMostTimesTree);
  return ratio <= kMostTimesTree ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "saverestore_peak_memory: %s\n", failure.what());
  return EXIT_FAILURE;
}
