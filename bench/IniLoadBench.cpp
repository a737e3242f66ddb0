// What it costs to load a configuration file and to look keys up in it, beside a widespread small
// parser that fills a hash map.
#include <benchmark/benchmark.h>
#include <ini.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "PairedCost.h"
#include "SetupTree.h"
#include "ini/IniDocument.h"

namespace Bench {
namespace {

using HashMap = std::unordered_map<std::string, std::string>;

/// Sizes of a file, as the settings that it takes: 100 KB, 1 MB and 10 MB.
constexpr int kSmall = 1'250;
constexpr int kMiddle = 12'500;
constexpr int kLarge = 125'000;

/// One text for a section and a key, in `name`, which keeps its memory from one to the next.
const std::string& Name(std::string_view section, std::string_view key, std::string& name) {
  name.assign(section).append(1, '\n').append(key);
  return name;
}

struct MapFiller {
  HashMap map;
  std::string name;
};

int Fill(void* user, const char* section, const char* key, const char* value) {
  auto& filler = *static_cast<MapFiller*>(user);
  filler.map.insert_or_assign(Name(section, key, filler.name), value);
  return 1;
}

bool LoadMap(const char* path, MapFiller& filler) {
  return ini_parse(path, Fill, &filler) == 0;
}

/// True when both hold the same keys with the same values.
bool Agree(const IniDocument& document, const HashMap& map) {
  std::string name;
  return document.Entries().size() == map.size() && document.Problems().empty() &&
         std::ranges::all_of(document.Entries(), [&](const IniDocument::Entry& entry) {
           const auto& section = document.Sections()[entry.section].name;
           const auto found = map.find(Name(section, entry.key, name));
           return found != map.end() && found->second == entry.value;
         });
}

void LoadFile(benchmark::State& state) {
  const std::string text = SavedText(static_cast<std::size_t>(state.range(0)));
  const ScratchFile file("saved.ini");
  file.SetText(text);
  const char* path = file.Path().c_str();
  {
    IniDocument document;
    MapFiller filler;
    if (document.Load(path) != IniDocument::Status::Ok || !LoadMap(path, filler) ||
        !Agree(document, filler.map)) {
      state.SkipWithError("The two parsers read different things");
      return;
    }
  }

  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure(
        [&] {
          IniDocument document;
          benchmark::DoNotOptimize(document.Load(path));
        },
        [&] {
          MapFiller filler;
          benchmark::DoNotOptimize(LoadMap(path, filler));
        });
  }
  const auto bytes = static_cast<double>(text.size());
  state.counters["file_bytes"] = bytes;
  state.counters["ns_per_byte"] = cost.OursPer(bytes);
  state.counters["ns_per_byte_inih"] = cost.TheirsPer(bytes);
  state.counters["times_inih"] = cost.Ratio();
}
BENCHMARK(LoadFile)->Arg(kSmall)->Arg(kMiddle)->Arg(kLarge)->UseManualTime()->Unit(
    benchmark::kMillisecond);

void LookUpKeys(benchmark::State& state) {
  const std::string text = SavedText(static_cast<std::size_t>(state.range(0)));
  IniDocument document;
  document.Parse(text);
  MapFiller filler;
  ini_parse_string(text.c_str(), Fill, &filler);

  std::vector<std::pair<std::string, std::string>> keys;
  for (const IniDocument::Entry& entry : document.Entries()) {
    keys.emplace_back(document.Sections()[entry.section].name, entry.key);
  }
  std::shuffle(keys.begin(), keys.end(), std::mt19937(1));  // NOLINT: the same each time

  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure(
        [&] {
          for (const auto& [section, key] : keys) {
            benchmark::DoNotOptimize(document.Find(section, key));
          }
        },
        [&] {
          for (const auto& [section, key] : keys) {
            benchmark::DoNotOptimize(filler.map.find(Name(section, key, filler.name)));
          }
        });
  }
  const auto count = static_cast<double>(keys.size());
  state.counters["ns_per_key"] = cost.OursPer(count);
  state.counters["ns_per_key_map"] = cost.TheirsPer(count);
  state.counters["times_map"] = cost.Ratio();
}
BENCHMARK(LookUpKeys)
    ->Arg(kSmall)
    ->Arg(kMiddle)
    ->Arg(kLarge)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Bench
