#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <ctime>
#include <memory>

namespace Bench {

/// Makes the heap merge what was freed. It puts that off until the next large request, which would
/// charge one measure with what another one left behind.
inline void SettleHeap() {
  constexpr std::size_t kLarge = std::size_t{64} * 1024;
  const auto memory = std::make_unique_for_overwrite<char[]>(kLarge);
  benchmark::DoNotOptimize(memory.get());
}

/// The processor time, user and system, that `work` takes, with everything it leaves to be freed.
template <typename Work>
double CpuSeconds(Work work) {
  const auto now = [] {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  work();
  SettleHeap();
  return now() - start;
}

/// What our work costs beside another way to do it. Both run in turn within each iteration, so that
/// whatever else the machine does slows both, and the ratio can be trusted where times cannot.
///
/// The benchmark has to use manual time: it is the processor time of our work.
class PairedCost {
 public:
  explicit PairedCost(benchmark::State& state) : state_(state) {}

  template <typename Ours, typename Theirs>
  void Measure(Ours ours, Theirs theirs) {
    const double seconds = CpuSeconds(ours);
    state_.SetIterationTime(seconds);
    ours_ += seconds;
    theirs_ += CpuSeconds(theirs);
  }

  /// Our time as a multiple of the other's.
  [[nodiscard]] double Ratio() const { return ours_ / theirs_; }

  /// Nanoseconds per item, of `items` in each iteration.
  [[nodiscard]] double OursPer(double items) const { return PerItem(ours_, items); }
  [[nodiscard]] double TheirsPer(double items) const { return PerItem(theirs_, items); }

 private:
  [[nodiscard]] double PerItem(double seconds, double items) const {
    return seconds * 1e9 / (static_cast<double>(state_.iterations()) * items);
  }

  benchmark::State& state_;
  double ours_ = 0;
  double theirs_ = 0;
};

}  // namespace Bench
