// SPDX-License-Identifier: GPL-3.0-or-later
// Runs a fuzz target over every file of the folder in its argument. An empty folder is a failure.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

// The entry point that libFuzzer defines for its targets.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2 || !std::filesystem::is_directory(arguments[1])) {
    std::fputs("usage: a folder of seeds\n", stderr);
    return 2;
  }
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::printf("%s\n", entry.path().filename().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++count;
  }
  LLVMFuzzerTestOneInput(nullptr, 0);
  std::printf("%zu seeds\n", count);
  return count == 0 ? 1 : 0;
}
