// The driver of a fuzz target outside libFuzzer: runs every input file named on the command line (a directory
// stands for the files in it, in name order) through the target once. The normal and sanitizer builds run each
// target's seed corpus this way as a test, so the targets keep building and their seeds keep passing between
// fuzzing rounds. A finding aborts, as under libFuzzer.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> inputsOf(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(path))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t runs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& file : inputsOf(argv[i])) {
      std::ifstream in(file, std::ios::binary);
      if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return 2;
      }
      const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      std::printf("%s (%zu bytes)\n", file.filename().c_str(), bytes.size());
      std::fflush(stdout);
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      ++runs;
    }
  }
  std::printf("%zu inputs ran clean\n", runs);
  return runs > 0 ? 0 : 2;
}
