// SPDX-License-Identifier: GPL-3.0-or-later
// The real viewer in a window on a virtual display.
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include <Linux/System/ChildProgram.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServerFixture.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../../Support/FakeHost.h"

namespace quorl::viewer {
namespace {

using client::HostBook;
using client::HostBookContents;
using client::test::FakeHost;
using quorl::test::ChildProgram;
using quorl::test::eventually;
using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr auto patience = std::chrono::seconds(60);

class ViewerProcess : public testing::Test {
 protected:
  void pair(FakeHost& host) {
    ASSERT_TRUE(HostBook(folder_.path() / "config" / "quorl").update([&](HostBookContents& contents) {
      contents.hosts.push_back(host.pairedHost());
    }));
  }
  std::unique_ptr<ChildProgram> start(std::vector<std::string> words) {
    words.insert(words.begin(), QUORL_VIEWER_PROGRAM);
    const auto runtime = folder_.path() / "run";
    fs::create_directories(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    return std::make_unique<ChildProgram>(
        words, std::vector<std::string>{
                   fmt::format("DISPLAY={}", display_), "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM", "XAUTHORITY",
                   "PULSE_SERVER=none", fmt::format("XDG_RUNTIME_DIR={}", runtime.string()),
                   fmt::format("XDG_CONFIG_HOME={}", (folder_.path() / "config").string())});
  }
  static bool isWatching(FakeHost& host, const StreamTarget& target) {
    return eventually(
        [&] {
          const auto starts = host.messagesOf<message::StartStream>();
          return !starts.empty() && starts.back()._0.target == target;
        },
        patience);
  }
  bool isOpen(const std::string& title) const {
    return eventually(
        [&] { return server_.run({"xdotool", "getactivewindow", "getwindowname"}).starts_with(title); },
        patience);
  }
  void press(const std::string& title, const std::string& key) const {
    ASSERT_TRUE(isOpen(title));
    server_.run({"xdotool", "key", key});
  }
  std::string windows() const { return server_.run({"xwininfo", "-root", "-tree"}); }

  quorl::test::TemporaryFolder folder_;
  quorl::test::XServer server_{{.windowManager = quorl::test::XServer::WindowManager::openbox}};
  std::string display_ = server_.display();
};

TEST_F(ViewerProcess, aSignalClosesTheWindowAndSaysGoodbye) {
  FakeHost host({});
  pair(host);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    const auto before = host.messagesOf<message::Bye>().size();
    const auto streams = host.messagesOf<message::StartStream>().size();
    const auto viewer = start({});
    ASSERT_TRUE(
        eventually([&] { return host.messagesOf<message::StartStream>().size() > streams; }, patience))
        << viewer->output();
    viewer->signal(number);
    EXPECT_EQ(viewer->waitForExit(patience), 0) << viewer->output();
    EXPECT_TRUE(eventually([&] { return host.messagesOf<message::Bye>().size() > before; }));
  }
}

TEST_F(ViewerProcess, aSecondViewerOfAHostChangesTheFirst) {
  FakeHost host({});
  pair(host);
  const auto first = start({});
  ASSERT_TRUE(isWatching(host, streamTarget::Unified{})) << first->output();
  const auto second = start({"--window", "77", "--full-screen"});
  EXPECT_EQ(second->waitForExit(patience), 0) << second->output();
  EXPECT_TRUE(isWatching(host, streamTarget::Window{77}));
  EXPECT_TRUE(first->isRunning());
  EXPECT_EQ(host.mostConnections(), 1);
  EXPECT_TRUE(eventually(
      [&] {
        return server_.run({"xdotool", "getactivewindow", "getwindowgeometry"}).find("1280x720") !=
               std::string::npos;
      },
      patience))
      << windows();
}

TEST_F(ViewerProcess, anotherHostIsAnotherProcess) {
  FakeHost desk({});
  FakeHost attic({});
  pair(desk);
  pair(attic);
  const auto first = start({"--host", desk.address()});
  const auto second = start({"--host", attic.address()});
  EXPECT_TRUE(isWatching(desk, streamTarget::Unified{})) << first->output();
  EXPECT_TRUE(isWatching(attic, streamTarget::Unified{})) << second->output();
  EXPECT_TRUE(first->isRunning());
  EXPECT_TRUE(second->isRunning());
}

TEST_F(ViewerProcess, afterACrashTheNextViewerIsTheFirst) {
  FakeHost host({});
  pair(host);
  auto crashed = start({});
  ASSERT_TRUE(isWatching(host, streamTarget::Unified{})) << crashed->output();
  crashed->signal(SIGKILL);
  ASSERT_TRUE(crashed->waitForExit(patience));
  const auto next = start({"--display", "3"});
  EXPECT_TRUE(isWatching(host, streamTarget::Display{3})) << next->output();
  EXPECT_TRUE(next->isRunning());
}

TEST_F(ViewerProcess, aHungFirstViewerIsNamed) {
  FakeHost host({});
  pair(host);
  auto first = start({});
  ASSERT_TRUE(isWatching(host, streamTarget::Unified{})) << first->output();
  first->signal(SIGSTOP);
  const auto second = start({});
  EXPECT_EQ(second->waitForExit(patience), 5);
  EXPECT_THAT(second->output(), HasSubstr("does not answer"));
  first->signal(SIGCONT);
}

TEST_F(ViewerProcess, theSocketIsTheUsersOwn) {
  FakeHost host({});
  pair(host);
  const auto viewer = start({});
  ASSERT_TRUE(isWatching(host, streamTarget::Unified{})) << viewer->output();
  const auto folder = folder_.path() / "run" / "quorl";
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  for (const auto& entry : fs::directory_iterator(folder))
    EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all), fs::perms::none)
        << entry.path();
}

