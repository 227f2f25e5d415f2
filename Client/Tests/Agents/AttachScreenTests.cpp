// SPDX-License-Identifier: GPL-3.0-or-later
// The screen of an attached agent, as a terminal emulator shows it.
#include <csignal>
#include <cstdlib>

#include <Support/Eventually.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "AgentWorld.h"
#include "CuttableRelay.h"
#include "TerminalEmulator.h"

namespace quorl::client::test {
namespace {

using quorl::test::eventually;

// A full-screen program: "e" enters, "l" leaves and prints, form feed paints.
const std::string fullScreenProgram = R"(
stty raw -echo
paint() { printf '\033[H\033[2Jfull %s' "$1"; }
enter() { printf '\033[?1049h\033[?1h\033[?1002h\033[?1006h\033[?2004h\033[?25l'; }
leave() { printf '\033[?25h\033[?2004l\033[?1006l\033[?1002l\033[?1l\033[?1049l'; }
feed=$(printf '\014')
printf 'ready\r\n'
full=
if [ "$1" = now ]; then full=yes; enter; paint first; fi
while key=$(dd bs=1 count=1 2>/dev/null) && [ -n "$key" ]; do
  case "$key" in
    "$feed") [ -z "$full" ] || paint again ;;
    e) full=yes; enter; paint entered ;;
    l) full=; leave; printf 'back\r\n' ;;
  esac
done
)";

class AttachScreen : public ::testing::Test {
 protected:
  void SetUp() override {
    world.startHost();
    if (HasFatalFailure()) GTEST_SKIP() << "no host";
    relay.emplace(world.hostPort());
    world.pair("bob", relay->port());
    world.write("full", fullScreenProgram);
  }
  std::string spawnReady(const std::string& command) {
    const auto id = world.spawn({"--name", "agent", "--", command});
    EXPECT_TRUE(eventually(
        [&] { return world.run({"agents", "--json"}).output.find("\"preview\":") != std::string::npos; }));
    return id;
  }
  std::string spawnFullScreen(const std::string& argument = {}) {
    return spawnReady(fmt::format("sh '{}' {}", (world.folder() / "full").string(), argument));
  }
  // A screen with the whole output of the terminal.
  static std::unique_ptr<TerminalEmulator> screenOf(TerminalProgram& terminal) {
    auto screen = std::make_unique<TerminalEmulator>();
    screen->feed(terminal.screen());
    return screen;
  }
  static bool comesToShow(TerminalProgram& terminal,
                          const std::function<bool(TerminalEmulator&)>& condition) {
    return eventually([&] { return condition(*screenOf(terminal)); }, std::chrono::seconds(20));
  }
  void cut(TerminalProgram& terminal) {
    const auto from = terminal.screen().size();
    relay->cut();
    ASSERT_TRUE(terminal.shows("trying again", from)) << terminal.screen();
  }

  AgentWorld world;
  std::optional<CuttableRelay> relay;
};

TEST_F(AttachScreen, isTheSameAfterABreak) {
  const auto id = spawnReady("stty -echo; seq 50; printf 'half a line'; exec cat");
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("half a line"));
  const auto before = screenOf(*terminal);
  cut(*terminal);
  const auto from = terminal->screen().size();
  relay->mend();
  ASSERT_TRUE(terminal->shows("\x1b[?1049l", from)) << "the notice goes";
  const auto after = screenOf(*terminal);
  EXPECT_EQ(after->lines(), before->lines());
  EXPECT_EQ(after->cursor(), before->cursor());
  EXPECT_FALSE(after->isAlternate());
  terminal->type(", and the rest\r");
  EXPECT_TRUE(comesToShow(*terminal, [&](auto& screen) {
    return screen.line(before->cursor().first - 1).starts_with("half a line, and the rest") ||
           screen.line(before->cursor().first) == "half a line, and the rest";
  })) << terminal->screen();
}

TEST_F(AttachScreen, joinsASequenceAndACharacterCutByABreak) {
  const auto id = spawnReady(
      "stty -echo; printf 'ready\\n'; read x; printf 'mark\\033[3'; read x; printf '1mred\\303'; read x; "
      "printf '\\251tude'; exec cat");
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("\r");
  ASSERT_TRUE(terminal->shows("mark"));
  cut(*terminal);
  ASSERT_EQ(world.run({"prompt", id, "on"}).status, 0);
  relay->mend();
  ASSERT_TRUE(terminal->shows("red"));
  cut(*terminal);
  ASSERT_EQ(world.run({"prompt", id, "on"}).status, 0);
  relay->mend();
  ASSERT_TRUE(terminal->shows("tude"));
  EXPECT_EQ(screenOf(*terminal)->line(2), "markredétude") << terminal->screen();
}

TEST_F(AttachScreen, followsAProgramThatLeftItsFullScreenDuringABreak) {
  const auto id = spawnFullScreen();
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("e");
  ASSERT_TRUE(terminal->shows("full entered"));
  EXPECT_TRUE(screenOf(*terminal)->isAlternate());
  cut(*terminal);
  const auto watcher = world.onTerminal({"attach", id});
  watcher->type("l");
  ASSERT_TRUE(watcher->shows("back"));
  relay->mend();
  ASSERT_TRUE(terminal->shows("back"));
  const auto screen = screenOf(*terminal);
  EXPECT_FALSE(screen->isAlternate() || screen->reportsMouse());
  EXPECT_TRUE(screen->isCursorVisible());
  EXPECT_EQ(screen->arrowUp(), "\x1b[A");
  EXPECT_EQ(screen->line(1), "ready");
  EXPECT_EQ(screen->line(2), "back") << terminal->screen();
}

