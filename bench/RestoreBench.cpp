// What a restore of the BIOS settings costs, from opening the file to the last write, and which
// share of it is the reading of the file. The machine takes the writes and does nothing.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>

#include "PairedCost.h"
#include "SetupTree.h"
#include "ini/IniDocument.h"

namespace Bench {
namespace {

/// The same machine with another option chosen for every setting.
NodeMap WithOtherOptions(NodeMap tree) {
  for (auto& [path, node] : tree) {
    if (node.options.empty()) continue;
    const auto next = node.options.upper_bound(node.values.front());
    node.values = {next == node.options.end() ? node.options.begin()->first : next->first};
  }
  return tree;
}

void RestoreSettings(benchmark::State& state, bool isChanged) {
  const auto settings = static_cast<std::size_t>(state.range(0));
  const NodeMap tree = MakeSetupTree(settings);
  const ScratchFile file("restored.ini");
  {
    const MountedMachine other(isChanged ? WithOtherOptions(tree) : tree);
    SaveBios(file.Path());
  }
  const MountedMachine machine(tree);
  RestoreBios(file.Path());
  if (machine.Provider().Written() != (isChanged ? settings : 0)) {
    state.SkipWithError("The restore has not written what differs");
    return;
  }

  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure([&] { RestoreBios(file.Path()); },
                 [&] {
                   IniDocument document;
                   benchmark::DoNotOptimize(document.Load(file.Path().c_str()));
                 });
  }
  const auto count = static_cast<double>(settings);
  state.SetComplexityN(state.range(0));
  state.counters["ns_per_setting"] = cost.OursPer(count);
  state.counters["ns_per_nlogn"] = cost.OursPer(count * std::log2(count));
  state.counters["share_reading"] = 1 / cost.Ratio();
}

void Arguments(benchmark::internal::Benchmark* bench) {
  bench->Arg(1'000)->Arg(5'000)->Arg(50'000)->UseManualTime()->Unit(benchmark::kMillisecond);
  bench->Complexity(benchmark::oNLogN);
}
BENCHMARK_CAPTURE(RestoreSettings, AllUnchanged, false)->Apply(Arguments);
BENCHMARK_CAPTURE(RestoreSettings, AllChanged, true)->Apply(Arguments);

}  // namespace
}  // namespace Bench
