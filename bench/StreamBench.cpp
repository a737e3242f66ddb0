// The stream form beside the text form: size, and the time of a save and of a restore.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "PairedCost.h"
#include "SetupTree.h"

namespace Bench {
namespace {

/// A machine that has been saved in both forms.
class SavedTwice {
 public:
  explicit SavedTwice(std::size_t settings)
      : tree_(MakeSetupTree(settings)), machine_(tree_), text_("saved.ini"), stream_("saved.scf") {
    SaveBios(text_.Path());
    SaveBios(stream_.Path());
  }

  [[nodiscard]] const std::string& Text() const { return text_.Path(); }
  [[nodiscard]] const std::string& Stream() const { return stream_.Path(); }
  [[nodiscard]] double SizeRatio() const {
    return static_cast<double>(std::filesystem::file_size(Stream())) /
           static_cast<double>(std::filesystem::file_size(Text()));
  }

 private:
  NodeMap tree_;
  MountedMachine machine_;
  ScratchFile text_;
  ScratchFile stream_;
};

void SaveStream(benchmark::State& state) {
  const SavedTwice saved(static_cast<std::size_t>(state.range(0)));
  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure([&] { SaveBios(saved.Stream()); }, [&] { SaveBios(saved.Text()); });
  }
  state.counters["size_of_text"] = saved.SizeRatio();
  state.counters["times_text"] = cost.Ratio();
}
BENCHMARK(SaveStream)->Arg(1'000)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMillisecond);

/// All settings unchanged: nothing but reading and comparing.
void RestoreStream(benchmark::State& state) {
  const SavedTwice saved(static_cast<std::size_t>(state.range(0)));
  PairedCost cost(state);
  for ([[maybe_unused]] auto iteration : state) {
    cost.Measure([&] { RestoreBios(saved.Stream()); }, [&] { RestoreBios(saved.Text()); });
  }
  state.counters["times_text"] = cost.Ratio();
}
BENCHMARK(RestoreStream)->Arg(1'000)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Bench
