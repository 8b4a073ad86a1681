// Runs a fuzz target over the files of its corpus, without libFuzzer: every fault found once stays found.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int files = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
      // A copy of exactly this size, so that a read behind its end is seen.
      const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
      LLVMFuzzerTestOneInput(exact.data(), exact.size());
      ++files;
    }
  }
  printf("%d passed, %d failed\n", files, files == 0 ? 1 : 0);
  return files == 0 ? 1 : 0;
}