TEST_F(AttachScreen, followsAProgramThatFilledTheScreenDuringABreak) {
  const auto id = spawnFullScreen();
  const auto terminal = world.onTerminal({"attach", id}, "bob");
  ASSERT_TRUE(terminal->shows("ready"));
  cut(*terminal);
  const auto watcher = world.onTerminal({"attach", id});
  watcher->type("e");
  ASSERT_TRUE(watcher->shows("full entered"));
  relay->mend();
  EXPECT_TRUE(comesToShow(*terminal, [](auto& screen) {
    return screen.isAlternate() && screen.reportsMouse() && screen.line(0) == "full again" &&
           screen.arrowUp() == "\x1bOA";
  })) << terminal->screen();
}

TEST_F(AttachScreen, hasTheModesOfARunningFullScreenProgram) {
  const auto id = spawnFullScreen("now");
  const auto terminal = world.onTerminal({"attach", id});
  EXPECT_TRUE(comesToShow(*terminal, [](auto& screen) {
    return screen.isAlternate() && screen.line(0) == "full again";
  })) << terminal->screen();
  const auto screen = screenOf(*terminal);
  EXPECT_TRUE(screen->reportsMouse());
  EXPECT_FALSE(screen->isCursorVisible());
  EXPECT_EQ(screen->arrowUp(), "\x1bOA");
  EXPECT_EQ(screen->pasteBegin(), "\x1b[200~");
}

TEST_F(AttachScreen, keepsTheQueriesOfAProgramThatHasJustStarted) {
  const auto id = world.spawn(
      {"--name", "agent", "--",
       "stty raw -echo; dd bs=1 count=1 2>/dev/null >/dev/null; printf '\\033[6n\\033[casked'; exec cat"});
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(eventually([&] { return terminal->isRaw(); }));
  terminal->type("x");
  ASSERT_TRUE(terminal->shows("asked"));
  EXPECT_NE(terminal->screen().find("\x1b[6n\x1b[casked"), std::string::npos) << terminal->screen();
}

TEST_F(AttachScreen, isRestoredByACrash) {
  const auto id = spawnFullScreen("now");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(comesToShow(*terminal, [](auto& screen) { return screen.isAlternate(); }));
  terminal->signal(SIGABRT);
  EXPECT_EQ(terminal->waitForExit(), 128 + SIGABRT);
  const auto screen = screenOf(*terminal);
  EXPECT_FALSE(screen->isAlternate() || screen->reportsMouse());
  EXPECT_TRUE(screen->isCursorVisible());
  EXPECT_EQ(screen->arrowUp(), "\x1b[A");
}

TEST_F(AttachScreen, isRestoredWhileStoppedAndSetUpAgainAfterwards) {
  const auto id = spawnFullScreen("now");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(comesToShow(*terminal, [](auto& screen) { return screen.reportsMouse(); }));
  terminal->signal(SIGTSTP);
  ASSERT_TRUE(eventually([&] { return !terminal->isRaw(); }));
  {
    const auto screen = screenOf(*terminal);
    EXPECT_FALSE(screen->isAlternate() || screen->reportsMouse());
    EXPECT_EQ(screen->arrowUp(), "\x1b[A");
  }
  const auto from = terminal->screen().size();
  terminal->signal(SIGCONT);
  ASSERT_TRUE(terminal->shows("full again", from)) << "it is painted anew";
  const auto screen = screenOf(*terminal);
  EXPECT_TRUE(screen->isAlternate() && screen->reportsMouse());
  EXPECT_EQ(screen->arrowUp(), "\x1bOA");
  EXPECT_EQ(screen->pasteBegin(), "\x1b[200~");
}

TEST_F(AttachScreen, restoresTheFormerTitle) {
  const auto id = spawnReady("printf '\\033]2;theirs\\007ready'; exec cat");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("\x1d");
  EXPECT_EQ(terminal->waitForExit(), 0);
  const auto& bytes = terminal->screen();
  const auto kept = bytes.find("\x1b[22;0t");
  const auto changed = bytes.find("\x1b]2;theirs");
  const auto givenBack = bytes.find("\x1b[23;0t");
  EXPECT_LT(kept, changed);
  EXPECT_LT(changed, givenBack);
  EXPECT_NE(givenBack, std::string::npos);
}

TEST_F(AttachScreen, passesTheColourSupportOfTheTerminalOn) {
  ::setenv("COLORTERM", "truecolor", 1);
  spawnReady("printf 'colours: %s.' \"$COLORTERM\"; exec cat");
  EXPECT_NE(world.run({"agents", "--json"}).output.find("colours: truecolor."), std::string::npos);
  world.spawn({"--name", "plain", "--env", "COLORTERM=none", "--", "printf '<%s>' \"$COLORTERM\"; exec cat"});
  ::unsetenv("COLORTERM");
  EXPECT_TRUE(
      eventually([&] { return world.run({"agents", "--json"}).output.find("<none>") != std::string::npos; }));
}

TEST_F(AttachScreen, sendsTheDetachKeyThatIsPressedTwice) {
  const auto id = spawnReady("stty raw -echo; printf ready; exec cat -v");
  const auto terminal = world.onTerminal({"attach", id});
  ASSERT_TRUE(terminal->shows("ready"));
  terminal->type("a\x1d\x1dz");
  EXPECT_TRUE(terminal->shows("a^]z")) << terminal->screen();
  terminal->type("\x1d");
  EXPECT_EQ(terminal->waitForExit(), 0);
}

}  // namespace
}  // namespace quorl::client::test
