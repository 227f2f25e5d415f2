// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PosixPseudoTerminals.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <mutex>
#include <vector>

#include <Support/Eventually.h>

#include "TerminalWatcher.h"

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using test::openDescriptors;
using test::TerminalWatcher;
using test::unreapedChildren;

class PseudoTerminalTest : public testing::Test {
 protected:
  PoolScheduler pool;
  PosixPseudoTerminals terminals;
};

TEST_F(PseudoTerminalTest, runsACommandAndReportsItsOutputBeforeItsExit) {
  TerminalWatcher child(pool, terminals, "printf 'one\\ntwo\\n'; exit 7");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(child.output(), "one\r\ntwo\r\n");
  ASSERT_TRUE(WIFEXITED(*child.exitStatus()));
  EXPECT_EQ(WEXITSTATUS(*child.exitStatus()), 7);
  EXPECT_FALSE(child.heardAfterExit());
}

TEST_F(PseudoTerminalTest, losesNoOutputOfAProgramThatExitsAtOnceAfterIt) {
  for (int round = 0; round < 20; ++round) {
    TerminalWatcher child(pool, terminals, "seq 1 3000");
    ASSERT_TRUE(child.waitForExit());
    ASSERT_TRUE(child.output().ends_with("2999\r\n3000\r\n")) << round;
  }
}

TEST_F(PseudoTerminalTest, givesTheChildASessionWithAControllingTerminal) {
  TerminalWatcher child(pool, terminals, "tty; ps -o pid=,sid=,tpgid= -p $$; echo yes >/dev/tty");
  ASSERT_TRUE(child.waitForText("yes"));
  ASSERT_TRUE(child.waitForExit());
  const std::string text = child.output();
  EXPECT_TRUE(text.starts_with(child.terminal().deviceName() + "\r\n")) << text;
  int pid = 0;
  int session = 0;
  int foreground = 0;
  ASSERT_EQ(std::sscanf(text.c_str() + text.find('\n'), "%d %d %d", &pid, &session, &foreground), 3) << text;
  EXPECT_EQ(pid, child.terminal().pid());
  EXPECT_EQ(session, pid);
}

