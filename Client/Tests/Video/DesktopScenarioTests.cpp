// SPDX-License-Identifier: GPL-3.0-or-later
// The real client views and fits a window of a real desktop.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "../Agents/AgentWorld.h"

namespace quorl::client::test {
namespace {

using quorl::test::eventually;
using quorl::test::XServer;
using std::chrono::seconds;

class DesktopScenario : public testing::Test {
 protected:
  void SetUp() override {
    world.startHost();
    ASSERT_TRUE(eventually([this] { return windowID() != ""; }, seconds(30)));
    number = windowID();
    ASSERT_TRUE(eventually([this] { return world.run({"shot", picture(), "--window", number}).status == 0; },
                           seconds(30)));
    original = geometry();
  }

  std::string windowID() const {
    const std::string id = server.run({"xdotool", "search", "--onlyvisible", "--name", "^Notes$"});
    return id.substr(0, id.find('\n'));
  }
  /// Position and size, as X reports them.
  std::string geometry() const { return server.run({"xdotool", "getwindowgeometry", number}); }
  std::string picture() const { return (world.folder() / "window.png").string(); }
  std::unique_ptr<TerminalProgram> fit(const std::string& view) const {
    return world.onTerminal({"fit", "--window", number, "--view", view, "--seconds", "120"});
  }
  bool isGivenBack() const {
    return eventually([this] { return geometry() == original; }, seconds(30));
  }

  XServer server{{.width = 1000, .height = 800, .windowManager = XServer::WindowManager::openbox}};
  AgentWorld world{{"DISPLAY=" + server.display()}};
  quorl::test::HelperProgram terminal =
      server.start({"xterm", "-T", "Notes", "-geometry", "40x10+100+100", "-e", "cat"});
  std::string number;
  std::string original;
};

TEST_F(DesktopScenario, aWindowIsFittedWhileItsStreamRunsAndGetsItsFrameBack) {
  const auto stream = fit("800x600");
  EXPECT_TRUE(stream->shows("window at 0,0 with 1000x750 points"));
  EXPECT_TRUE(stream->shows("fitted"));
  stream->type("view 400x900\n");
  EXPECT_TRUE(stream->shows("with 356x800 points"));
  stream->type("fit off\n");
  EXPECT_TRUE(isGivenBack());
  const auto before = stream->screen().size();
  stream->type("fit on\n");
  EXPECT_TRUE(stream->shows("with 356x800 points", before));
  stream->type("quit\n");
  EXPECT_EQ(stream->waitForExit(), 0);
  EXPECT_TRUE(isGivenBack());
}

TEST_F(DesktopScenario, aClientThatIsKilledComesBackToTheFittedWindow) {
  const auto first = fit("800x600");
  ASSERT_TRUE(first->shows("fitted"));
  first->signal(SIGKILL);
  first->waitForExit();
  const auto second = fit("800x600");
  EXPECT_TRUE(second->shows("with 1000x750 points"));
  second->signal(SIGKILL);
  EXPECT_TRUE(isGivenBack());
}

TEST_F(DesktopScenario, aStreamOfAnApplicationEndsWithTheApplication) {
  const auto stream = world.onTerminal({"fit", "--app", "debian-xterm", "--seconds", "120"});
  ASSERT_TRUE(stream->shows("points"));
  terminal.terminate();
  EXPECT_TRUE(stream->shows("app debian-xterm not running (stream.target)"));
  EXPECT_EQ(stream->waitForExit(), 1);
}

}  // namespace
}  // namespace quorl::client::test
