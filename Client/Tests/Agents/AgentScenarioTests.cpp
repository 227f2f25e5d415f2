// SPDX-License-Identifier: GPL-3.0-or-later
// Scenarios with agents and real programs only.
#include <algorithm>
#include <csignal>
#include <fstream>

#include <Linux/System/ChildProgram.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AgentWorld.h"
#include "TerminalEmulator.h"

namespace quorl::client::test {
namespace {

using namespace std::chrono_literals;
using quorl::test::eventually;
using quorl::test::hasProgram;
using quorl::test::outputOf;
using testing::HasSubstr;
using testing::Not;

// Behaves like a coding agent: works, asks and waits, rings, and uses the full screen.
const std::string codingAgent = R"sh(#!/bin/bash
echo "agent ready with arguments: $*"
while IFS= read -r order; do
  case "$order" in
    work) for step in 1 2 3; do echo "working on step $step"; sleep 0.2; done; echo "work done" ;;
    ask) echo "Do you want to proceed (the usual way)"; IFS= read -r answer; echo "you said <$answer>" ;;
    bell) printf 'look here\a\n' ;;
    full) printf '\033[?1049h\033[HFULL SCREEN'; IFS= read -r key; printf '\033[?1049l'; echo "back again" ;;
    size) stty size ;;
    *) echo "heard <$order>" ;;
  esac
done
)sh";

TEST(AgentEvening, spawnsWatchesPromptsResizesAndKillsAnAgent) {
  AgentWorld world;
  world.addProgram("coder", codingAgent);
  world.startHost();
  ASSERT_FALSE(HasFatalFailure());
  world.pair("bob", world.hostPort());
  const auto attention = world.onTerminal({"notify"});
  ASSERT_TRUE(attention->shows("Watching the agents"));
  const auto id = world.spawn({"--name", "coder", "--cwd", "/tmp", "coder --fast"});
  const auto ada = world.onTerminal({"attach", "coder"}, "ada", 100, 30);
  ASSERT_TRUE(ada->shows("agent ready with arguments: --fast\r\n")) << ada->screen();
  const auto bob = world.onTerminal({"attach", id}, "bob", 100, 30);
  ASSERT_TRUE(bob->shows("agent ready with arguments: --fast\r\n")) << bob->screen();

  ada->type("good evening\r");
  EXPECT_TRUE(ada->shows("heard <good evening>"));
  EXPECT_TRUE(bob->shows("heard <good evening>"));
  EXPECT_EQ(world.run({"prompt", "coder", "from the shell"}, "bob").status, 0);
  EXPECT_TRUE(ada->shows("heard <from the shell>"));
  EXPECT_TRUE(bob->shows("heard <from the shell>"));
  EXPECT_EQ(world.run({"prompt", "coder", "work"}).status, 0);
  EXPECT_TRUE(ada->shows("work done"));

  EXPECT_EQ(world.run({"prompt", "coder", "ask"}).status, 0);
  ASSERT_TRUE(attention->shows("coder: Do you want to proceed (the usual way)")) << attention->screen();
  EXPECT_TRUE(eventually(
      [&] { return world.run({"agents"}).output.find("waiting  spawned  coder") != std::string::npos; }));
  EXPECT_FALSE(eventually([&] { return attention->count("coder:") > 1; }, 4s)) << attention->screen();
  bob->type("yes\r");
  EXPECT_TRUE(ada->shows("you said <yes>"));

  ada->resize(91, 33);
  EXPECT_TRUE(eventually([&] {
    ada->type("size\r");
    return bob->screen().find("33 91\r\n") != std::string::npos;
  })) << bob->screen();

  ada->type("full\r");
  EXPECT_TRUE(ada->shows("\x1b[?1049h\x1b[HFULL SCREEN"));
  bob->type("\r");
  EXPECT_TRUE(ada->shows("\x1b[?1049lback again"));

  EXPECT_EQ(world.run({"kill", "coder"}, "bob").status, 0);
  EXPECT_EQ(ada->waitForExit(), 0);
  EXPECT_EQ(bob->waitForExit(), 0);
  EXPECT_TRUE(attention->shows("coder: finished"));
  EXPECT_THAT(world.run({"agents"}).output, HasSubstr("exited   spawned  coder"));
}

