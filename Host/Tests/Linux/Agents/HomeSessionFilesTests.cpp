// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/HomeSessionFiles.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Discovery/ClaudeCodeDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/CodexDiscovery.h>
#include <Support/TemporaryFolder.h>

namespace quorl {
namespace {

namespace fs = std::filesystem;
using test::TemporaryFolder;
using testing::IsEmpty;

constexpr const char* sessionID = "11111111-2222-4333-8444-555555555555";

class SessionFilesOnDisk : public testing::Test {
 protected:
  TemporaryFolder home;
  TemporaryFolder elsewhere;
  std::shared_ptr<HomeSessionFiles> files = std::make_shared<HomeSessionFiles>(home.path());

  std::optional<SessionFiles::Entry> entry(const std::string& name) {
    const auto entries = files->list(home.file("d"));
    if (!entries) return std::nullopt;
    const auto found = std::ranges::find(*entries, name, &SessionFiles::Entry::name);
    if (found == entries->end()) return std::nullopt;
    return *found;
  }
  std::string text(const std::string& path, std::uint64_t offset = 0, std::size_t length = 100) {
    const auto bytes = files->read(path, offset, length);
    return bytes ? textOf(*bytes) : "failed";
  }
};

TEST_F(SessionFilesOnDisk, areDescribedByTypeAndSize) {
  const std::string path = home.write("d/a.jsonl", "12345");
  home.write("d/sub/b", "");
  home.write("d/.hidden", "");
  const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = 1000, .tv_nsec = 500'000'000}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  const auto file = entry("a.jsonl");
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->isRegular && !file->isDirectory && !file->isLink);
  EXPECT_EQ(file->size, 5U);
  EXPECT_EQ(file->modified, Date{1000.5});
  EXPECT_TRUE(entry("sub")->isDirectory);
  EXPECT_FALSE(entry(".hidden"));
  EXPECT_FALSE(files->list(home.file("none")));
  EXPECT_FALSE(files->list(path));
  EXPECT_TRUE(files->exists(path));
  EXPECT_FALSE(files->isDirectory(path));
  EXPECT_TRUE(files->isDirectory(home.file("d")));
}

TEST_F(SessionFilesOnDisk, areReadInParts) {
  const std::string path = home.write("d/a", "0123456789");
  EXPECT_EQ(text(path, 2, 3), "234");
  EXPECT_EQ(text(path, 8, 100), "89");
  EXPECT_EQ(text(path, 10, 100), "");
  EXPECT_EQ(text(path, 1000, 100), "");
  EXPECT_EQ(text(path + "x"), "failed");
  EXPECT_EQ(text(home.file("d")), "failed");
}

TEST_F(SessionFilesOnDisk, followLinksOnlyWithinTheHome) {
  const std::string outside = elsewhere.write("secret", "secret");
  home.write("other/inside", "inside");
  fs::create_directory(home.file("d"));
  fs::create_symlink(outside, home.file("d/out"));
  fs::create_symlink(elsewhere.path(), home.file("d/outFolder"));
  fs::create_symlink("../other/inside", home.file("d/in"));
  fs::create_symlink("../other", home.file("d/inFolder"));
  fs::create_symlink("loop", home.file("d/loop"));
  fs::create_symlink("nowhere", home.file("d/dangling"));
  EXPECT_TRUE(entry("in")->isRegular && entry("in")->isLink);
  EXPECT_TRUE(entry("inFolder")->isDirectory);
  for (const char* name : {"out", "outFolder", "loop", "dangling"}) {
    ASSERT_TRUE(entry(name)) << name;
    EXPECT_FALSE(entry(name)->isRegular || entry(name)->isDirectory) << name;
  }
  EXPECT_EQ(text(home.file("d/in")), "inside");
  for (const char* name : {"out", "outFolder/secret", "loop", "dangling"}) {
    // "outFolder/secret" is in the requested folder, like a home that is itself a link.
    const bool isBelowItsFolder = std::string_view(name) == "outFolder/secret";
    EXPECT_EQ(text(home.file(std::string("d/") + name)), isBelowItsFolder ? "secret" : "failed") << name;
  }
}

