// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <csignal>
#include <cstring>
#include <fstream>

#include <Support/Eventually.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "AgentWorld.h"
#include "CuttableRelay.h"

namespace quorl::client::test {
namespace {

using quorl::test::eventually;

constexpr std::string_view detachKey = "\x1d";

class Attach : public ::testing::Test {
 protected:
  void SetUp() override {
    world.startHost();
    if (HasFatalFailure()) GTEST_SKIP() << "no host";
  }
  // An attached session with its first output.
  std::string spawnReady(const std::string& command) {
    const auto id = world.spawn({"--name", "agent", "--", command});
    EXPECT_TRUE(eventually([&] {
      const auto list = world.run({"agents", "--json"}).output;
      return list.find("\"preview\":") != std::string::npos;
    }));
    return id;
  }
  static bool sameModes(const termios& a, const termios& b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag &&
           a.c_lflag == b.c_lflag && std::memcmp(a.c_cc, b.c_cc, sizeof a.c_cc) == 0;
  }
  static termios ordinaryModes() { return TerminalProgram({"true"}, {}).modes(); }

  AgentWorld world;
};

// Counts its input lines.
const std::string counter = "echo ready; n=0; while read -r x; do n=$((n+1)); echo \"line $n:$x.\"; done";

TEST_F(Attach, showsEarlierOutputPassesKeysAndDetaches) {
  const auto id = spawnReady("echo first words; exec cat");
  const auto terminal = world.onTerminal({"attach", id.substr(0, 8)});
  ASSERT_TRUE(terminal->shows("first words\r\n")) << terminal->screen();
  EXPECT_TRUE(terminal->isRaw());
  terminal->type("abc");
  EXPECT_TRUE(terminal->shows("abc")) << "the echo of the agent's terminal";
  terminal->type(detachKey);
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_TRUE(terminal->shows("[quorl: detached from agent, which is still running]"));
  EXPECT_TRUE(sameModes(terminal->modes(), ordinaryModes()));
  EXPECT_NE(world.run({"agents", "--json"}).output.find("\"status\":\"running\""), std::string::npos);
}

TEST_F(Attach, restoresTheTerminalHoweverItEnds) {
  const auto id = spawnReady("printf '\\033[?1049h\\033[?25lfull screen'; exec cat");
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGSEGV, SIGABRT, SIGQUIT}) {
    const auto terminal = world.onTerminal({"attach", id});
    ASSERT_TRUE(eventually([&] { return terminal->isRaw(); }));
    ASSERT_TRUE(terminal->shows("attached to agent"));
    terminal->signal(signal);
    const bool isCrash = signal == SIGSEGV || signal == SIGABRT || signal == SIGQUIT;
    EXPECT_EQ(terminal->waitForExit(), isCrash ? 128 + signal : 130) << signal;
    EXPECT_TRUE(sameModes(terminal->modes(), ordinaryModes())) << signal;
  }
}

TEST_F(Attach, undoesTheModesOfAFullScreenProgramAndOnlyThose) {
  const auto id = spawnReady("echo ready; read x; printf '\\033[?1049h\\033[?25l\\033[?2004hfull'; exec cat");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("\r");
  ASSERT_TRUE(terminal->shows("full"));
  terminal->type(detachKey);
  EXPECT_EQ(terminal->waitForExit(), 0);
  const auto end = terminal->screen().find("full");
  EXPECT_NE(terminal->screen().find("\x1b[?1049l\x1b[?25h\x1b[?2004l\x1b[0m", end), std::string::npos)
      << terminal->screen();
}

TEST_F(Attach, sendsTheAgentItsSizeAndEveryChange) {
  const auto id = spawnReady("echo ready; while read x; do stty size; done");
  const auto terminal = world.onTerminal({"attach", id}, "ada", 91, 37);
  ASSERT_TRUE(terminal->shows("ready"));
  EXPECT_TRUE(eventually([&] {
    terminal->type("\r");
    return terminal->screen().find("37 91") != std::string::npos;
  })) << terminal->screen();
  for (int step = 0; step <= 40; ++step) terminal->resize(92 + step, 40);
  EXPECT_TRUE(eventually([&] {
    terminal->type("\r");
    return terminal->screen().find("40 132") != std::string::npos;
  })) << terminal->screen();
}

