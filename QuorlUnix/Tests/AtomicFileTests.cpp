// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlUnix/AtomicFile.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

namespace quorl {
namespace {

namespace fs = std::filesystem;

class AtomicFileTest : public testing::Test {
 protected:
  std::set<std::string> names() const {
    std::set<std::string> result;
    for (const auto& entry : fs::directory_iterator(folder_.path())) result.insert(entry.path().filename());
    return result;
  }
  std::string content() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  unsigned mode() const {
    struct stat facts{};
    EXPECT_EQ(::lstat(path_.c_str(), &facts), 0);
    return facts.st_mode & 07777U;
  }
  std::expected<void, std::error_code> writeWithUmask(mode_t mask, FileAccess access) const {
    const mode_t before = ::umask(mask);
    auto written = writeFileAtomically(path_, viewOf("x"), access);
    ::umask(before);
    return written;
  }

  quorl::test::TemporaryFolder folder_;
  std::string path_ = folder_.file("book.json");
};

TEST_F(AtomicFileTest, replacesTheContentAndLeavesNoOtherFile) {
  ASSERT_TRUE(writeFileAtomically(path_, viewOf("one, and longer"), FileAccess::ownerOnly));
  ASSERT_TRUE(writeFileAtomically(path_, viewOf("two"), FileAccess::ownerOnly));
  EXPECT_EQ(content(), "two");
  EXPECT_EQ(names(), std::set<std::string>{"book.json"});
}

TEST_F(AtomicFileTest, keepsOtherUsersOutWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{0022}, mode_t{0777}}) {
    ASSERT_TRUE(writeWithUmask(mask, FileAccess::ownerOnly));
    EXPECT_EQ(mode(), 0600U) << mask;
  }
}

TEST_F(AtomicFileTest, givesAnOrdinaryFileTheAccessThatTheUmaskLeaves) {
  ASSERT_TRUE(writeWithUmask(0022, FileAccess::byUmask));
  EXPECT_EQ(mode(), 0644U);
  ASSERT_TRUE(writeWithUmask(0077, FileAccess::byUmask));
  EXPECT_EQ(mode(), 0600U);
}

TEST_F(AtomicFileTest, removesOldTemporaryFilesOfThisPathAndNothingElse) {
  const auto make = [&](const std::string& name, int hoursAgo) {
    folder_.write(name, "x");
    fs::last_write_time(folder_ / name, fs::file_time_type::clock::now() - std::chrono::hours(hoursAgo));
  };
  make(".book.json.0011223344556677.tmp", 2);
  make(".book.json.8899aabbccddeeff.tmp", 0);
  make(".other.json.0011223344556677.tmp", 2);
  ASSERT_TRUE(writeFileAtomically(path_, viewOf("x"), FileAccess::ownerOnly));
  EXPECT_EQ(names(), (std::set<std::string>{".book.json.8899aabbccddeeff.tmp",
                                            ".other.json.0011223344556677.tmp", "book.json"}));
}

TEST_F(AtomicFileTest, reportsTheCauseAndLeavesNoTemporaryFile) {
  const auto missing = writeFileAtomically(folder_.file("no/such"), viewOf("x"), FileAccess::ownerOnly);
  EXPECT_EQ(missing.error(), std::errc::no_such_file_or_directory);
  fs::create_directory(path_);
  const auto folder = writeFileAtomically(path_, viewOf("x"), FileAccess::ownerOnly);
  EXPECT_EQ(folder.error(), std::errc::is_a_directory);
  EXPECT_EQ(names(), std::set<std::string>{"book.json"});
}

}  // namespace
}  // namespace quorl
