// SPDX-License-Identifier: GPL-3.0-or-later

// The real client moves files to and from the real host.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/Eventually.h>

#include "../Agents/AgentWorld.h"

namespace quorl::client::test {
namespace {

namespace fs = std::filesystem;
using quorl::test::eventually;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string noise(std::size_t size) {
  std::mt19937_64 random(7);
  std::string text;
  text.reserve(size + 8);
  while (text.size() < size) {
    const std::uint64_t word = random();
    text.append(reinterpret_cast<const char*>(&word), sizeof word);
  }
  text.resize(size);
  return text;
}

class FileScenario : public testing::Test {
 protected:
  void SetUp() override {
    world.startHost();
    fs::create_directories(downloads());
    fs::create_directories(here());
  }

  fs::path downloads() const { return world.home() / "Downloads"; }
  fs::path here() const { return world.folder() / "here"; }
  std::string write(const std::string& path, const std::string& content) const {
    world.write(path, content);
    return (world.folder() / path).string();
  }
  static std::string read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  static std::vector<std::string> names(const fs::path& folder) {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }
  // A file without blocks; it reads as zeros.
  std::string writeSparse(const std::string& path, off_t size) const {
    const std::string file = write(path, "");
    EXPECT_EQ(::truncate(file.c_str(), size), 0);
    return file;
  }

