// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QuorlHostPosix/MainLoop.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

TEST(MainLoop, runsPostedWorkInOrderOnItsOwnThread) {
  const TerminationSignals signals;
  MainLoop loop;
  const auto main = std::this_thread::get_id();
  std::vector<int> order;
  loop.post([&] { order.push_back(0); });
  std::thread poster([&] {
    for (int index = 1; index <= 1000; ++index)
      loop.post([&, index] {
        EXPECT_EQ(std::this_thread::get_id(), main);
        order.push_back(index);
        if (index == 1000) loop.quit();
      });
  });
  loop.run(signals);
  poster.join();
  ASSERT_EQ(order.size(), 1001U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(MainLoop, endsOnEitherSignalAndDropsWhatIsPostedLater) {
  for (const int signal : {SIGTERM, SIGINT}) {
    const TerminationSignals signals;
    MainLoop loop;
    loop.post([signal] { ::raise(signal); });
    loop.run(signals);
    bool ran = false;
    loop.post([&ran, guard = std::make_shared<int>(1)] { ran = true; });
    loop.run(signals);
    EXPECT_FALSE(ran);
  }
}

TEST(TerminationSignals, restoreTheDefaultActions) {
  const pid_t child = ::fork();
  if (child == 0) {
    {
      const TerminationSignals signals;
    }
    ::raise(SIGTERM);
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST(BrokenPipes, areErrorsHereAndSignalsAgainInAChildProgram) {
  const pid_t child = ::fork();
  if (child == 0) {
    turnBrokenPipesIntoErrors();
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(1);
    ::close(ends[0]);
    if (::write(ends[1], "x", 1) != -1 || errno != EPIPE) ::_exit(2);
    ::execl("/bin/sh", "sh", "-c", "kill -PIPE $$; exit 3", nullptr);
    ::_exit(4);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status)) << WEXITSTATUS(status);
  EXPECT_EQ(WTERMSIG(status), SIGPIPE);
}

}  // namespace
}  // namespace quorl::test
