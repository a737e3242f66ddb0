// What a save of the BIOS settings costs, from reading the machine to closing the file, beside
// writing the bytes of that file.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <string_view>

#include "PairedCost.h"
#include "SetupTree.h"

namespace Bench {
namespace {

std::size_t CountOf(const std::string& text, std::string_view word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    ++count;
  }
  return count;
}

void SaveSettings(benchmark::State& state) {
  const auto settings = static_cast<std::size_t>(state.range(0));
  const MountedMachine machine(MakeSetupTree(settings));
  const ScratchFile saved("saved.ini");
  const ScratchFile plain("plain.ini");
  SaveBios(saved.Path());
  const std::string text = saved.Text();
  if (CountOf(text, "\t;Options:") != settings) {
    state.SkipWithError("The file does not hold every setting");
    return;
  }

  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure([&] { SaveBios(saved.Path()); }, [&] { plain.SetText(text); });
  }
  const auto count = static_cast<double>(settings);
  state.SetComplexityN(state.range(0));
  state.counters["file_bytes"] = static_cast<double>(text.size());
  state.counters["ns_per_setting"] = cost.OursPer(count);
  state.counters["ns_per_nlogn"] = cost.OursPer(count * std::log2(count));
  state.counters["times_fwrite"] = cost.Ratio();
}
BENCHMARK(SaveSettings)
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

/// The tree copied and released: what no save can do without, as it reads the machine. Shows how
/// much of the growth per setting is the processor's caches, which a large tree outgrows.
void CopySetupTree(benchmark::State& state) {
  const auto settings = static_cast<std::size_t>(state.range(0));
  const NodeMap tree = MakeSetupTree(settings);
  double seconds = 0;
  for ([[maybe_unused]] auto iteration : state) {
    const double copy = CpuSeconds([&] { benchmark::DoNotOptimize(NodeMap(tree)); });
    state.SetIterationTime(copy);
    seconds += copy;
  }
  const auto count = static_cast<double>(settings) * static_cast<double>(state.iterations());
  state.SetComplexityN(state.range(0));
  state.counters["ns_per_setting"] = seconds * 1e9 / count;
}
BENCHMARK(CopySetupTree)
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

}  // namespace
}  // namespace Bench
