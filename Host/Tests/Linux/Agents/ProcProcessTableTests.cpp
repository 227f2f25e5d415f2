// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/ProcProcessTable.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Linux/Agents/TerminalChild.h>
#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>
#include <QuorlHostLinux/Agents/ProcText.h>
#include <QuorlKit/Foundation/UTF8.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

namespace quorl {
namespace {

using test::eventually;
using test::TemporaryFolder;
using test::TerminalChild;
using testing::IsEmpty;

std::optional<ProcessRow> rowOf(const std::vector<ProcessRow>& rows, std::int32_t pid) {
  const auto row = std::ranges::find(rows, pid, &ProcessRow::pid);
  if (row == rows.end()) return std::nullopt;
  return *row;
}

/// The child's row once it runs the program of that name. The kernel shows the new program before its
/// arguments.
std::optional<ProcessRow> rowWhenRunning(ProcProcessTable& table, std::int32_t pid, const std::string& name) {
  std::optional<ProcessRow> row;
  eventually([&] {
    row = rowOf(table.processes(), pid);
    return row && row->executablePath.ends_with(name) && !row->command.starts_with('[');
  });
  return row;
}

TEST(ProcText, readsAStatWhoseNameContainsParenthesesAndBlanks) {
  const auto stat = ProcText::parseStat("42 (a) R 1) b) S 1 42 42 34819 42 4194304 0 0");
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->name, "a) R 1) b");
  EXPECT_EQ(stat->state, 'S');
  EXPECT_EQ(stat->parent, 1);
  EXPECT_EQ(stat->terminal, 34819U);
  EXPECT_EQ(ProcText::terminalName(stat->terminal), "pts/3");
}

TEST(ProcText, refusesOtherTexts) {
  for (const char* text : {"", "42", "42 (a", "42 )a(", "42 (a) S 1 2", "42 (a) S 1 2 3 x 5",
                           "42 (a) S x 2 3 4 5", "42 (a) SS 1 2 3 0"})
    EXPECT_FALSE(ProcText::parseStat(text)) << text;
}

TEST(ProcText, namesTerminalsByTheirNumbers) {
  EXPECT_EQ(ProcText::terminalName(136U << 8), "pts/0");
  EXPECT_EQ(ProcText::terminalName((137U << 8) | 1), "pts/257");
  EXPECT_EQ(ProcText::terminalName((136U << 8) | 0x00100001), "pts/257") << "the kernel's wide minor numbers";
  EXPECT_EQ(ProcText::terminalName((4U << 8) | 1), "tty1");
  EXPECT_EQ(ProcText::terminalName((4U << 8) | 64), "ttyS0");
  EXPECT_EQ(ProcText::terminalName(204U << 8), std::nullopt);
}

TEST(ProcText, makesOneLineOfTheArguments) {
  using namespace std::string_view_literals;
  EXPECT_EQ(ProcText::commandLine("claude\0--resume\0a b\0\0"sv), "claude --resume a b");
  EXPECT_EQ(ProcText::commandLine("a\nb\x1b[1m\xff"sv), "a?b?[1m\xef\xbf\xbd");
  EXPECT_EQ(ProcText::commandLine(""), "");
  EXPECT_EQ(ProcText::linkTarget("/usr/bin/x (deleted)"), "/usr/bin/x");
}

TEST(ProcProcessTable, showsARealChildOnARealTerminal) {
  ProcProcessTable table;
  TemporaryFolder folder;
  TerminalChild child({"/bin/sleep", "1000"}, folder.path());
  const auto row = rowWhenRunning(table, child.pid(), "/sleep");
  ASSERT_TRUE(row);
  EXPECT_EQ("/dev/" + row->tty, child.tty());
  EXPECT_EQ(row->command, "/bin/sleep 1000");
  EXPECT_EQ(row->executablePath, std::filesystem::canonical("/bin/sleep"));
  EXPECT_EQ(row->name, "sleep");
  EXPECT_EQ(table.workingDirectories({child.pid(), 0, -1, 1 << 30}),
            (std::map<std::int32_t, std::string>{{child.pid(), folder.path()}}));
}

// Mounts need the right to make them.
bool mayMount() {
  return std::system("unshare --mount true 2>/dev/null") == 0;
}

TEST(ProcProcessTable, tellsATerminalOfAContainerFromTheOneOfTheSameNumberHere) {
  if (!mayMount()) GTEST_SKIP() << "needs the right to mount";
  ProcProcessTable table;
  TerminalChild container({"/usr/bin/unshare", "--mount", "/bin/sh", "-c",
                           "mount -t devpts -o newinstance,ptmxmode=0666 devpts /dev/pts && "
                           "mount --bind /dev/pts/ptmx /dev/ptmx && "
                           "exec script --quiet --command 'sleep 76543' /dev/null"});
  std::optional<ProcessRow> row;
  ASSERT_TRUE(eventually([&] {
    for (auto& each : table.processes())
      if (each.command == "sleep 76543") row = std::move(each);
    return row.has_value();
  }));
  EXPECT_EQ(row->tty, "elsewhere/pts/0");
}

TEST(ProcProcessTable, knowsATerminalOfThisSystemInASandboxWithMountsOfItsOwn) {
  if (!mayMount()) GTEST_SKIP() << "needs the right to mount";
  ProcProcessTable table;
  TerminalChild sandbox({"/usr/bin/unshare", "--mount", "/bin/sleep", "1000"});
  const auto row = rowWhenRunning(table, sandbox.pid(), "/sleep");
  ASSERT_TRUE(row);
  EXPECT_EQ("/dev/" + row->tty, sandbox.tty());
}

TEST(ProcProcessTable, listsTheChildrenOnTerminalsByTheirParentsName) {
  ProcProcessTable table;
  EXPECT_THAT(table.childrenOf("Tests"), IsEmpty()) << "it reads nothing itself";
  TerminalChild child({"/bin/sleep", "1000"});
  ASSERT_TRUE(rowWhenRunning(table, child.pid(), "/sleep"));
  // This program's name, as the kernel truncates it.
  EXPECT_THAT(table.childrenOf("LinuxAgentsTest"), testing::Contains(child.pid()));
  EXPECT_THAT(table.childrenOf("sleep"), testing::Not(testing::Contains(child.pid())));
  EXPECT_THAT(table.childrenOf("no such name"), IsEmpty());
}

TEST(ProcProcessTable, listsProcessesByAscendingNumber) {
  const std::vector<ProcessRow> rows = ProcProcessTable().processes();
  EXPECT_TRUE(std::ranges::is_sorted(rows, {}, &ProcessRow::pid));
  EXPECT_TRUE(rowOf(rows, getpid()));
  for (const ProcessRow& row : rows) EXPECT_FALSE(row.tty.empty());
}

TEST(ProcProcessTable, findsAnAgentUnderTheNameOfItsProgramLinkOrScript) {
  ProcProcessTable table;
  TemporaryFolder folder;
  std::filesystem::copy_file("/bin/sleep", folder.file("claude"));
  std::filesystem::create_directory(folder.file("links"));
  std::filesystem::create_symlink("/bin/sleep", folder.file("links/claude"));
  const std::string script = folder.write("scripts/claude", "#!/bin/sh\nsleep 1000\n");
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  TerminalChild program({folder.file("claude"), "1000"});
  TerminalChild link({folder.file("links/claude"), "1000"});
  TerminalChild interpreted({script});
  const ProcessDiscovery discovery(std::make_shared<ProcProcessTable>());
  const auto isFound = [&](const TerminalChild& child) {
    for (const ExternalAgent& agent : discovery.scan({}, {}))
      if (agent.pid == child.pid() && agent.name == "Claude" && agent.tty == child.tty()) return true;
    return false;
  };
  EXPECT_TRUE(eventually([&] { return isFound(program); }));
  EXPECT_TRUE(eventually([&] { return isFound(link); }));
  EXPECT_TRUE(eventually([&] { return isFound(interpreted); }));
  EXPECT_FALSE(discovery.scan({program.tty()}, {link.pid()}).empty());
  for (const ExternalAgent& agent : discovery.scan({program.tty()}, {link.pid()})) {
    EXPECT_NE(agent.pid, program.pid());
    EXPECT_NE(agent.pid, link.pid());
  }
}

TEST(ProcProcessTable, showsNoNameForAProcessThatHasEnded) {
  ProcProcessTable table;
  TerminalChild child({"/bin/true"});
  const pid_t pid = child.pid();
  std::optional<ProcessRow> row;
  EXPECT_TRUE(eventually([&] {
    row = rowOf(table.processes(), pid);
    // Its path and its arguments disappear one after the other.
    return row && row->name.empty() && row->executablePath.empty();
  })) << "ended and not yet reaped";
  child.wait();
  EXPECT_FALSE(rowOf(table.processes(), pid));
}

TEST(ProcProcessTable, sendsSignalsAndReportsWhichProcessesExist) {
  ProcProcessTable table;
  TerminalChild child({"/bin/sleep", "1000"});
  const pid_t pid = child.pid();
  ASSERT_TRUE(rowWhenRunning(table, pid, "/sleep"));
  EXPECT_TRUE(table.exists({pid}));
  table.send(ProcessSignal::terminate, {pid});
  const int status = child.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_FALSE(table.exists({pid}));
  EXPECT_TRUE(table.exists({1})) << "also a process that may not be signalled";
  EXPECT_FALSE(table.exists({0}));
  EXPECT_FALSE(table.exists({-1}));
}

TEST(ProcProcessTable, signalsNoLaterProcessOfTheSameNumber) {
  ProcProcessTable table;
  TerminalChild child({"/bin/sleep", "1000"});
  const pid_t pid = child.pid();
  const auto row = rowWhenRunning(table, pid, "/sleep");
  ASSERT_TRUE(row);
  ASSERT_NE(row->startTime, 0U);
  const ProcessIdentity same{.pid = pid, .startTime = row->startTime};
  const ProcessIdentity earlier{.pid = pid, .startTime = row->startTime - 1};
  EXPECT_TRUE(table.exists(same));
  EXPECT_FALSE(table.exists(earlier));
  table.send(ProcessSignal::terminate, earlier);
  // The two signals differ, so the status shows which one arrived.
  table.send(ProcessSignal::interrupt, same);
  const int status = child.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
}

TEST(ProcProcessTable, survivesProcessesThatComeAndGo) {
  std::atomic<bool> isDone{false};
  std::jthread spawner([&] {
    while (!isDone) {
      const pid_t pid = fork();
      if (pid == 0) _exit(0);
      int status = 0;
      if (pid > 0) waitpid(pid, &status, 0);
    }
  });
  ProcProcessTable table;
  for (int i = 0; i < 200; ++i) {
    const std::vector<ProcessRow> rows = table.processes();
    ASSERT_TRUE(rowOf(rows, getpid()));
    for (const ProcessRow& row : rows) ASSERT_TRUE(isValidUTF8(row.command));
  }
  isDone = true;
}

TEST(ProcProcessTable, skipsIncompleteFolders) {
  TemporaryFolder proc;
  proc.write("10/stat", "10 (ok) S 1 1 1 34816 1");
  proc.write("10/cmdline", std::string("codex\0x\0", 8));
  proc.write("11/cmdline", "no stat");
  proc.write("12/stat", "nonsense");
  proc.write("13/stat", "13 (no cmdline) S 1 1 1 34816 1");
  proc.write("14/stat", "14 (long) S 1 1 1 34816 1");
  proc.write("14/cmdline", std::string(300'000, 'a'));
  proc.write("abc/stat", "1 (a) S 1 1 1 0 1");
  proc.write("99999999999/stat", "1 (a) S 1 1 1 0 1");
  proc.write("15", "a file");
  const std::vector<ProcessRow> rows = ProcProcessTable(proc.path()).processes();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].command, "codex x");
  EXPECT_EQ(rows[1].command, "[no cmdline]");
  EXPECT_EQ(rows[2].command.size(), 65'536U);
  EXPECT_THAT(ProcProcessTable(proc.file("none")).processes(), IsEmpty());
  EXPECT_THAT(ProcProcessTable(proc.file("none")).workingDirectories({1}), IsEmpty());
}

}  // namespace
}  // namespace quorl