TEST_F(Attach, passesAPasteAsItIs) {
  const auto id = spawnReady("stty raw -echo; printf ready; exec cat -v");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("\x1b[200~one\x1d\ttwo\r\x1b[201~.");
  EXPECT_TRUE(terminal->shows("^[[200~one^]\ttwo^M^[[201~.")) << terminal->screen();
}

TEST_F(Attach, losesNothingOfALargePasteThatIsReadLate) {
  const auto fifo = (world.folder() / "go").string();
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::string paste;
  for (int line = 0; paste.size() < 5'000'000; ++line) paste += fmt::format("line {} of the paste\r", line);
  const auto id = spawnReady(
      fmt::format("stty raw -echo; printf ready; cat '{}'; head -c {} | cksum", fifo, paste.size()));
  world.write("paste", paste);
  const auto expected =
      quorl::test::outputOf({"sh", "-c", fmt::format("cksum < '{}'", (world.folder() / "paste").string())});
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type(paste);
  std::ofstream(fifo) << "go";
  EXPECT_TRUE(terminal->shows(expected.substr(0, expected.size() - 1)))
      << terminal->screen() << "expected: " << expected;
}

TEST_F(Attach, detachesByTheChosenKey) {
  const auto id = spawnReady("stty raw -echo; printf ready; exec cat -v");
  const auto terminal = world.onTerminal({"attach", id, "--detach-key", "ctrl-a d"});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("\x1d\x01x");
  EXPECT_TRUE(terminal->shows("^]^Ax"));
  terminal->type(
      "\x01"
      "d");
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_EQ(world.run({"attach", id, "--detach-key", "esc"}).status, 2);
}

TEST_F(Attach, endsWithTheAgent) {
  const auto id = spawnReady("echo ready; read x; echo last words; exit 3");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("\r");
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_TRUE(terminal->shows("last words\r\n"));
  EXPECT_TRUE(terminal->shows("[quorl: agent has ended]"));
  EXPECT_TRUE(sameModes(terminal->modes(), ordinaryModes()));
  // Its last screen can still be viewed.
  const auto again = world.onTerminal({"attach", id});
  EXPECT_EQ(again->waitForExit(), 0);
  EXPECT_TRUE(again->shows("last words\r\n"));
}

TEST_F(Attach, endsWhenItsOutputIsClosed) {
  const auto id = spawnReady("echo ready; exec cat");
  TerminalProgram terminal(
      {"bash", "-c", "set -o pipefail; '" + clientProgram() + "' attach " + id + " | head -c1"},
      world.clientEnvironment("ada"));
  ASSERT_TRUE(eventually([&] { return terminal.isRaw(); }));
  EXPECT_TRUE(eventually([&] {
    terminal.type("x");
    return terminal.waitForExit(std::chrono::milliseconds(10)).has_value();
  }));
  EXPECT_EQ(terminal.waitForExit(), 130);
  EXPECT_TRUE(sameModes(terminal.modes(), ordinaryModes()));
}

TEST_F(Attach, restoresTheTerminalWhileStopped) {
  const auto id = spawnReady("echo ready; exec cat");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->signal(SIGTSTP);
  EXPECT_TRUE(eventually([&] { return !terminal->isRaw(); }));
  terminal->signal(SIGCONT);
  EXPECT_TRUE(eventually([&] { return terminal->isRaw(); }));
  terminal->type("still here");
  EXPECT_TRUE(terminal->shows("still here"));
}

class AttachOverABadNetwork : public Attach {
 protected:
  void SetUp() override {
    Attach::SetUp();
    relay.emplace(world.hostPort());
    world.pair("bob", relay->port());
  }

  // Attached to a program that prints at its first Return until "done", all of it while the connection is
  // cut.
  std::unique_ptr<TerminalProgram> attachedThroughABreak(const std::string& id) {
    auto terminal = world.onTerminal({"attach", id}, "bob");
    EXPECT_TRUE(terminal->shows("ready"));
    relay->cut();
    EXPECT_TRUE(terminal->shows("trying again"));
    const auto watcher = world.onTerminal({"attach", id});
    watcher->type("\r");
    EXPECT_TRUE(watcher->shows("done\r\n"));
    relay->mend();
    EXPECT_TRUE(terminal->shows("done\r\n"));
    return terminal;
  }