TEST_F(ViewerProcess, aListLetsAPersonChooseAHost) {
  FakeHost desk({});
  FakeHost attic({});
  pair(desk);
  pair(attic);
  const auto viewer = start({});
  ASSERT_TRUE(isOpen("Quorl Viewer")) << viewer->output();
  press("Quorl Viewer", "Down");
  press("Quorl Viewer", "Return");
  EXPECT_TRUE(isWatching(attic, streamTarget::Unified{})) << viewer->output();
  EXPECT_EQ(desk.connections(), 0);
}

TEST_F(ViewerProcess, aSignalEndsTheListToo) {
  const auto viewer = start({});
  ASSERT_TRUE(isOpen("Quorl Viewer")) << viewer->output();
  viewer->signal(SIGTERM);
  EXPECT_EQ(viewer->waitForExit(patience), 0) << viewer->output();
}

TEST_F(ViewerProcess, theListOfHostsOpensAlsoIfOnlyOneIsPaired) {
  FakeHost host({});
  pair(host);
  const auto viewer = start({"--hosts"});
  EXPECT_TRUE(isOpen("Quorl Viewer")) << viewer->output();
  EXPECT_EQ(host.connections(), 0);
}

TEST_F(ViewerProcess, anAddressOfAnUnknownHostAsksBeforeItConnectsAndThenForThePIN) {
  FakeHost host({});
  const auto viewer = start({fmt::format("quorl://{}/display/3", host.address())});
  ASSERT_TRUE(isOpen("Pair with a host")) << viewer->output();
  EXPECT_EQ(host.connections(), 0) << "any page may have such a link";
  EXPECT_TRUE(eventually(
      [&] {
        server_.run({"xdotool", "key", "--delay", "20", "alt+c"});
        return !host.messagesOf<message::Hello>().empty();
      },
      patience));
  // Keys that come before the field has the focus are lost, so the PIN is typed until the host gets one.
  EXPECT_TRUE(eventually(
      [&] {
        server_.run({"xdotool", "key", "--delay", "20", "0", "1", "2", "3", "4", "5", "Return"});
        return !host.messagesOf<message::PairRequest>().empty();
      },
      patience));
  EXPECT_TRUE(isWatching(host, streamTarget::Display{3})) << viewer->output();
}

TEST_F(ViewerProcess, aReturnDoesNotConnectToTheAddressOfALink) {
  FakeHost host({});
  const auto viewer = start({fmt::format("quorl://{}", host.address())});
  ASSERT_TRUE(isOpen("Pair with a host")) << viewer->output();
  EXPECT_TRUE(eventually(
      [&] {
        server_.run({"xdotool", "key", "--delay", "20", "Return"});
        return !viewer->isRunning();
      },
      patience));
  EXPECT_EQ(host.connections(), 0);
}

TEST_F(ViewerProcess, aViewerThatStartsWhileTheFirstEndsTakesItsPlace) {
  FakeHost host({});
  pair(host);
  const auto first = start({});
  ASSERT_TRUE(isWatching(host, streamTarget::Unified{})) << first->output();
  // The farewell takes a second then.
  host.freeze(true);
  first->signal(SIGTERM);
  const auto second = start({"--display", "3"});
  EXPECT_EQ(first->waitForExit(patience), 0) << first->output();
  host.freeze(false);
  EXPECT_TRUE(isWatching(host, streamTarget::Display{3})) << second->output();
  EXPECT_TRUE(second->isRunning());
}

TEST_F(ViewerProcess, aStartWithoutATerminalShowsItsErrorInAWindow) {
  for (const auto& [words, status] :
       {std::pair{std::vector<std::string>{"--dialogs", "--host", "elsewhere"}, 4},
        {std::vector<std::string>{"--dialogs", "quorl://"}, 2}}) {
    const auto viewer = start(words);
    ASSERT_TRUE(isOpen("Quorl Viewer")) << viewer->output();
    press("Quorl Viewer", "Escape");
    EXPECT_EQ(viewer->waitForExit(patience), status) << viewer->output();
  }
}

TEST_F(ViewerProcess, withoutADesktopItSaysWhatToDo) {
  display_ = "";
  const auto none = start({"--host", "desk"});
  EXPECT_EQ(none->waitForExit(patience), 1);
  EXPECT_THAT(none->output(), HasSubstr("there is no desktop for a window\n  Start it in a desktop session"));
  display_ = ":4242";
  const auto dead = start({"--host", "desk"});
  EXPECT_EQ(dead->waitForExit(patience), 1);
  EXPECT_THAT(dead->output(), HasSubstr("the desktop :4242 does not answer\n  Check DISPLAY"));
}

TEST_F(ViewerProcess, saysItsVersionAndHelpWithoutADesktop) {
  display_ = "";
  const auto version = start({"--version"});
  EXPECT_EQ(version->waitForExit(patience), 0);
  EXPECT_THAT(version->output(), testing::StartsWith("quorl_viewer "));
  const auto help = start({"--help"});
  EXPECT_EQ(help->waitForExit(patience), 0);
  EXPECT_THAT(help->output(), HasSubstr("usage: quorl_viewer"));
}

}  // namespace
}  // namespace quorl::viewer
