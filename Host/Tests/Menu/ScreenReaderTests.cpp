// SPDX-License-Identifier: GPL-3.0-or-later
// The windows as a screen reader finds them, over a real accessibility bus.
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Linux/System/ChildProgram.h>
#include <Linux/System/PrivateSessionBus.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServerFixture.h>

#include "MenuProgram.h"

namespace quorl::test {
namespace {

using testing::HasSubstr;

class ScreenReaderTest : public testing::Test {
 protected:
  ScreenReaderTest() {
    launcher_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{"/usr/libexec/at-spi-bus-launcher", "--launch-immediately"}, environment());
    EXPECT_TRUE(eventually([this] { return bus_.isOwned("org.a11y.Bus"); }, std::chrono::seconds(30)))
        << launcher_->output();
  }
  std::vector<std::string> environment() const {
    return {"DBUS_SESSION_BUS_ADDRESS=" + bus_.address(), "DISPLAY=" + desktop_.display(),
            "XDG_RUNTIME_DIR=" + folder_.path().string(), "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1"};
  }
  std::string tree() const {
    return outputOf({"/usr/bin/python3", QUORL_ACCESSIBLE_TREE, "quorl_host_menu"}, environment());
  }
  bool finds(const std::string& line) {
    return eventually([&] { return (tree_ = tree()).find(line + "\n") != std::string::npos; },
                      std::chrono::seconds(30));
  }

  TemporaryFolder folder_;
  PrivateSessionBus bus_;
  XServer desktop_{{.windowManager = XServer::WindowManager::openbox}};
  std::unique_ptr<ChildProgram> launcher_;
  std::string tree_;
};

// The toolkit lists no popups, so a screen reader gets the panel by its focus.
TEST_F(ScreenReaderTest, readsTheControlsOfThePanelAsTheyGetTheFocus) {
  ChildProgram reader({"/usr/bin/python3", QUORL_ACCESSIBLE_TREE, "--focus"}, environment());
  ASSERT_TRUE(reader.waitForOutput("following")) << reader.output();
  Menu menu(desktop_, {"--tray-patience", "0"}, environment());
  ASSERT_TRUE(menu.receives(menuAction::TrayMissing{}));
  menu.say(menuMessage::ShowPanel{});
  ASSERT_TRUE(menu.receives(menuAction::PanelOpened{}));
  menu.show();
  for (const char* control : {"push button: Generate a new PIN", "push button: Quit"})
    EXPECT_TRUE(eventually(
        [&] {
          desktop_.run({"xdotool", "key", "Tab"});
          return reader.waitForOutput(control, std::chrono::milliseconds(500));
        },
        std::chrono::seconds(30)))
        << control << " is not among\n"
        << reader.output();
}

TEST_F(ScreenReaderTest, readsTheSetupWindow) {
  Menu menu(desktop_, {"--tray-patience", "0"}, environment());
  ASSERT_TRUE(menu.receives(menuAction::TrayMissing{}));
  menu.say(menuMessage::ShowSetup{});
  ASSERT_TRUE(menu.receives(menuAction::SetupRequested{}));
  MenuSnapshot snapshot;
  snapshot.setup.emplace();
  snapshot.setup->pin = "314159";
  snapshot.setup->address = "desk.local";
  snapshot.setup->lanAddresses = "192.168.1.23";
  snapshot.setup->overlayColor = MenuColor::green;
  snapshot.setup->joinPayload = "quorl://join";
  menu.say(menuMessage::Snapshot{snapshot});
  for (const char* line : {"label: Pairing PIN: 314159", "label: desk.local", "label: 192.168.1.23",
                           "label: Status: green", "graphic: QR code with the address of this host",
                           "push button: Copy", "push button: Regenerate", "frame: PERMISSIONS"})
    EXPECT_TRUE(finds(line)) << line << " is not among\n" << tree_;
}

}  // namespace
}  // namespace quorl::test
