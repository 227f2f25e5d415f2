// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include <QuorlUnix/Descriptor.h>
#include <QuorlUnix/FolderEntries.h>
#include <Support/TemporaryFolder.h>

namespace quorl {
namespace {

class FolderEntriesTest : public testing::Test {
 protected:
  const test::TemporaryFolder temporary_;
  const Descriptor folder_{::open(temporary_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(FolderEntriesTest, uniqueNamesDiffer) {
  const std::string name = uniqueName(".a-", ".part");
  EXPECT_TRUE(name.starts_with(".a-"));
  EXPECT_TRUE(name.ends_with(".part"));
  EXPECT_EQ(name.size(), std::string(".a-.part").size() + 16);
  EXPECT_NE(name, uniqueName(".a-", ".part"));
}

TEST_F(FolderEntriesTest, aDanglingLinkExists) {
  EXPECT_FALSE(entryExists(folder_.get(), "link"));
  std::filesystem::create_symlink("nowhere", temporary_.file("link"));
  EXPECT_TRUE(entryExists(folder_.get(), "link"));
}

TEST_F(FolderEntriesTest, aMoveReplacesNothing) {
  temporary_.write("from", "new");
  temporary_.write("to", "old");
  EXPECT_EQ(moveWithoutReplacing(folder_.get(), "from", "to"), EEXIST);
  EXPECT_EQ(moveWithoutReplacing(folder_.get(), "from", "free"), 0);
  EXPECT_FALSE(entryExists(folder_.get(), "from"));
  EXPECT_EQ(std::filesystem::file_size(temporary_.file("free")), 3U);
  EXPECT_EQ(moveWithoutReplacing(folder_.get(), "absent", "there"), ENOENT);
}

}  // namespace
}  // namespace quorl
