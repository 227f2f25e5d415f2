// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <filesystem>
#include <mutex>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostLinux/Menu/MenuProcess.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

constexpr std::chrono::seconds patience{30};

/// Runs shell scripts as the menu program and records what they do.
class MenuProcessTest : public testing::Test {
 protected:
  MenuProcess& run(const std::string& script) { return runCommand({"/bin/sh", "-c", script}); }
  MenuProcess& runCommand(std::vector<std::string> command) {
    process_.emplace(MenuProcess::Settings{
        .command = std::move(command), .display = ":5", .socketFolder = folder_.path().string()});
    process_->open(SerialQueue(pool_, "test", QueueRank::service), {.received =
                                                                        [this](std::string line) {
                                                                          const std::scoped_lock lock(mutex_);
                                                                          lines_.push_back(std::move(line));
                                                                        },
                                                                    .ended =
                                                                        [this](std::string reason) {
                                                                          const std::scoped_lock lock(mutex_);
                                                                          ends_.push_back(std::move(reason));
                                                                        },
                                                                    .displayAppeared =
                                                                        [this] {
                                                                          const std::scoped_lock lock(mutex_);
                                                                          ++appearances_;
                                                                        }});
    process_->startProgram();
    return *process_;
  }
  template <class Read>
  auto locked(Read read) {
    const std::scoped_lock lock(mutex_);
    return read();
  }
  std::vector<std::string> lines() {
    return locked([this] { return lines_; });
  }
  std::vector<std::string> ends() {
    return locked([this] { return ends_; });
  }
  bool hasLine(const std::string& line) {
    return eventually([&] { return std::ranges::count(lines(), line) > 0; }, patience);
  }
  bool hasEnded() {
    return eventually([this] { return !ends().empty(); }, patience);
  }

  TemporaryFolder folder_;
  PoolScheduler pool_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<std::string> ends_;
  int appearances_ = 0;
  std::optional<MenuProcess> process_;
};

TEST_F(MenuProcessTest, carriesLinesBothWays) {
  MenuProcess& process = run("echo ready >&0; while read line; do echo \"<$line>\" >&0; done");
  ASSERT_TRUE(hasLine("ready"));
  process.send("one\n");
  process.send("two\n");
  ASSERT_TRUE(hasLine("<two>"));
  EXPECT_THAT(lines(), ElementsAre("ready", "<one>", "<two>"));
}

TEST_F(MenuProcessTest, reportsTheEndAfterTheLastLine) {
  run("echo last >&0; exit 3");
  ASSERT_TRUE(hasEnded());
  EXPECT_THAT(lines(), ElementsAre("last"));
  EXPECT_THAT(ends(), ElementsAre("exit status 3"));
}

TEST_F(MenuProcessTest, reportsASignal) {
  run("kill -ABRT $$");
  ASSERT_TRUE(hasEnded());
  EXPECT_THAT(ends(), ElementsAre("signal 6"));
}

TEST_F(MenuProcessTest, reportsAProgramThatIsMissing) {
  runCommand({"/nonexistent/menu"});
  ASSERT_TRUE(hasEnded());
  EXPECT_THAT(ends(), ElementsAre("/nonexistent/menu: No such file or directory"));
}

TEST_F(MenuProcessTest, canStartTheProgramAgain) {
  run("echo ready >&0");
  ASSERT_TRUE(hasEnded());
  process_->startProgram();
  EXPECT_TRUE(eventually([this] { return ends().size() == 2; }, patience));
  EXPECT_EQ(lines().size(), 2U);
}

TEST_F(MenuProcessTest, passesOnNoDescriptorOfTheHost) {
  const Descriptor leaked(::open("/dev/null", O_RDONLY));  // without close-on-exec
  run("cd /proc/$$/fd; set -- *; echo \"$*\" >&0; read end");
  EXPECT_TRUE(eventually([this] { return !lines().empty(); }, patience));
  // The fourth is the folder itself, while the shell lists it.
  EXPECT_THAT(lines().at(0), testing::AnyOf("0 1 2", "0 1 2 3"));
}

TEST_F(MenuProcessTest, endsTheProgramWithItself) {
  run("echo $$ >&0; while read line; do :; done");
  ASSERT_TRUE(eventually([this] { return !lines().empty(); }, patience));
  const pid_t pid = std::stoi(lines().at(0));
  process_->close();
  EXPECT_EQ(::kill(pid, 0), -1);
  EXPECT_TRUE(ends().empty()) << "no handler is called after the end";
}

TEST_F(MenuProcessTest, killsAProgramThatDoesNotEnd) {
  run("trap '' TERM; echo $$ >&0; while :; do sleep 1; done");
  ASSERT_TRUE(eventually([this] { return !lines().empty(); }, patience));
  const pid_t pid = std::stoi(lines().at(0));
  process_->close();
  EXPECT_EQ(::kill(pid, 0), -1);
}

TEST_F(MenuProcessTest, killsAProgramThatClosesItsEnd) {
  run("exec 0</dev/null; while :; do sleep 1; done");
  ASSERT_TRUE(hasEnded());
  EXPECT_THAT(ends(), ElementsAre("signal 9"));
}

TEST_F(MenuProcessTest, endsAProgramThatSendsALineWithoutEnd) {
  run("exec 3>&0; head -c 2000000 /dev/zero | tr '\\0' x >&3; while :; do sleep 1; done");
  ASSERT_TRUE(hasEnded());
  EXPECT_TRUE(lines().empty());
}

TEST_F(MenuProcessTest, dropsWhatAProgramDoesNotRead) {
  MenuProcess& process =
      run("echo $$ >&0; read go; n=0; while read line; do n=$((n+1)); done; echo never >&0");
  ASSERT_TRUE(eventually([this] { return !lines().empty(); }, patience));
  const pid_t pid = std::stoi(lines().at(0));
  ::kill(pid, SIGSTOP);
  const std::string line(100'000, 'x');
  for (int count = 0; count < 1000; ++count) process.send(line + "\n");
  ::kill(pid, SIGCONT);
  process.close();
  EXPECT_EQ(::kill(pid, 0), -1);
}

TEST_F(MenuProcessTest, noticesADisplay) {
  MenuProcess& process = run("read end");
  EXPECT_FALSE(process.isDisplayReachable());
  std::filesystem::create_directory(folder_.path() / "X5");
  EXPECT_TRUE(eventually([this] { return locked([this] { return appearances_; }) == 1; }, patience));
}

}  // namespace
}  // namespace quorl::test