  std::optional<CuttableRelay> relay;
};

TEST_F(AttachOverABadNetwork, continuesWithoutLossOrRepetition) {
  const auto id = spawnReady(counter);
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("ready"));
  int line = 0;
  for (int round = 0; round < 3; ++round) {
    terminal->type("before\r");
    ASSERT_TRUE(terminal->shows(fmt::format("line {}:before.\r\n", ++line))) << terminal->screen();
    const auto noticesFrom = terminal->screen().size();
    relay->cut();
    ASSERT_TRUE(terminal->shows("trying again; Ctrl-] detaches]", noticesFrom)) << terminal->screen();
    // The agent continues meanwhile, and typed keys wait.
    ASSERT_EQ(world.run({"prompt", id, "elsewhere"}).status, 0);
    ++line;
    terminal->type("while away\r");
    relay->mend();
    ASSERT_TRUE(terminal->shows(fmt::format("line {}:while away.\r\n", ++line))) << terminal->screen();
  }
  for (int number = 1; number <= line; ++number)
    EXPECT_EQ(terminal->count(fmt::format("line {}:", number)), 1U) << number << "\n" << terminal->screen();
  EXPECT_EQ(terminal->count("ready"), 1U);
  EXPECT_EQ(terminal->count("elsewhere.\r\n"), 3U);
}

TEST_F(AttachOverABadNetwork, catchesUpWithALotOfOutput) {
  const auto id = spawnReady("echo ready; read x; seq 100001 130000; echo done; exec cat");
  const auto terminal = attachedThroughABreak(id);
  std::string lines;
  for (int number = 100'001; number <= 130'000; ++number) lines += fmt::format("{}\r\n", number);
  EXPECT_EQ(terminal->count(lines), 1U);
  EXPECT_EQ(terminal->count("100001\r\n"), 1U);
  EXPECT_EQ(terminal->count("130000\r\n"), 1U);
}

TEST_F(AttachOverABadNetwork, clearsTheTerminalIfMoreWasPrintedThanIsKept) {
  const auto id = spawnReady("echo ready; read x; seq 100001 200000; echo done; exec cat");
  const auto terminal = attachedThroughABreak(id);
  EXPECT_TRUE(terminal->shows("\x1b[H\x1b[2J"));
  EXPECT_EQ(terminal->count("200000\r\n"), 1U);
  EXPECT_EQ(terminal->count("100001\r\n"), 0U);
}

TEST_F(AttachOverABadNetwork, noticesANetworkThatDropsEverything) {
  const auto id = spawnReady(counter);
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("ready"));
  relay->swallowInput(true);
  ASSERT_TRUE(terminal->shows("[quorl: the host is silent - trying again")) << terminal->screen();
  relay->swallowInput(false);
  terminal->type("back again\r");
  EXPECT_TRUE(terminal->shows("line 1:back again.\r\n")) << terminal->screen();
}

TEST_F(AttachOverABadNetwork, canDetachWhileTheHostIsAway) {
  const auto id = spawnReady("echo ready; exec cat");
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("ready"));
  relay->cut();
  ASSERT_TRUE(terminal->shows("trying again"));
  terminal->type(detachKey);
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_TRUE(sameModes(terminal->modes(), ordinaryModes()));
}

TEST_F(Attach, endsIfTheHostNoLongerHasTheAgent) {
  const auto id = spawnReady("echo ready; exec cat");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  world.host().program().signal(SIGKILL);
  world.host().program().waitForExit();
  ASSERT_TRUE(terminal->shows("trying again"));
  world.startHost();
  EXPECT_EQ(terminal->waitForExit(), 1);
  EXPECT_TRUE(terminal->shows("the host no longer has agent"));
  EXPECT_TRUE(sameModes(terminal->modes(), ordinaryModes()));
}

}  // namespace
}  // namespace quorl::client::test
