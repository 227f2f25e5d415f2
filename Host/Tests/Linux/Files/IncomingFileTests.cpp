// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/Files/HomeUserFiles.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;
using Incoming = HomeUserFiles::Incoming;
using Kept = IncomingFile::Kept;

class IncomingFileTest : public testing::TestWithParam<Incoming> {
 protected:
  IncomingFileTest() { fs::create_directories(downloads()); }

  std::string downloads(const std::string& name = {}) const {
    return name.empty() ? folder_.file("Downloads") : folder_.file("Downloads/" + name);
  }
  std::unique_ptr<IncomingFile> create() {
    auto file = files_.create(downloads());
    EXPECT_TRUE(file) << file.error().description;
    return file ? std::move(*file) : nullptr;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(downloads())) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }
  std::vector<std::string> visibleNames() const {
    auto found = names();
    std::erase_if(found, [](const std::string& name) { return name.starts_with('.'); });
    return found;
  }
  static std::string textOfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  TemporaryFolder folder_;
  HomeUserFiles files_{{folder_.path(), folder_.file(".config"), "/tmp"}, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Kinds, IncomingFileTest, testing::Values(Incoming::unnamed, Incoming::hidden),
                         [](const auto& kind) {
                           return kind.param == Incoming::unnamed ? "unnamed" : "hidden";
                         });

TEST_P(IncomingFileTest, appearsWholeWhenItIsKept) {
  const auto file = create();
  ASSERT_TRUE(file->write(6, viewOf("world")));
  ASSERT_TRUE(file->write(0, viewOf("hello ")));
  EXPECT_THAT(visibleNames(), testing::IsEmpty());
  ASSERT_EQ(file->keep("a.txt"), Kept::yes);
  EXPECT_THAT(names(), testing::ElementsAre("a.txt"));
  EXPECT_EQ(textOfFile(downloads("a.txt")), "hello world");
}

TEST_P(IncomingFileTest, leavesNothingIfItIsNotKept) {
  ASSERT_TRUE(create()->write(0, viewOf("hello")));
  EXPECT_THAT(names(), testing::IsEmpty());
}

TEST_P(IncomingFileTest, replacesNothing) {
  folder_.write("Downloads/a", "old");
  fs::create_symlink("/nowhere", downloads("dangling"));
  const auto file = create();
  EXPECT_EQ(file->keep("a"), Kept::nameIsTaken);
  EXPECT_EQ(file->keep("dangling"), Kept::nameIsTaken);
  EXPECT_EQ(file->keep("b"), Kept::yes);
  EXPECT_EQ(textOfFile(downloads("a")), "old");
}

TEST_P(IncomingFileTest, isReadBack) {
  const auto file = create();
  ASSERT_TRUE(file->write(2, viewOf("cd")));
  Bytes bytes(10);
  ASSERT_EQ(file->read(0, bytes), 4U);
  EXPECT_EQ(textOf(ByteView(bytes).first(4)), std::string("\0\0cd", 4));
  EXPECT_EQ(file->read(4, bytes), 0U);
}

