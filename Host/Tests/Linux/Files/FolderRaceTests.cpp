// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include <QuorlHostCore/Files/FileArea.h>
#include <QuorlHostLinux/Files/HomeUserFiles.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

/// Replaces a link by another, over and over, on a thread of its own.
class Flipper {
 public:
  Flipper(std::string link, std::string first, std::string second)
      : link_(std::move(link)), targets_{std::move(first), std::move(second)}, thread_([this] { run(); }) {}
  Flipper(const Flipper&) = delete;
  Flipper& operator=(const Flipper&) = delete;
  ~Flipper() {
    isEnding_ = true;
    thread_.join();
  }
  int flips() const { return flips_; }

 private:
  void run() {
    const std::string next = link_ + ".next";
    while (!isEnding_) {
      if (::symlink(targets_.at(static_cast<std::size_t>(flips_ % 2)).c_str(), next.c_str()) != 0) return;
      if (::rename(next.c_str(), link_.c_str()) != 0) return;
      ++flips_;
    }
  }

  const std::string link_;
  const std::array<std::string, 2> targets_;
  std::atomic<bool> isEnding_ = false;
  std::atomic<int> flips_ = 0;
  std::thread thread_;
};

TEST(FlippedLink, nothingOutsideTheAreaIsEverOpened) {
  const TemporaryFolder folder;
  folder.write("home/inside/file", "inside");
  folder.write("outside/file", "secret");
  fs::create_symlink("inside", folder / "home/link");
  const FileArea area(std::make_shared<HomeUserFiles>(
      HomeUserFiles::Places{folder.file("home"), folder.file("home/.config"), folder.file("temporary")}));
  const Flipper flipper(folder.file("home/link"), folder.file("outside"), folder.file("home/inside"));

  constexpr int requests = 100'000;
  const std::string path = folder.file("home/link/file");
  int opened = 0;
  int denied = 0;
  for (int request = 0; request < requests; ++request) {
    const auto place = area.find(path);
    if (!place) {
      denied += place.error().why == FileArea::Refusal::denied ? 1 : 0;
      continue;
    }
    const auto file = (*place)->openForReading();
    ASSERT_TRUE(file) << file.error().description;
    Bytes bytes(6);
    ASSERT_EQ((*file)->read(0, bytes), 6U);
    ASSERT_EQ(textOf(bytes), "inside") << "after " << request << " requests";
    ++opened;
  }
  // Otherwise the link did not change during the requests.
  EXPECT_GT(opened, 0);
  EXPECT_GT(denied, 0);
  EXPECT_GT(flipper.flips(), 100);
}

}  // namespace
}  // namespace quorl::test
