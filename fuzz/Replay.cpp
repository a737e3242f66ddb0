// Runs a fuzz target over files and folders of files, without a fuzzer: a corpus is a test.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void Replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) try {
  int count = 0;
  for (int index = 1; index < argc; ++index) {
    for (const auto& entry : fs::recursive_directory_iterator(argv[index])) {
      if (!entry.is_regular_file()) continue;
      Replay(entry.path());
      ++count;
    }
  }
  std::printf("%d inputs\n", count);
  return count > 0 ? 0 : 1;  // a corpus that is not found must not pass
} catch (const std::exception& failure) {
  std::fprintf(stderr, "replay: %s\n", failure.what());
  return 1;
}