TEST_P(IncomingFileTest, hasTheModeOfAnyNewFile) {
  const mode_t mask = ::umask(027);
  const auto file = create();
  ::umask(mask);
  ASSERT_EQ(file->keep("a"), Kept::yes);
  struct stat facts{};
  ASSERT_EQ(::stat(downloads("a").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0640U);
}

TEST_P(IncomingFileTest, refusesOffsetsThatNoFileHas) {
  const auto file = create();
  EXPECT_FALSE(file->write(UINT64_MAX, viewOf("x")));
  EXPECT_FALSE(file->write(static_cast<std::uint64_t>(INT64_MAX), viewOf("x")));
}

TEST_P(IncomingFileTest, createsTheMissingFolder) {
  ASSERT_TRUE(files_.create(folder_.file("new/folder")));
  EXPECT_TRUE(fs::is_directory(folder_ / "new/folder"));
  folder_.write("file", "");
  const auto onFile = files_.create(folder_.file("file"));
  ASSERT_FALSE(onFile);
  EXPECT_EQ(onFile.error().description, "Not a directory");
}

TEST_P(IncomingFileTest, aNameOf255BytesIsKeptAndALongerOneIsRefused) {
  const std::string longest(255, 'n');
  EXPECT_EQ(files_.isTaken(downloads(), longest), false);
  EXPECT_EQ(create()->keep(longest), Kept::yes);
  EXPECT_EQ(files_.isTaken(downloads(), longest), true);
  const auto longer = files_.isTaken(downloads(), longest + "n");
  ASSERT_FALSE(longer);
  EXPECT_EQ(longer.error().description, "File name too long");
}

TEST_P(IncomingFileTest, aNameWithANULIsRefused) {
  EXPECT_FALSE(files_.isTaken(downloads(), std::string("a\0b", 3)));
}

TEST_P(IncomingFileTest, leavesNothingVisibleWhenItsProcessIsKilled) {
  int ready[2];
  ASSERT_EQ(::pipe2(ready, O_CLOEXEC), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    auto file = files_.create(downloads());
    if (file && (*file)->write(0, viewOf("hello"))) [[maybe_unused]]
      const auto n = ::write(ready[1], "x", 1);
    ::pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ::kill(child, SIGKILL);
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);
  EXPECT_THAT(visibleNames(), testing::IsEmpty());
  create();
  EXPECT_THAT(names(), testing::IsEmpty()) << "the next transfer removes what is left";
}

TEST_P(IncomingFileTest, leftoversAreRemovedButNotFilesOfRunningTransfers) {
  folder_.write("Downloads/.quorl-0000000000000000.part", "left by a crash");
  folder_.write("Downloads/.quorl-notes", "of the user");
  const auto running = create();
  const auto another = create();
  if (GetParam() == Incoming::hidden) {
    EXPECT_EQ(names().size(), 3U);
    EXPECT_FALSE(fs::exists(downloads(".quorl-0000000000000000.part")));
  }
  EXPECT_TRUE(fs::exists(downloads(".quorl-notes")));
  ASSERT_TRUE(running->write(0, viewOf("hello")));
  EXPECT_EQ(running->keep("a"), Kept::yes);
  EXPECT_EQ(textOfFile(downloads("a")), "hello");
}

/// A file system of one mebibyte at the folder, if this process may mount one.
class MountedFolder {
 public:
  explicit MountedFolder(std::string path) : path_(std::move(path)) {
    isMounted_ = ::mount("none", path_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  MountedFolder(const MountedFolder&) = delete;
  MountedFolder& operator=(const MountedFolder&) = delete;
  ~MountedFolder() {
    if (isMounted_) ::umount2(path_.c_str(), MNT_DETACH);
  }
  bool isMounted() const { return isMounted_; }
  void makeReadOnly() const {
    ASSERT_EQ(::mount("none", path_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  }

 private:
  const std::string path_;
  bool isMounted_ = false;
};

TEST_P(IncomingFileTest, aFullDiskIsReportedAndThePartCanBeKept) {
  const MountedFolder disk(downloads());
  if (!disk.isMounted()) GTEST_SKIP() << "NOT TESTED: only root may mount a small disk";
  const auto file = create();
  const Bytes piece(262'144, 'q');
  std::uint64_t offset = 0;
  std::optional<PortError> error;
  while (!error && offset < 4 << 20) {
    const auto written = file->write(offset, piece);
    if (!written) error = written.error();
    offset += piece.size();
  }
  ASSERT_TRUE(error);
  EXPECT_EQ(error->description, "No space left on device");
  EXPECT_EQ(file->keep("part"), Kept::yes);
  EXPECT_GT(fs::file_size(downloads("part")), 500'000U);
}

TEST_P(IncomingFileTest, aReadOnlyDiskIsReported) {
  const MountedFolder disk(downloads());
  if (!disk.isMounted()) GTEST_SKIP() << "NOT TESTED: only root may mount a small disk";
  disk.makeReadOnly();
  const auto file = files_.create(downloads());
  ASSERT_FALSE(file);
  EXPECT_EQ(file.error().description, "Read-only file system");
}

}  // namespace
}  // namespace quorl::test
