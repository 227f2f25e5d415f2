// SPDX-License-Identifier: GPL-3.0-or-later
// Terminals that pass from one port to another, as they do when the program replaces itself.
#include <QuorlHostPosix/PosixPseudoTerminals.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

#include "TerminalWatcher.h"

namespace quorl {
namespace {

using test::eventually;
using test::openDescriptors;
using test::TemporaryFolder;
using test::TerminalWatcher;
using test::unreapedChildren;

class ReleasedTerminalTest : public testing::Test {
 protected:
  PoolScheduler pool;
  std::unique_ptr<PosixPseudoTerminals> first = std::make_unique<PosixPseudoTerminals>();
  PosixPseudoTerminals second;
};

std::string linesUpTo(int last) {
  std::string text;
  for (int line = 1; line <= last; ++line) text += std::to_string(line) + "\r\n";
  return text;
}

TEST_F(ReleasedTerminalTest, everyByteOfAFloodIsReadOnceByOneOfTheTwo) {
  constexpr int last = 400'000;
  std::string whole;
  auto child =
      std::make_unique<TerminalWatcher>(pool, *first, "seq 1 " + std::to_string(last) + "; read end");
  auto port = std::move(first);
  std::size_t wanted = 10'000;
  int passes = 0;
  for (;; ++passes) {
    ASSERT_TRUE(child->waitUntil([&](const TerminalWatcher& self) {
      return self.size() > wanted || self.endsWith(std::to_string(last) + "\r\n");
    }));
    const auto released = child->release();
    ASSERT_TRUE(released);
    whole += child->output();
    child.reset();
    port = std::make_unique<PosixPseudoTerminals>();
    child = std::make_unique<TerminalWatcher>(pool, *port, *released);
    if (whole.ends_with(std::to_string(last) + "\r\n")) break;
  }
  EXPECT_GT(passes, 5) << "the flood has to meet several switches";
  EXPECT_EQ(whole.size(), linesUpTo(last).size());
  EXPECT_TRUE(whole == linesUpTo(last));
  child->type("\n");
  EXPECT_TRUE(child->waitForExit());
}

TEST_F(ReleasedTerminalTest, outputOfTheTimeBetweenIsReadAfterwards) {
  TemporaryFolder folder;
  const std::string go = (folder.path() / "go").string();
  ASSERT_EQ(::mkfifo(go.c_str(), 0600), 0);
  TerminalWatcher before(pool, *first,
                         "echo ready; read x <" + go + "; echo meanwhile; echo done >" + go + "; read end");
  ASSERT_TRUE(before.waitForText("ready"));
  const auto released = before.release();
  ASSERT_TRUE(released);
  first.reset();
  const int fifo = ::open(go.c_str(), O_WRONLY);
  ASSERT_EQ(::write(fifo, "x\n", 2), 2);
  ::close(fifo);
  const int answer = ::open(go.c_str(), O_RDONLY);
  char byte = 0;
  ASSERT_EQ(::read(answer, &byte, 1), 1) << "the program did not print";
  ::close(answer);
  EXPECT_EQ(before.output(), "ready\r\n");
  TerminalWatcher after(pool, second, *released);
  EXPECT_TRUE(after.waitForText("meanwhile"));
  EXPECT_EQ(after.output(), "meanwhile\r\n");
}

TEST_F(ReleasedTerminalTest, theChildSurvivesTheEndOfItsFirstPort) {
  auto before = std::make_unique<TerminalWatcher>(pool, *first, "read a; echo \"got $a\"; read b; exit 3");
  const auto pid = before->terminal().pid();
  const auto released = before->release();
  ASSERT_TRUE(released);
  before.reset();
  first.reset();
  TerminalWatcher after(pool, second, *released);
  EXPECT_EQ(after.terminal().pid(), pid);
  after.type("word\n");
  EXPECT_TRUE(after.waitForText("got word"));
  after.type("\n");
  ASSERT_TRUE(after.waitForExit());
  EXPECT_EQ(WEXITSTATUS(*after.exitStatus()), 3);
}

TEST_F(ReleasedTerminalTest, aChildThatEndsMeanwhileIsReapedWithItsOutputAndStatus) {
  const auto descriptors = openDescriptors();
  const auto children = unreapedChildren();
  auto before = std::make_unique<TerminalWatcher>(pool, *first, "read go; echo last words; exit 5");
  const auto released = before->release();
  ASSERT_TRUE(released);
  before.reset();
  ASSERT_EQ(::write(released->handle, "\n", 1), 1);
  ASSERT_TRUE(eventually([&] {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(released->pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == released->pid;
  }));
  {
    TerminalWatcher after(pool, second, *released);
    ASSERT_TRUE(after.waitForExit());
    EXPECT_EQ(WEXITSTATUS(*after.exitStatus()), 5);
    EXPECT_NE(after.output().find("last words\r\n"), std::string::npos);
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(unreapedChildren(), children);
}

TEST_F(ReleasedTerminalTest, inputThatTheTerminalHasNotTakenIsTypedByTheNextOwner) {
  const TemporaryFolder folder;
  const std::string gate = folder.path() / "gate";
  ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
  TerminalWatcher before(pool, *first,
                         "stty raw -echo; echo ready; read go <" + gate + "; head -c 300000 | wc -c");
  ASSERT_TRUE(before.waitForText("ready"));
  before.type(std::string(200'000, 'a'));
  const auto released = before.release();
  ASSERT_TRUE(released);
  EXPECT_GT(released->unwritten.size(), 0u) << "the program does not read yet";
  TerminalWatcher after(pool, second, *released);
  std::ofstream(gate) << "go\n";
  after.type(std::string(100'000, 'b'));
  EXPECT_TRUE(after.waitForText("300000")) << after.output();
}

TEST_F(ReleasedTerminalTest, aReleasedTerminalDoesNothingMore) {
  TerminalWatcher before(pool, *first, "read a; echo \"got $a\"; read b");
  const auto released = before.release();
  ASSERT_TRUE(released);
  before.type("lost\n");
  before.terminal().sendKill();
  before.terminal().resize(1, 1);
  EXPECT_EQ(before.release(), std::nullopt);
  TerminalWatcher after(pool, second, *released);
  after.type("kept\n");
  EXPECT_TRUE(after.waitForText("got kept"));
}

TEST_F(ReleasedTerminalTest, nothingIsReleasedOfAChildThatWasReaped) {
  TerminalWatcher child(pool, *first, "exit 0");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(child.release(), std::nullopt);
}

TEST_F(ReleasedTerminalTest, whatIsNoTerminalOfAChildIsRefusedAndLeftAlone) {
  TemporaryFolder folder;
  const int file = ::open((folder.path() / "file").c_str(), O_RDWR | O_CREAT, 0600);
  EXPECT_FALSE(second.adopt({.pid = 1, .deviceName = "/dev/pts/1", .handle = file, .unwritten = {}}));
  EXPECT_EQ(::fcntl(file, F_GETFD), 0) << "closed or changed";
  ::close(file);
  EXPECT_FALSE(second.adopt({.pid = 1, .deviceName = "/dev/pts/1", .handle = -1, .unwritten = {}}));
  TerminalWatcher child(pool, *first, "read a");
  auto released = child.release();
  ASSERT_TRUE(released);
  const auto pid = std::exchange(released->pid, 1);
  EXPECT_FALSE(second.adopt(*released)) << "process 1 is no child";
  EXPECT_EQ(::fcntl(released->handle, F_GETFD), -1) << "closed, which ends the program";
  EXPECT_EQ(::waitpid(pid, nullptr, 0), pid);
}

}  // namespace
}  // namespace quorl