TEST(AgentEvening, reportsABellOnceIfNoTextAsks) {
  AgentWorld world;
  world.addProgram("coder", codingAgent);
  world.startHost();
  ASSERT_FALSE(HasFatalFailure());
  const auto attention = world.onTerminal({"notify"});
  ASSERT_TRUE(attention->shows("Watching the agents"));
  world.spawn({"--name", "coder", "coder"});
  ASSERT_TRUE(
      eventually([&] { return world.run({"agents"}).output.find("agent ready") != std::string::npos; }));
  EXPECT_EQ(world.run({"prompt", "coder", "bell"}).status, 0);
  ASSERT_TRUE(attention->shows("coder: look here")) << attention->screen();
  EXPECT_FALSE(eventually([&] { return attention->count("coder:") > 1; }, 4s));
}

// A private tmux server with one pane.
class TmuxDesk {
 public:
  TmuxDesk(const AgentWorld& world, const std::string& command)
      : environment_{"TMUX_TMPDIR=" + (world.folder() / "tmux").string(), "TERM=xterm-256color",
                     "HOME=" + world.home().string(), "TMUX="} {
    std::filesystem::create_directories(world.folder() / "tmux");
    tmux({"-f", "/dev/null", "new-session", "-d", "-s", "work", "-x", "100", "-y", "30", command});
  }
  TmuxDesk(const TmuxDesk&) = delete;
  TmuxDesk& operator=(const TmuxDesk&) = delete;
  ~TmuxDesk() { tmux({"kill-server"}); }

  std::string tmux(std::vector<std::string> words) const {
    words.insert(words.begin(), {"tmux", "-L", "desk"});
    return outputOf(words, environment_);
  }
  std::string panePID() const {
    auto text = tmux({"list-panes", "-a", "-F", "#{pane_pid}"});
    return text.substr(0, text.find('\n'));
  }

 private:
  std::vector<std::string> environment_;
};

TEST(AgentEvening, findsAdoptsAndPromptsAnExternalAgent) {
  if (!hasProgram("tmux")) GTEST_SKIP() << "tmux is not installed";
  const auto sockets = [](const AgentWorld& world) {
    return "TMUX_TMPDIR=" + (world.folder() / "tmux").string();
  };
  AgentWorld probe;
  AgentWorld world({sockets(probe)});
  world.addProgram("claude", codingAgent);
  const TmuxDesk desk(probe, "exec '" + (world.folder() / "bin" / "claude").string() + "' --by-hand");
  const auto pid = desk.panePID();
  world.startHost();
  ASSERT_FALSE(HasFatalFailure());
  ASSERT_TRUE(eventually([&] {
    return world.run({"external"}).output.find("pid " + pid + ", /dev/") != std::string::npos;
  })) << world.run({"external"}).output
      << desk.tmux({"list-panes", "-a"});
  EXPECT_THAT(world.run({"external"}).output, HasSubstr("can be adopted"));

  const auto adopted = world.run({"adopt", pid});
  ASSERT_EQ(adopted.status, 0) << adopted.output;
  const auto id = adopted.output.substr(0, 36);
  EXPECT_THAT(world.run({"external"}).output, Not(HasSubstr("pid " + pid)));
  EXPECT_THAT(world.run({"agents"}).output, HasSubstr("tab      Claude"));

  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("agent ready with arguments: --by-hand")) << terminal->screen();
  EXPECT_EQ(world.run({"prompt", id, "it's \"quoted\" \\ $HOME; ü"}).status, 0);
  EXPECT_TRUE(terminal->shows("heard <it's \"quoted\" \\ $HOME; ü>")) << terminal->screen();
  terminal->type("typed here\r");
  EXPECT_TRUE(terminal->shows("heard <typed here>")) << terminal->screen();
  EXPECT_THAT(desk.tmux({"capture-pane", "-p", "-t", "work"}), HasSubstr("heard <typed here>"));
  terminal->type("\x1d");
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_THAT(desk.tmux({"list-panes", "-a", "-F", "#{pane_pid}"}), HasSubstr(pid)) << "it is still running";
}