TEST_F(PseudoTerminalTest, hasTheRequestedSizeFromTheStartAndAnySizeLater) {
  TerminalWatcher child(pool, terminals,
                        "old=; while :; do new=$(stty size); [ \"$new\" = \"$old\" ] || echo \"<$new>\";"
                        "old=$new; sleep 0.02; done");
  ASSERT_TRUE(child.waitForText("<40 100>"));
  child.terminal().resize(80, 24);
  EXPECT_TRUE(child.waitForText("<24 80>"));
  child.terminal().resize(65'535, 0);
  EXPECT_TRUE(child.waitForText("<0 65535>"));
  child.terminal().resize(0, 65'535);
  EXPECT_TRUE(child.waitForText("<65535 0>"));
}

TEST_F(PseudoTerminalTest, givesTheChildTheHostsEnvironmentAndItsOwnAdditions) {
  ::setenv("QUORL_TEST_INHERITED", "kept", 1);
  ::setenv("QUORL_TEST_REPLACED", "old", 1);
  TerminalWatcher child(pool, terminals,
                        "echo \"<$QUORL_TEST_INHERITED $QUORL_TEST_REPLACED $QUORL_TEST_NEW>\"",
                        {{"QUORL_TEST_REPLACED", "new"}, {"QUORL_TEST_NEW", "a b"}});
  EXPECT_TRUE(child.waitForText("<kept new a b>"));
}

TEST_F(PseudoTerminalTest, givesProgramsUTF8WithAnyInstalledLocales) {
  TerminalWatcher child(pool, terminals, "locale charmap; locale 2>&1 >/dev/null", {{"LANG", "en_US.UTF-8"}});
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(child.output(), "UTF-8\r\n") << "and no complaint";
}

TEST_F(PseudoTerminalTest, runsInItsDirectory) {
  TerminalWatcher child(pool, terminals, "pwd", {}, "/usr/share");
  EXPECT_TRUE(child.waitForText("/usr/share\r\n"));
}

TEST_F(PseudoTerminalTest, failsForADirectoryThatHasVanished) {
  const std::size_t before = openDescriptors();
  PseudoTerminalRequest request;
  request.command = "true";
  request.workingDirectory = "/no/such/folder";
  const auto spawned = terminals.spawn(request);
  ASSERT_FALSE(spawned.has_value());
  EXPECT_EQ(spawned.error().step, PseudoTerminalStep::spawn);
  EXPECT_EQ(spawned.error().error.description, "No such file or directory");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(unreapedChildren(), 0U);
}

TEST_F(PseudoTerminalTest, passesNoDescriptorOfTheHost) {
  const int leaky = ::open("/dev/null", O_RDONLY);  // without close-on-exec
  ASSERT_GE(leaky, 0);
  const int high = ::fcntl(leaky, F_DUPFD, 200);
  TerminalWatcher child(pool, terminals, "ls /proc/$$/fd; echo done");
  ASSERT_TRUE(child.waitForExit());
  // Shells duplicate the terminal to 10 or 255; nothing else is open.
  EXPECT_EQ(child.output().find("\r\n" + std::to_string(leaky) + "\r\n"), std::string::npos)
      << child.output();
  EXPECT_EQ(child.output().find(std::to_string(high)), std::string::npos) << child.output();
  ::close(leaky);
  ::close(high);
}

TEST_F(PseudoTerminalTest, givesTheChildEverySignalAtItsDefaultAndNoneBlocked) {
  ::signal(SIGPIPE, SIG_IGN);
  TerminalWatcher child(pool, terminals, "grep -E 'Sig(Blk|Ign)' /proc/self/status");
  ASSERT_TRUE(child.waitForExit());
  unsigned long long blocked = 1;
  unsigned long long ignored = 1;
  const std::string text = child.output();
  ASSERT_EQ(std::sscanf(text.c_str(), "SigBlk: %llx SigIgn: %llx", &blocked, &ignored), 2) << text;
  EXPECT_EQ(blocked, 0U);
  constexpr unsigned long long ofTheCLibrary = 0x180000000;  // signals 32 and 33, which no program may use
  EXPECT_EQ(ignored & ~ofTheCLibrary, 0U);
}

TEST_F(PseudoTerminalTest, typesToTheChild) {
  TerminalWatcher child(pool, terminals, "read -r line; echo \"got <$line>\"");
  child.type("héllo wörld\r");
  EXPECT_TRUE(child.waitForText("got <héllo wörld>"));
}

TEST_F(PseudoTerminalTest, keepsInputThatTheChildHasNotReadInOrder) {
  TerminalWatcher child(pool, terminals, "stty raw -echo; echo ready; head -c 300000 | cksum; echo done");
  ASSERT_TRUE(child.waitForText("ready"));
  std::string text;
  for (int i = 0; text.size() < 300'000; ++i) text += std::to_string(i) + ",";
  text.resize(300'000);
  for (std::size_t at = 0; at < text.size(); at += 7000) child.type(text.substr(at, 7000));
  ASSERT_TRUE(child.waitForText("done"));
  TerminalWatcher expected(pool, terminals, "seq -s, 0 60000 | head -c 300000 | cksum");
  ASSERT_TRUE(expected.waitForExit());
  const std::string sum = expected.output().substr(0, expected.output().find(' '));
  EXPECT_NE(child.output().find(sum), std::string::npos) << child.output() << " wanted " << sum;
}

TEST_F(PseudoTerminalTest, neverBlocksAWriteToAChildThatReadsNothing) {
  TerminalWatcher child(pool, terminals, "stty raw -echo; echo ready; trap '' HUP; while :; do :; done");
  ASSERT_TRUE(child.waitForText("ready"));
  const std::string block(1 << 20, 'x');
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) child.type(block);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
  child.terminal().sendKill();
  EXPECT_TRUE(child.waitForExit());
}

TEST_F(PseudoTerminalTest, interruptsAFloodWithin100Milliseconds) {
  TerminalWatcher child(pool, terminals, "trap 'echo STOPPED; exit 0' INT; yes 'some flooding text'");
  ASSERT_TRUE(child.waitForText("flooding"));
  ASSERT_TRUE(eventually([&] { return child.output().size() > 1'000'000; }));
  const auto begin = std::chrono::steady_clock::now();
  child.type("\x03");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 100ms);
}

TEST_F(PseudoTerminalTest, gathersAFloodIntoLargePieces) {
  TerminalWatcher child(pool, terminals, "head -c 20000000 /dev/zero | tr '\\0' x");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(child.output().size(), 20'000'000U);
  EXPECT_GT(child.largestPiece(), 8192U);
  EXPECT_LE(child.largestPiece(), 65'536U);
}

TEST_F(PseudoTerminalTest, readsAheadOnlyAFewPieces) {
  SerialQueue queue(pool, "test.stalled", QueueRank::service);
  PseudoTerminalRequest request;
  request.command = "yes | head -c 4000000; echo END";
  request.workingDirectory = "/";
  auto terminal = terminals.spawn(request);
  ASSERT_TRUE(terminal.has_value());
  std::mutex mutex;
  std::condition_variable changed;
  bool isStalled = true;
  int pieces = 0;
  std::string tail;
  std::promise<void> first;
  queue.sync([&] {
    (*terminal)->start(queue, {.output =
                                   [&](const SharedBytes& bytes) {
                                     std::unique_lock lock(mutex);
                                     if (++pieces == 1) first.set_value();
                                     changed.wait(lock, [&] { return !isStalled; });
                                     tail += textOf(*bytes);
                                     tail.erase(0, tail.size() - std::min<std::size_t>(tail.size(), 100));
                                     changed.notify_all();
                                   },
                               .endOfOutput = [] {},
                               .exited = [](ProcessExit) {}});
  });
  first.get_future().wait();
  // Four pieces and the kernel's buffer of the terminal; the rest is still in the child.
  const auto isBlocked = [&] {
    std::ifstream file("/proc/" + std::to_string((*terminal)->pid()) + "/stat");
    std::string line;
    std::getline(file, line);
    return line.find(") S") != std::string::npos;
  };
  EXPECT_TRUE(eventually(isBlocked));
  {
    std::lock_guard lock(mutex);
    EXPECT_EQ(pieces, 1);
    isStalled = false;
    changed.notify_all();
  }
  std::unique_lock lock(mutex);
  EXPECT_TRUE(changed.wait_for(lock, 20s, [&] { return tail.find("END") != std::string::npos; }));
  lock.unlock();
  queue.sync([&] { terminal->reset(); });
}

TEST_F(PseudoTerminalTest, reportsAChildThatClosesItsTerminalAndThenItsExit) {
  TerminalWatcher child(pool, terminals, "echo up; exec </dev/null >/dev/null 2>&1; sleep 0.3; exit 5", {},
                        "/");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(WEXITSTATUS(*child.exitStatus()), 5);
  EXPECT_TRUE(child.waitForText("up"));
}

TEST_F(PseudoTerminalTest, reportsTheEndThoughAGrandchildKeepsTheTerminalOpen) {
  TerminalWatcher child(pool, terminals, "(trap '' HUP; exec sleep 5) & echo started; exit 3");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(WEXITSTATUS(*child.exitStatus()), 3);
  EXPECT_NE(child.output().find("started"), std::string::npos);
}

TEST_F(PseudoTerminalTest, reportsTheEndThoughAGrandchildKeepsFlooding) {
  TerminalWatcher child(pool, terminals, "trap '' HUP; yes flood & sleep 0.1; exit 3");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(WEXITSTATUS(*child.exitStatus()), 3);
}

TEST_F(PseudoTerminalTest, killsAChildThatIgnoresTheGentleSignal) {
  TerminalWatcher child(pool, terminals, "trap '' TERM; echo ready; while :; do sleep 1; done");
  ASSERT_TRUE(child.waitForText("ready"));
  child.terminal().sendTerminate();
  child.terminal().sendKill();
  ASSERT_TRUE(child.waitForExit());
  ASSERT_TRUE(WIFSIGNALED(*child.exitStatus()));
  EXPECT_EQ(WTERMSIG(*child.exitStatus()), SIGKILL);
}

TEST_F(PseudoTerminalTest, sendsNoSignalToANumberThatIsNoLongerItsChild) {
  TerminalWatcher child(pool, terminals, "true");
  ASSERT_TRUE(child.waitForExit());
  EXPECT_EQ(::kill(child.terminal().pid(), 0), -1);
  child.terminal().sendKill();
  child.terminal().write(viewOf("late"));
  child.terminal().resize(1, 1);
  EXPECT_EQ(unreapedChildren(), 0U);
}

TEST_F(PseudoTerminalTest, killsAndReapsTheChildOfATerminalThatIsDropped) {
  TerminalWatcher child(pool, terminals, "trap '' HUP TERM; echo ready; while :; do sleep 1; done");
  ASSERT_TRUE(child.waitForText("ready"));
  const pid_t pid = child.terminal().pid();
  child.drop();
  EXPECT_TRUE(eventually([&] { return ::kill(pid, 0) == -1; }));
}

TEST_F(PseudoTerminalTest, killsTheChildOfATerminalThatWasNeverStarted) {
  PseudoTerminalRequest request;
  request.command = "sleep 100";
  request.workingDirectory = "/";
  auto terminal = terminals.spawn(request);
  ASSERT_TRUE(terminal.has_value());
  const pid_t pid = (*terminal)->pid();
  terminal->reset();
  EXPECT_TRUE(eventually([&] { return ::kill(pid, 0) == -1; }));
}

TEST(PseudoTerminals, reapTheirChildrenBeforeTheyEnd) {
  PoolScheduler pool;
  std::vector<pid_t> pids;
  const std::size_t before = openDescriptors();
  {
    PosixPseudoTerminals terminals;
    std::vector<std::unique_ptr<TerminalWatcher>> children;
    for (int i = 0; i < 20; ++i) {
      children.push_back(std::make_unique<TerminalWatcher>(pool, terminals, "sleep 100"));
      pids.push_back(children.back()->terminal().pid());
    }
  }
  for (const pid_t pid : pids) EXPECT_EQ(::kill(pid, 0), -1);
  EXPECT_EQ(unreapedChildren(), 0U);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(PseudoTerminals, leaveNoZombieAndNoDescriptorAfterAThousandSpawnsAndKills) {
  PoolScheduler pool;
  PosixPseudoTerminals terminals("/bin/sh");
  const std::size_t before = openDescriptors();
  for (int round = 0; round < 1000; ++round) {
    TerminalWatcher child(pool, terminals, "sleep 100");
    child.terminal().sendKill();
    if (round % 2 == 0) {
      ASSERT_TRUE(child.waitForExit()) << round;
    }
  }
  EXPECT_TRUE(eventually([] { return unreapedChildren() == 0; }));
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace quorl