TEST_F(SessionFilesOnDisk, areOnlyRegularFiles) {
  fs::create_directory(home.file("d"));
  const std::string fifo = home.file("d/fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_FALSE(entry("fifo")->isRegular);
  EXPECT_EQ(text(fifo), "failed");
  EXPECT_EQ(text("/dev/zero"), "failed");
  EXPECT_EQ(text(""), "failed");
}

TEST_F(SessionFilesOnDisk, canonicalisePathsThatExist) {
  home.write("other/inside", "");
  fs::create_symlink("other", home.file("link"));
  EXPECT_EQ(files->canonicalPath(home.file("link/../link/inside")), home.file("other/inside"));
  EXPECT_EQ(files->canonicalPath(home.file("link/")), home.file("other"));
}

TEST_F(SessionFilesOnDisk, standardisePathsThatDoNotExist) {
  fs::create_directory(home.file("other"));
  fs::create_symlink("other", home.file("link"));
  fs::create_symlink("loop", home.file("loop"));
  EXPECT_EQ(files->canonicalPath("/no/such/../path"), "/no/path");
  EXPECT_EQ(files->canonicalPath("/no//such/./path/"), "/no/such/path");
  EXPECT_EQ(files->canonicalPath("/../.."), "/");
  EXPECT_EQ(files->canonicalPath(home.file("link/gone/project")), home.file("other/gone/project"));
  EXPECT_EQ(files->canonicalPath(home.file("loop/./project")), home.file("loop/project"));
  EXPECT_EQ(files->canonicalPath("/no/" + std::string(5'000, 'x') + "/./y"),
            "/no/" + std::string(5'000, 'x') + "/y");
  EXPECT_EQ(files->canonicalPath(""), "");
}

TEST_F(SessionFilesOnDisk, areScannedWithAnyContent) {
  const std::string project = ".claude/projects/-srv-app/";
  home.write(project + sessionID + ".jsonl", "{\"type\":\"summary\",\"summary\":\"Fine\"}\n");
  home.write(project + "22222222-2222-4333-8444-555555555555.jsonl", std::string("\0\xff\n{", 4));
  home.write(project + "33333333-2222-4333-8444-555555555555.jsonl", "");
  const std::string huge = home.write(project + "44444444-2222-4333-8444-555555555555.jsonl", "");
  fs::resize_file(huge, std::uintmax_t{1} << 40);
  ASSERT_EQ(mkfifo(home.file(project + "55555555-2222-4333-8444-555555555555.jsonl").c_str(), 0600), 0);
  fs::create_symlink(elsewhere.write("x", "{\"type\":\"summary\",\"summary\":\"Secret\"}"),
                     home.file(project + "66666666-2222-4333-8444-555555555555.jsonl"));
  ClaudeCodeDiscovery discovery(files);
  const auto sessions = discovery.scan(200, 40);
  EXPECT_EQ(sessions.size(), 4U);
  for (const DiscoveredClaudeSession& session : sessions) {
    EXPECT_EQ(session.projectPath, "/srv/app");
    EXPECT_EQ(session.preview,
              session.sessionID == sessionID ? std::optional<std::string>("Fine") : std::nullopt);
  }
}

TEST_F(SessionFilesOnDisk, areWalkedWithoutGoingRoundInCircles) {
  const std::string line = "{\"payload\":{\"id\":\"one\",\"cwd\":\"/srv\"}}\n";
  home.write(".codex/sessions/2025/01/a.jsonl", line);
  fs::create_symlink("..", home.file(".codex/sessions/2025/up"));
  ASSERT_EQ(mkfifo(home.file(".codex/sessions/b.jsonl").c_str(), 0600), 0);
  CodexDiscovery discovery(files);
  const auto sessions = discovery.scan(200);
  ASSERT_EQ(sessions.size(), 1U);
  EXPECT_EQ(sessions.front().sessionID, "one");
}

TEST_F(SessionFilesOnDisk, mayBeReplacedAndTruncatedWhileTheyAreRead) {
  const std::string path = home.write(std::string(".claude/projects/-srv/") + sessionID + ".jsonl", "");
  const std::string line = "{\"type\":\"summary\",\"summary\":\"x\"}\n";
  std::atomic<bool> isDone{false};
  std::jthread writer([&] {
    for (unsigned round = 0; !isDone; ++round) {
      std::error_code ignored;
      if (round % 3 == 0) fs::remove(path, ignored);
      std::ofstream out(path, round % 2 == 0 ? std::ios::trunc : std::ios::app);
      for (unsigned i = 0; i < round % 3000; ++i) out << line;
    }
  });
  ClaudeCodeDiscovery discovery(files);
  for (int i = 0; i < 300; ++i)
    for (const DiscoveredClaudeSession& session : discovery.scan(200, 40))
      ASSERT_TRUE(!session.preview || session.preview == "x") << *session.preview;
  isDone = true;
}

}  // namespace
}  // namespace quorl
