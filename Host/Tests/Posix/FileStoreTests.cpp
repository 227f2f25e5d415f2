// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QuorlHostPosix/PosixFileStore.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

class FileStoreTest : public ::testing::Test {
 protected:
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(folder)) result.push_back(entry.path().filename());
    std::sort(result.begin(), result.end());
    return result;
  }
  static unsigned mode(const fs::path& at) {
    struct stat facts{};
    EXPECT_EQ(::lstat(at.c_str(), &facts), 0) << at;
    return facts.st_mode & 07777U;
  }

  TemporaryFolder temporary;
  const fs::path& folder = temporary.path();
  std::string path = temporary.file("trust.json");
  PosixFileStore store;
};

TEST_F(FileStoreTest, readsBackWhatItWrote) {
  ASSERT_TRUE(store.writeAtomically(path, viewOf("one")));
  EXPECT_EQ(store.read(path, 100), bytesOf("one"));
  ASSERT_TRUE(store.writeAtomically(path, viewOf("")));
  EXPECT_EQ(store.read(path, 100), Bytes());
  EXPECT_EQ(names(), std::vector<std::string>{"trust.json"});
}

TEST_F(FileStoreTest, writesForItsOwnerAloneWithAnyUmaskAndFormerMode) {
  for (const mode_t mask : {mode_t{0}, mode_t{0777}}) {
    const mode_t before = ::umask(mask);
    const auto written = store.writeAtomically(path, viewOf("secret"));
    ::umask(before);
    ASSERT_TRUE(written);
    EXPECT_EQ(mode(path), 0600U);
    fs::permissions(path, fs::perms::all);
  }
  ASSERT_TRUE(store.writeAtomically(path, viewOf("secret")));
  EXPECT_EQ(mode(path), 0600U);
}

TEST_F(FileStoreTest, replacesALinkAndLeavesItsTargetAlone) {
  const fs::path target = folder / "target";
  std::ofstream(target) << "untouched";
  fs::create_symlink(target, path);
  ASSERT_TRUE(store.writeAtomically(path, viewOf("new")));
  EXPECT_FALSE(fs::is_symlink(path));
  EXPECT_EQ(store.read(target, 100), bytesOf("untouched"));
  EXPECT_EQ(store.read(path, 100), bytesOf("new"));
}

TEST_F(FileStoreTest, refusesAFifoWithoutWaitingForItsWriter) {
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(store.read(path, 100));
}

TEST_F(FileStoreTest, refusesAFolderADeviceAndAMissingFile) {
  EXPECT_EQ(store.read(folder, 100).error().status, EISDIR);
  EXPECT_FALSE(store.read("/dev/zero", 100));
  EXPECT_EQ(store.read(path, 100).error().status, ENOENT);
  EXPECT_EQ(store.read(path, 100).error().description, "No such file or directory");
}

TEST_F(FileStoreTest, readsAFileOfTheLimitAndRefusesALargerOne) {
  ASSERT_TRUE(store.writeAtomically(path, viewOf("12345")));
  EXPECT_EQ(store.read(path, 5), bytesOf("12345"));
  EXPECT_EQ(store.read(path, 4).error().status, EFBIG);
  // Files of /proc report size 0 and are longer.
  EXPECT_TRUE(store.read("/proc/self/status", 100'000).value().size() > 100);
  EXPECT_EQ(store.read("/proc/self/status", 100).error().status, EFBIG);
}

TEST_F(FileStoreTest, leavesTheOldFileAndNoTemporaryWhenTheDiskIsFull) {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "needs the right to mount";
  ASSERT_TRUE(store.writeAtomically(path, viewOf("old")));
  const Bytes large(200'000, 'x');
  const auto written = store.writeAtomically(path, large);
  EXPECT_EQ(written.error().status, ENOSPC);
  EXPECT_EQ(store.read(path, 100), bytesOf("old"));
  EXPECT_EQ(names(), std::vector<std::string>{"trust.json"});
  ::umount(folder.c_str());
}

TEST_F(FileStoreTest, failsWithoutATraceIfTheFolderIsMissingOrTheTargetIsAFolder) {
  EXPECT_EQ(store.writeAtomically((folder / "no" / "file").string(), viewOf("x")).error().status, ENOENT);
  fs::create_directory(path);
  EXPECT_FALSE(store.writeAtomically(path, viewOf("x")));
  EXPECT_EQ(names(), std::vector<std::string>{"trust.json"});
}

TEST_F(FileStoreTest, aWriterKilledAtAnyInstantLeavesACompleteFile) {
  const std::size_t size = 100'000;
  ASSERT_TRUE(store.writeAtomically(path, Bytes(size, 'a')));
  for (int round = 0; round < 30; ++round) {
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      [[maybe_unused]] const auto told = ::write(ready[1], "x", 1);
      for (char letter = 'b';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1))
        if (!store.writeAtomically(path, Bytes(size, static_cast<std::uint8_t>(letter)))) ::_exit(1);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    // A different number of reads each round, so that the kill hits another point of a write.
    for (int look = 0; look < round * 7; ++look) (void)store.read(path, size);
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const auto bytes = store.read(path, size);
    ASSERT_TRUE(bytes);
    ASSERT_EQ(bytes->size(), size);
    ASSERT_TRUE(
        std::all_of(bytes->begin(), bytes->end(), [&](auto byteOf) { return byteOf == bytes->front(); }));
  }
}

TEST_F(FileStoreTest, removesOnlyOldTemporaryFilesOfKilledWriters) {
  const auto make = [&](const std::string& name, int hoursAgo) {
    std::ofstream(folder / name) << "x";
    fs::last_write_time(folder / name, fs::file_time_type::clock::now() - std::chrono::hours(hoursAgo));
  };
  make(".trust.json.0011223344556677.tmp", 2);
  make(".trust.json.8899aabbccddeeff.tmp", 0);
  make(".settings.json.0011223344556677.tmp", 2);
  make("trust.json.mine", 2);
  ASSERT_TRUE(store.writeAtomically(path, viewOf("x")));
  EXPECT_EQ(names(),
            (std::vector<std::string>{".settings.json.0011223344556677.tmp",
                                      ".trust.json.8899aabbccddeeff.tmp", "trust.json", "trust.json.mine"}));
}

TEST_F(FileStoreTest, makesMissingFoldersPrivateAndKeepsTheModeOfOthers) {
  fs::permissions(folder, fs::perms(0755));
  const fs::path deep = folder / "a" / "b" / "QuorlHost";
  ASSERT_TRUE(store.createPrivateDirectory(deep.string()));
  EXPECT_EQ(mode(folder), 0755U);
  EXPECT_EQ(mode(folder / "a"), 0700U);
  EXPECT_EQ(mode(deep), 0700U);
  fs::permissions(deep, fs::perms(0750));
  ASSERT_TRUE(store.createPrivateDirectory(deep.string() + "/"));
  EXPECT_EQ(mode(deep), 0750U);
}

TEST_F(FileStoreTest, makesNoFolderOverAFile) {
  std::ofstream(folder / "file") << "x";
  EXPECT_EQ(store.createPrivateDirectory((folder / "file").string()).error().status, ENOTDIR);
  EXPECT_EQ(store.createPrivateDirectory((folder / "file" / "sub").string()).error().status, ENOTDIR);
}

}  // namespace
}  // namespace quorl::test