TEST(AgentEvening, redrawsARepaintedAdoptedTabInPlace) {
  if (!hasProgram("tmux")) GTEST_SKIP() << "tmux is not installed";
  AgentWorld probe;
  AgentWorld world({"TMUX_TMPDIR=" + (probe.folder() / "tmux").string()});
  world.addProgram("claude",
                   "#!/bin/sh\nstty -echo\nprintf 'top line\\nmiddle\\nstep 0'\nn=0\n"
                   "while read -r x; do n=$((n+1)); printf '\\033[3;1H\\033[Kstep %s' $n; done\n");
  const TmuxDesk desk(probe, "exec '" + (world.folder() / "bin" / "claude").string() + "'");
  const auto pid = desk.panePID();
  world.startHost();
  ASSERT_FALSE(HasFatalFailure());
  ASSERT_TRUE(eventually(
      [&] { return world.run({"external"}).output.find("pid " + pid + ", /dev/") != std::string::npos; }));
  const auto id = world.run({"adopt", pid}).output.substr(0, 36);
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("step 0")) << terminal->screen();
  for (int step = 1; step <= 3; ++step) {
    terminal->type("\r");
    ASSERT_TRUE(terminal->shows(fmt::format("step {}", step))) << terminal->screen();
  }
  TerminalEmulator screen;
  screen.feed(terminal->screen());
  const auto lines = screen.lines();
  EXPECT_EQ(lines[0], "top line");
  EXPECT_EQ(lines[1], "middle");
  EXPECT_EQ(lines[2], "step 3");
  EXPECT_EQ(std::ranges::count(lines, "top line"), 1);
}

// A kitty with one window on a private display.
class KittyDesk {
 public:
  KittyDesk(const AgentWorld& world, const std::string& command)
      : note_(world.folder() / "kitty-pid"),
        kitty_(display_.start(
            {"/usr/bin/env", "-u", "XDG_CONFIG_HOME", "-u", "XDG_CACHE_HOME", "-u", "WAYLAND_DISPLAY",
             "LIBGL_ALWAYS_SOFTWARE=1", "LANG=C.UTF-8", "kitty", "--config", "NONE", "-o",
             "allow_remote_control=socket-only", "--listen-on", "unix:" + (world.folder() / "kitty").string(),
             "sh", "-c",
             fmt::format("echo $$ > '{0}.new'; mv '{0}.new' '{0}'; {1}", note_.string(), command)})) {}

  std::string windowPID() const {
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(note_); }, 30s)) << "kitty does not start";
    std::ifstream in(note_);
    std::string pid;
    std::getline(in, pid);
    return pid;
  }
  void end() { kitty_.terminate(); }

 private:
  const quorl::test::XServer display_;
  const std::filesystem::path note_;
  quorl::test::HelperProgram kitty_;
};

