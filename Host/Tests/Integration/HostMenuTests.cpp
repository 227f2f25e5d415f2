// SPDX-License-Identifier: GPL-3.0-or-later
// The host with its real menu program on a virtual desktop.
#include <csignal>
#include <fstream>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Linux/System/PrivateSessionBus.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

constexpr std::chrono::seconds patience{30};

/// The number of the first child with this program. 0 if there is none.
pid_t childOf(pid_t parent, const std::string& name) {
  const std::string output = outputOf({"pgrep", "-P", std::to_string(parent), "-x", name.substr(0, 15)});
  return output.empty() ? 0 : std::stoi(output);
}

class HostMenuTest : public testing::Test {
 protected:
  HostProcess::Settings settingsOn(const std::string& display) const {
    HostProcess::Settings settings;
    settings.port = port_;
    settings.home = home_.path();
    settings.options = {"--pin", "314159", "--verbose"};
    settings.environment = {"DISPLAY=" + display, "QUORL_HOST_MENU=" QUORL_HOST_MENU_PROGRAM,
                            "XDG_RUNTIME_DIR=" + home_.path().string()};
    return settings;
  }
  static pid_t menuOf(HostProcess& host) { return childOf(host.program().pid(), "quorl_host_menu"); }
  static bool hasMenu(HostProcess& host) {
    return eventually([&] { return menuOf(host) != 0; }, patience);
  }
  static bool showsWindow(const XServer& desktop, const std::string& name) {
    return !desktop.run({"xdotool", "search", "--onlyvisible", "--name", "^" + name + "$"}).empty();
  }

  TemporaryFolder home_;
  const std::uint16_t port_ = freePort();
};

TEST_F(HostMenuTest, survivesItsDisplayAndShowsItsMenuOnTheNextOne) {
  std::optional<XServer> desktop(std::in_place);
  const std::string display = desktop->display();
  HostProcess host(settingsOn(display));
  ASSERT_TRUE(host.listens(patience));
  ASSERT_TRUE(hasMenu(host)) << host.program().output();
  const pid_t first = menuOf(host);
  RawClient client(port_);
  ASSERT_TRUE(client.pair("314159"));
  desktop->kill();
  ASSERT_TRUE(eventually([&] { return menuOf(host) != first; }, patience));
  EXPECT_TRUE(client.echoes()) << "the session goes on";
  desktop.reset();
  HelperProgram next({"Xvfb", display, "-nolisten", "tcp", "-noreset"}, {});
  EXPECT_TRUE(hasMenu(host)) << host.program().output();
  EXPECT_TRUE(client.echoes());
  host.program().signal(SIGTERM);
  EXPECT_EQ(host.program().waitForExit(patience), 0);
}

TEST_F(HostMenuTest, endsItsMenuWithItself) {
  const XServer desktop;
  for (const int signal : {SIGTERM, SIGKILL}) {
    HostProcess host(settingsOn(desktop.display()));
    ASSERT_TRUE(hasMenu(host)) << host.program().output();
    const pid_t menu = menuOf(host);
    host.program().signal(signal);
    EXPECT_TRUE(host.program().waitForExit(patience));
    EXPECT_TRUE(eventually([&] { return ::kill(menu, 0) != 0; }, patience)) << signal;
  }
}

TEST_F(HostMenuTest, goesOnWithoutItsMenuProgram) {
  const XServer desktop;
  auto settings = settingsOn(desktop.display());
  settings.environment.push_back("QUORL_HOST_MENU=/nonexistent/menu");
  HostProcess host(settings);
  ASSERT_TRUE(host.listens(patience));
  EXPECT_TRUE(host.program().waitForOutput(
      "the menu program ended: /nonexistent/menu: No such file or directory", patience));
  RawClient client(port_);
  EXPECT_TRUE(client.pair("314159"));
}

TEST_F(HostMenuTest, showsItsPanelForASecondStart) {
  const XServer desktop;
  const PrivateSessionBus bus;
  ASSERT_TRUE(bus.isRunning());
  // The rule of one host applies to the usual port, whether or not another program of the machine holds it.
  auto settings = settingsOn(desktop.display());
  settings.environment.push_back("QUORL_HOST_PORT=47900");
  HostProcess host(settings);
  ASSERT_TRUE(hasMenu(host)) << host.program().output();
  EXPECT_FALSE(showsWindow(desktop, "Quorl Host"));
  HostProcess second(settings);
  EXPECT_EQ(second.program().waitForExit(patience), 0);
  EXPECT_EQ(second.program().output(), "quorl-host: already running; its panel is open\n");
  EXPECT_TRUE(eventually([&] { return showsWindow(desktop, "Quorl Host"); }, patience));
}

TEST_F(HostMenuTest, opensTheSetupWindowAtTheVeryFirstStart) {
  const XServer desktop({.windowManager = XServer::WindowManager::openbox});
  auto settings = settingsOn(desktop.display());
  settings.environment.push_back("QUORL_HOST_PORT=47900");
  HostProcess host(settings);
  EXPECT_TRUE(host.program().waitForOutput("setup window shown (visible=true)", patience))
      << host.program().output();
  EXPECT_TRUE(eventually([&] { return showsWindow(desktop, "Setup & Connectivity"); }, patience));
}

TEST_F(HostMenuTest, runsBesideOtherHostsOnOtherPorts) {
  const XServer desktop;
  const PrivateSessionBus bus;
  ASSERT_TRUE(bus.isRunning());
  HostProcess host(settingsOn(desktop.display()));
  ASSERT_TRUE(host.listens(patience));
  auto settings = settingsOn(desktop.display());
  settings.port = freePort();
  HostProcess other(settings);
  EXPECT_TRUE(other.listens(patience)) << other.program().output();
  EXPECT_TRUE(host.program().isRunning());
}

}  // namespace
}  // namespace quorl::test
