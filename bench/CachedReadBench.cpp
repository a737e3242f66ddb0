// What a read of one setting costs when its collection is in the cache already. The look-up in the
// collection grows with it, as in every map; nothing else may.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "PairedCost.h"
#include "SetupTree.h"
#include "modules/save/SaveRestore.h"

namespace Bench {
namespace {

constexpr const char* kCollection = "/BMC/SENSOR";
constexpr std::size_t kReads = 1'000;

/// The module with the reads that a save consists of.
class OpenModule : public SDK::SaveRestore {
 public:
  using SaveRestore::ExecuteCountQuery;
  using SaveRestore::ExecuteGetQuery;
};

NodeMap MakeCollection(std::size_t members) {
  NodeMap tree;
  _XNode& collection = tree[kCollection];
  for (std::size_t member = 1; member <= members; ++member) {
    const std::string path =
        std::string(kCollection) + "[" + std::to_string(100'000 + member) + "]";
    collection.values.push_back(path);
    tree[path + "/THRESHOLD"].values = {"value " + std::to_string(member)};
  }
  return tree;
}

/// As many of the collection's settings as are read in one iteration, in no order.
std::vector<std::string> PathsToRead(const NodeMap& tree) {
  std::vector<std::string> settings;
  for (const auto& [path, node] : tree) {
    if (path != kCollection) settings.push_back(path);
  }
  std::shuffle(settings.begin(), settings.end(), std::mt19937(1));  // NOLINT: the same each time
  std::vector<std::string> paths;
  for (std::size_t read = 0; read < kReads; ++read) {
    paths.push_back(settings[read % settings.size()]);
  }
  return paths;
}

void ReadCachedSetting(benchmark::State& state) {
  const NodeMap tree = MakeCollection(static_cast<std::size_t>(state.range(0)));
  const std::vector<std::string> paths = PathsToRead(tree);
  const MountedMachine machine(tree);
  OpenModule module;
  module.ExecuteCountQuery(kCollection);

  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure(
        [&] {
          for (const std::string& path : paths) {
            benchmark::DoNotOptimize(module.ExecuteGetQuery(path.c_str()));
          }
        },
        [&] {
          for (const std::string& path : paths) {
            benchmark::DoNotOptimize(std::string(tree.find(path)->second.values.front()));
          }
        });
  }
  const double read = cost.OursPer(kReads);
  const double lookUp = cost.TheirsPer(kReads);
  state.counters["ns_per_read"] = read;
  state.counters["ns_look_up"] = lookUp;
  state.counters["ns_beyond"] = read - lookUp;
}
BENCHMARK(ReadCachedSetting)
    ->Arg(10)
    ->Arg(1'000)
    ->Arg(100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

/// A setting that the machine lacks is not in the cache, and the machine is asked.
void ReadAbsentSetting(benchmark::State& state) {
  const MountedMachine machine(MakeCollection(static_cast<std::size_t>(state.range(0))));
  OpenModule module;
  module.ExecuteCountQuery(kCollection);
  for ([[maybe_unused]] auto iteration : state) {
    benchmark::DoNotOptimize(module.ExecuteGetQuery("/BMC/SENSOR[100001]/ABSENT"));
  }
}
BENCHMARK(ReadAbsentSetting)->Arg(10)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace Bench
