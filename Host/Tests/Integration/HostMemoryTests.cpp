// SPDX-License-Identifier: GPL-3.0-or-later
// The real program after many streams of many sizes: it holds no more memory and descriptors than after one.
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "DesktopStreamFixture.h"

namespace quorl::test {
namespace {

class HostMemory : public DesktopStreamFixture {
 protected:
  std::string process() { return "/proc/" + std::to_string(host.program().pid()); }
  /// Resident memory in MiB.
  long resident() {
    std::ifstream status(process() + "/status");
    for (std::string line; std::getline(status, line);)
      if (line.starts_with("VmRSS:")) return std::stol(line.substr(6)) / 1024;
    return -1;
  }
  long descriptors() {
    return std::distance(std::filesystem::directory_iterator(process() + "/fd"),
                         std::filesystem::directory_iterator());
  }
  /// Four clients at once, each with a stream of its own size.
  void streamToFour(int round) {
    std::array<std::unique_ptr<StreamViewer>, 4> viewers;
    std::int64_t size = 300 + round * 37 % 500;
    for (auto& each : viewers) {
      each = std::make_unique<StreamViewer>(port);
      ASSERT_TRUE(each->client().authenticate(token));
      each->start(streamTarget::Unified{});
      each->updateLongestSide(size);
      size = size * 5 / 4;
    }
    for (auto& each : viewers)
      ASSERT_TRUE(each->showsPicture([](const client::DecodedPicture&) { return true; }));
  }
};

TEST_F(HostMemory, isReturnedAfterManyStreams) {
  streamToFour(0);
  const long memory = resident();
  const long open = descriptors();
  for (int round = 1; round <= 30; ++round) streamToFour(round);
  EXPECT_TRUE(eventually([&] { return descriptors() <= open; }, patience)) << descriptors() << " of " << open;
  EXPECT_TRUE(eventually([&] { return resident() <= memory + 24; }, patience))
      << resident() << " MiB after " << memory << " MiB";
}

}  // namespace
}  // namespace quorl::test