  AgentWorld world;
};

TEST_F(FileScenario, aFileGoesThereAndBack) {
  const std::string content = noise(5'000'001);
  const auto pushed = world.run({"push", write("here/film.mkv", content)});
  EXPECT_EQ(pushed.status, 0) << pushed.output;
  EXPECT_THAT(pushed.output, HasSubstr("film.mkv: 5.0 MB"));
  EXPECT_THAT(pushed.output, HasSubstr("matches"));
  EXPECT_EQ(read(downloads() / "film.mkv"), content);

  fs::create_directories(world.folder() / "back");
  const auto pulled = world.run({"pull", "Downloads/film.mkv", "--to", (world.folder() / "back").string()});
  EXPECT_EQ(pulled.status, 0) << pulled.output;
  EXPECT_EQ(read(world.folder() / "back/film.mkv"), content);
}

TEST_F(FileScenario, severalFilesGetNamesOfTheirOwn) {
  const auto first = write("here/one/report.pdf", "1");
  const auto second = write("here/two/report.pdf", "2");
  const auto empty = write("here/empty", "");
  const auto result = world.run({"push", first, second, empty});
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_THAT(names(downloads()), ElementsAre("empty", "report 2.pdf", "report.pdf"));
  EXPECT_EQ(read(downloads() / "report 2.pdf"), "2");
}

TEST_F(FileScenario, aMissingFileIsReportedBeforeAnythingIsSent) {
  const auto result = world.run({"push", write("here/a", "1"), (here() / "missing").string()});
  EXPECT_EQ(result.status, 2) << result.output;
  EXPECT_THAT(names(downloads()), IsEmpty());
}

TEST_F(FileScenario, pullNeverOverwritesUnlessAsked) {
  write("home/a.txt", "of the host");
  const auto own = write("here/a.txt", "my own");
  const auto refused = world.run({"pull", "a.txt", "--to", here().string()});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.output, HasSubstr("exists already"));
  EXPECT_EQ(read(own), "my own");
  EXPECT_EQ(world.run({"pull", "a.txt", "--to", here().string(), "--replace"}).status, 0);
  EXPECT_EQ(read(own), "of the host");
  EXPECT_THAT(names(here()), ElementsAre("a.txt"));
}

TEST_F(FileScenario, filesThatCannotBePulledDoNotStopTheOthers) {
  write("home/a", "1");
  write("home/b", "2");
  ASSERT_EQ(::mkfifo((world.home() / "pipe").c_str(), 0600), 0);
  fs::create_symlink("/etc/passwd", world.home() / "out");
  const auto result =
      world.run({"pull", "a", "missing", "pipe", "out", "/etc/passwd", "b", "--to", here().string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("file.notFound"));
  EXPECT_THAT(result.output, HasSubstr("file.read"));
  EXPECT_THAT(result.output, HasSubstr("file.denied"));
  EXPECT_THAT(result.output, HasSubstr("4 of 6 files were not moved"));
  EXPECT_THAT(names(here()), ElementsAre("a", "b"));
}

TEST_F(FileScenario, namesCannotControlTheTerminal) {
  const auto evil = write("here/a\x1b[2Jb", "x");
  const auto pushed = world.run({"push", evil});
  EXPECT_EQ(pushed.status, 0) << pushed.output;
  EXPECT_EQ(pushed.output.find('\x1b'), std::string::npos);
  const auto listed = world.run({"ls", "Downloads"});
  EXPECT_EQ(listed.output.find('\x1b'), std::string::npos);
  EXPECT_EQ(names(downloads()).size(), 1U);
}

TEST_F(FileScenario, foldersAreListed) {
  write("home/Documents/b.txt", "12345");
  write("home/Documents/A.txt", "");
  fs::create_directories(world.home() / "Documents/z");
  const auto listed = world.run({"ls", "Documents"});
  EXPECT_EQ(listed.status, 0) << listed.output;
  EXPECT_EQ(listed.output, "z/\nA.txt\nb.txt\n");
  EXPECT_THAT(world.run({"ls"}).output, HasSubstr("Documents/\n"));
  EXPECT_THAT(world.run({"ls", "--long", "~/Documents"}).output, HasSubstr("5 B"));
  EXPECT_THAT(world.run({"ls", "--json", "Documents"}).output, HasSubstr(R"("name":"b.txt")"));
  const auto denied = world.run({"ls", "/etc"});
  EXPECT_EQ(denied.status, 1);
  EXPECT_THAT(denied.output, HasSubstr("Access denied: /etc is outside the browsable area"));
}

TEST_F(FileScenario, aFolderOf100000EntriesIsListed) {
  const fs::path folder = world.home() / "many";
  fs::create_directories(folder);
  for (int number = 0; number < 100'000; ++number) {
    const int file = ::open((folder / std::to_string(number)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    ::close(file);
  }
  const auto listed = world.run({"ls", "many"});
  EXPECT_EQ(listed.status, 0) << listed.output;
  EXPECT_EQ(std::ranges::count(listed.output.substr(0, listed.output.find("The host")), '\n'), 2'000);
  EXPECT_THAT(listed.output, HasSubstr("at most 2000"));
}

TEST_F(FileScenario, anInterruptedPushLeavesNothing) {
  const auto file = writeSparse("here/large", off_t{64} << 30);
  const auto push = world.onTerminal({"push", file});
  ASSERT_TRUE(push->shows("MB/s")) << push->screen();
  push->signal(SIGINT);
  EXPECT_EQ(push->waitForExit(seconds(60)), 130);
  EXPECT_TRUE(eventually([&] { return names(downloads()).empty(); }, seconds(30)));
  EXPECT_EQ(world.run({"ls"}).status, 0) << "the host goes on";
}

TEST_F(FileScenario, aKilledPushLeavesNothing) {
  const auto push = world.onTerminal({"push", writeSparse("here/large", off_t{64} << 30)});
  ASSERT_TRUE(push->shows("MB/s")) << push->screen();
  push->signal(SIGKILL);
  EXPECT_TRUE(push->waitForExit(seconds(60)));
  EXPECT_TRUE(eventually([&] { return names(downloads()).empty(); }, seconds(30)));
}

TEST_F(FileScenario, anInterruptedPullLeavesNothing) {
  writeSparse("home/large", off_t{64} << 30);
  const auto pull = world.onTerminal({"pull", "large", "--to", here().string()});
  ASSERT_TRUE(pull->shows("MB/s")) << pull->screen();
  EXPECT_EQ(names(here()).size(), 1U);
  pull->signal(SIGINT);
  EXPECT_EQ(pull->waitForExit(seconds(60)), 130);
  EXPECT_THAT(names(here()), IsEmpty());
}

TEST_F(FileScenario, aHostThatEndsLeavesNothingOnEitherSide) {
  const auto pull = [&] {
    writeSparse("home/large", off_t{64} << 30);
    return world.onTerminal({"pull", "large", "--to", here().string()});
  }();
  ASSERT_TRUE(pull->shows("MB/s")) << pull->screen();
  world.host().program().signal(SIGKILL);
  EXPECT_EQ(pull->waitForExit(seconds(60)), 1);
  EXPECT_THAT(names(here()), IsEmpty());
}

/// A small file system at a folder.
class SmallDisk {
 public:
  explicit SmallDisk(fs::path path) : path_(std::move(path)) {
    isMounted_ = ::mount("none", path_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  ~SmallDisk() {
    if (isMounted_) ::umount2(path_.c_str(), MNT_DETACH);
  }
  bool isMounted() const { return isMounted_; }
  bool makeReadOnly() const {
    return ::mount("none", path_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m") == 0;
  }

 private:
  const fs::path path_;
  bool isMounted_ = false;
};

TEST_F(FileScenario, aFullDiskKeepsThePartAndIsReported) {
  const SmallDisk disk(downloads());
  if (!disk.isMounted()) GTEST_SKIP() << "NOT TESTED: only root may mount a small disk";
  const auto result = world.run({"push", write("here/a", noise(3'000'000))});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("cannot write a: No space left on device"));
  ASSERT_THAT(names(downloads()), ElementsAre("a"));
  EXPECT_LT(fs::file_size(downloads() / "a"), 3'000'000U);
  EXPECT_EQ(world.run({"ls", "Downloads"}).output, "a\n") << "the host goes on";
}

TEST_F(FileScenario, aReadOnlyDiskRefusesTheFile) {
  const SmallDisk disk(downloads());
  if (!disk.isMounted()) GTEST_SKIP() << "NOT TESTED: only root may mount a small disk";
  ASSERT_TRUE(disk.makeReadOnly());
  const auto result = world.run({"push", write("here/a", "x")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("the host refused the file"));
}

TEST_F(FileScenario, aNameThatIsTooLongForTheSecondCopyIsRefused) {
  const std::string name(255, 'n');
  const auto file = write("here/" + name, "x");
  EXPECT_EQ(world.run({"push", file}).status, 0);
  const auto second = world.run({"push", file});
  EXPECT_EQ(second.status, 1) << second.output;
  EXPECT_THAT(names(downloads()), ElementsAre(name));
}

}  // namespace
}  // namespace quorl::client::test
