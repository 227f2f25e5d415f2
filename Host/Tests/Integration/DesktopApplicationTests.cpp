// SPDX-License-Identifier: GPL-3.0-or-later
// The real program on a desktop: the windows that it lists and the applications that it launches.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

class DesktopApplications : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto folder = home.path() / "data/applications";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "org.example.Notes.desktop")
        << "[Desktop Entry]\nType=Application\nName=Example Notes\nStartupWMClass=ExampleNotes\n"
           "Exec=xterm -class ExampleNotes -T launched -e cat\n";
    ASSERT_TRUE(host.listens()) << host.program().output();
    client = std::make_unique<RawClient>(port);
    ASSERT_TRUE(client->pair("314159"));
  }

  /// Asks for the state until it lists a window of this title on the screen: a window is listed before the
  /// window manager has mapped it.
  std::optional<HostState> stateWith(const std::string& title) {
    std::optional<HostState> found;
    const bool isListed = eventually([&] {
      client->send(message::RequestHostState{});
      const auto state = client->next<message::HostState>();
      if (!state) return false;
      found = state->_0;
      const auto window = std::ranges::find(found->windows, title, &WindowInfo::title);
      return window != found->windows.end() && window->isOnScreen;
    });
    return isListed ? found : std::nullopt;
  }
  static WindowInfo windowIn(const HostState& state, const std::string& title) {
    return *std::ranges::find(state.windows, title, &WindowInfo::title);
  }

  TemporaryFolder home;
  const std::uint16_t port = freePort();
  XServer server{{.width = 640, .height = 480, .windowManager = XServer::WindowManager::openbox}};
  HostProcess host{
      {.port = port,
       .home = home.path(),
       .options = {"--pin", "314159"},
       .environment = {"DISPLAY=" + server.display(), "XDG_DATA_HOME=" + (home.path() / "data").string()}}};
  std::unique_ptr<RawClient> client;
};

TEST_F(DesktopApplications, listsAWindowUnderTheNameOfItsDesktopFile) {
  const auto terminal = server.start({"xterm", "-class", "ExampleNotes", "-T", "notes", "-e", "cat"});
  const auto state = stateWith("notes");
  ASSERT_TRUE(state);
  const WindowInfo window = windowIn(*state, "notes");
  EXPECT_EQ(window.appName, "Example Notes");
  EXPECT_EQ(window.appBundleID, "org.example.Notes");
  const auto app = std::ranges::find(state->apps, "org.example.Notes", &RunningAppInfo::bundleID);
  ASSERT_NE(app, state->apps.end());
  EXPECT_EQ(app->pid, terminal.pid());
}

// Naming a window and launching read the same desktop files.
TEST_F(DesktopApplications, launchesAnApplicationAfterItHasListedWindows) {
  const auto terminal = server.start({"xterm", "-T", "other", "-e", "cat"});
  ASSERT_TRUE(stateWith("other"));
  client->send(message::LaunchApp{{"org.example.Notes", false}});
  const auto state = stateWith("launched");
  ASSERT_TRUE(state);
  EXPECT_EQ(windowIn(*state, "launched").appName, "Example Notes");
  EXPECT_NE(windowIn(*state, "other").appName, "Example Notes");
}

TEST_F(DesktopApplications, launchesNothingForAnIDWithoutADesktopFile) {
  client->send(message::LaunchApp{{"org.example.Absent", false}});
  client->send(message::LaunchApp{{"org.example.Notes", false}});
  const auto state = stateWith("launched");
  ASSERT_TRUE(state);
  EXPECT_EQ(state->windows.size(), 1U);
}

}  // namespace
}  // namespace quorl::test