TEST(AgentEvening, findsAdoptsAndPromptsAnAgentInAKittyWindow) {
  if (!hasProgram("kitty") || !hasProgram("Xvfb")) GTEST_SKIP() << "kitty or Xvfb is not installed";
  AgentWorld world;
  world.addProgram("claude", codingAgent);
  KittyDesk desk(world, "exec '" + (world.folder() / "bin" / "claude").string() + "' --by-hand");
  const auto pid = desk.windowPID();
  world.startHost();
  ASSERT_FALSE(HasFatalFailure());
  ASSERT_TRUE(eventually([&] {
    return world.run({"external"}).output.find("pid " + pid + ", /dev/pts/") != std::string::npos;
  })) << world.run({"external"}).output;
  EXPECT_THAT(world.run({"external"}).output, HasSubstr("can be adopted"));

  const auto adopted = world.run({"adopt", pid});
  ASSERT_EQ(adopted.status, 0) << adopted.output;
  const auto id = adopted.output.substr(0, 36);
  EXPECT_THAT(world.run({"agents"}).output, HasSubstr("tab      Claude"));
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("agent ready with arguments: --by-hand")) << terminal->screen();
  EXPECT_EQ(world.run({"prompt", id, "it's \"quoted\" \\ $HOME; ü"}).status, 0);
  EXPECT_TRUE(terminal->shows("heard <it's \"quoted\" \\ $HOME; ü>")) << terminal->screen();
  terminal->type("typed here\r");
  EXPECT_TRUE(terminal->shows("heard <typed here>")) << terminal->screen();
  terminal->type("\x1d");
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_EQ(::kill(std::stoi(pid), 0), 0) << "it is still running";
  desk.end();
  EXPECT_EQ(world.run({"agents"}).status, 0) << "the host is still running";
  EXPECT_THAT(world.run({"external"}).output, Not(HasSubstr("pid " + pid)));
}

const std::string claudeID = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";
const std::string codexID = "AB2504E0-4F89-41D3-9A0C-0305E82C3302";

TEST(AgentEvening, listsPastSessionsAndResumesOneInPlace) {
  AgentWorld world;
  world.addProgram("claude", codingAgent);
  const auto project = (world.folder() / "website").string();
  std::filesystem::create_directories(project);
  auto folderName = project;
  std::ranges::replace(folderName, '/', '-');
  world.write("home/.claude/projects/" + folderName + "/" + claudeID + ".jsonl",
              "{\"type\":\"summary\",\"summary\":\"Make the header blue\"}\n");
  world.write("home/.codex/sessions/2025/01/02/rollout-2025.jsonl",
              fmt::format("{{\"type\":\"session_meta\",\"payload\":{{\"id\":\"{}\",\"cwd\":\"{}\"}}}}\n",
                          codexID, project));
  world.startHost();
  ASSERT_FALSE(HasFatalFailure());
  std::string list;
  ASSERT_TRUE(eventually([&] {
    list = world.run({"agents"}).output;
    return list.find("Codex") != std::string::npos && list.find("Claude") != std::string::npos;
  })) << list;
  EXPECT_THAT(list, HasSubstr("3F2504E0  exited   past     Claude Code — website"));
  EXPECT_THAT(list, HasSubstr("Make the header blue"));
  EXPECT_THAT(list, HasSubstr("AB2504E0  exited   past     Codex — website"));
  EXPECT_THAT(world.run({"prompt", "3F25", "x"}).output, HasSubstr("is a past session"));
  EXPECT_EQ(world.run({"resume", "AB25"}).status, 1) << "only the tool that a host can resume";

  const auto resumed = world.run({"resume", "3F25"});
  ASSERT_EQ(resumed.status, 0) << resumed.output;
  EXPECT_EQ(resumed.output, claudeID + "\n");
  list = world.run({"agents"}).output;
  EXPECT_THAT(list, HasSubstr("resumed  Claude Code — website"));
  EXPECT_THAT(list, Not(HasSubstr("past     Claude Code"))) << "its row has taken the other's place";
  const auto terminal = world.onTerminal({"attach", "3F25"});
  EXPECT_TRUE(terminal->shows("agent ready with arguments: --resume " + claudeID)) << terminal->screen();
  const auto again = world.run({"resume", "3F25"});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.output, HasSubstr("is already running"));
}

}  // namespace
}  // namespace quorl::client::test
