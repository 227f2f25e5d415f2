// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PosixToolRunner.h>

#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <QuorlHostPosix/BoundedTool.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

ToolResult shell(const std::string& script, std::chrono::milliseconds limit = 30s) {
  return runBoundedTool({"/bin/sh", "-c", script}, limit);
}

/// Runs a script that takes too long but prints something first. A busy machine may need more time for that.
ToolResult shellThatTakesTooLong(const std::string& script) {
  ToolResult result;
  for (const std::chrono::milliseconds limit : {300ms, 3000ms, 20'000ms}) {
    result = shell(script, limit);
    if (!result.output.empty()) break;
  }
  return result;
}

bool isRunning(const std::string& pid) {
  return kill(std::stoi(pid), 0) == 0;
}

TEST(BoundedTool, collectsBothStreamsAndTheStatus) {
  const ToolResult result = shell("echo out; echo err >&2; exit 3");
  EXPECT_EQ(result.end, ToolEnd::exited);
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "out\n");
  EXPECT_EQ(result.error, "err\n");
}

TEST(BoundedTool, endsAToolThatTakesTooLongAndKeepsItsOutput) {
  const ToolResult result = shellThatTakesTooLong("echo out; exec sleep 1000");
  EXPECT_EQ(result.end, ToolEnd::timedOut);
  EXPECT_EQ(result.exitStatus, -1);
  EXPECT_EQ(result.output, "out\n");
}

TEST(BoundedTool, letsAToolThatTakesTooLongEndInOrder) {
  const ToolResult result =
      shellThatTakesTooLong("trap 'echo ended; exit' TERM; while :; do sleep 0.05; done");
  EXPECT_EQ(result.end, ToolEnd::timedOut);
  EXPECT_EQ(result.output, "ended\n");
}

TEST(BoundedTool, killsAToolThatIgnoresTheRequestToEnd) {
  const ToolResult result = shellThatTakesTooLong("trap '' TERM; echo $$; while :; do sleep 1; done");
  EXPECT_EQ(result.end, ToolEnd::timedOut);
  EXPECT_FALSE(isRunning(result.output));
}

TEST(BoundedTool, endsTheChildrenOfAToolThatTakesTooLong) {
  const ToolResult result = shellThatTakesTooLong("sleep 1000 & echo $!; wait");
  EXPECT_EQ(result.end, ToolEnd::timedOut);
  // A process that init has not reaped yet still has its number.
  EXPECT_TRUE(eventually([&] { return !isRunning(result.output); }, 30s));
}

TEST(BoundedTool, doesNotWaitForAChildThatKeepsTheStreamsOpen) {
  const ToolResult result = shell("sleep 1000 & echo $!", 30s);
  EXPECT_EQ(result.end, ToolEnd::exited);
  EXPECT_EQ(result.exitStatus, 0);
  ASSERT_NE(result.output, "");
  EXPECT_TRUE(isRunning(result.output));
  kill(std::stoi(result.output), SIGKILL);
}

TEST(BoundedTool, waitsForAToolThatHasClosedItsStreams) {
  const ToolResult result = shell("exec >&- 2>&-; sleep 0.2; exit 7");
  EXPECT_EQ(result.end, ToolEnd::exited);
  EXPECT_EQ(result.exitStatus, 7);
}

TEST(BoundedTool, reportsNoStatusAfterASignal) {
  const ToolResult result = shell("kill -9 $$");
  EXPECT_EQ(result.end, ToolEnd::exited);
  EXPECT_EQ(result.exitStatus, -1);
}

TEST(BoundedTool, reportsWhyNothingWasStarted) {
  const ToolResult result = runBoundedTool({"/no/such/tool"}, 1s);
  EXPECT_EQ(result.end, ToolEnd::notStarted);
  EXPECT_EQ(result.error, "No such file or directory");
}

TEST(BoundedTool, passesNoDescriptorAndBoundsTheOutput) {
  EXPECT_EQ(shell("ls /proc/self/fd | wc -l").output, "4\n") << "three streams and the folder that ls reads";
  const ToolResult flood = runBoundedTool({"/usr/bin/head", "-c", "20000000", "/dev/zero"}, 30s);
  EXPECT_EQ(flood.end, ToolEnd::exited);
  EXPECT_EQ(flood.output.size(), maxToolOutput);
}

TEST(BoundedTool, endsAToolThatFloodsForEver) {
  const ToolResult flood = runBoundedTool({"/bin/cat", "/dev/zero"}, 300ms);
  EXPECT_EQ(flood.end, ToolEnd::timedOut);
  EXPECT_LE(flood.output.size(), maxToolOutput);
}

TEST(PosixToolRunner, runsATool) {
  PosixToolRunner runner("");
  EXPECT_EQ(runner.run({"/bin/echo", "a b"}, 30s).output, "a b\n");
}

TEST(PosixToolRunner, findsTheFirstExecutableFileInThePath) {
  const TemporaryFolder folder;
  const auto addTool = [&](const std::string& name, bool isExecutable) {
    const std::string path = folder.write(name, "#!/bin/sh\n");
    std::filesystem::permissions(
        path, isExecutable ? std::filesystem::perms::owner_all : std::filesystem::perms::owner_read);
    return path;
  };
  addTool("a/tool", false);
  std::filesystem::create_directories(folder / "b/tool");
  const std::string third = addTool("c/tool", true);
  addTool("d/tool", true);
  const std::string root = folder.path().string();
  PosixToolRunner runner(":relative::/no/such:" + root + "/a:" + root + "/b:" + root + "/c:" + root + "/d");
  EXPECT_EQ(runner.findInPath("tool"), third);
  EXPECT_EQ(runner.findInPath("other"), std::nullopt);
}

TEST(PosixToolRunner, distinguishesExecutableFilesFromOthers) {
  PosixToolRunner runner("");
  EXPECT_TRUE(runner.isExecutable("/bin/sh"));
  EXPECT_FALSE(runner.isExecutable("/etc/passwd"));
  EXPECT_FALSE(runner.isExecutable("/tmp"));
  EXPECT_FALSE(runner.isExecutable("/no/such/tool"));
  EXPECT_TRUE(runner.exists("/etc/passwd"));
  EXPECT_TRUE(runner.exists("/tmp"));
  EXPECT_FALSE(runner.exists("/no/such/tool"));
}

}  // namespace
}  // namespace quorl::test
