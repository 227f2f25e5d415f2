// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/ProgramFocus.h>

#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServerFixture.h>

#include <filesystem>
#include <fstream>

#include "TestClient.h"

namespace quorl::test {
namespace {

class ProgramFocusTest : public testing::Test {
 protected:
  std::uint32_t windowOfClass(const std::string& name) {
    const auto window = client.makeWindow({50, 50, 100, 80}, TestClient::Managed::yes, name);
    const std::string both = "instance" + std::string(1, '\0') + name + std::string(1, '\0');
    xcb_change_property(client.xcb(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(both.size()), both.data());
    client.sync();
    return window;
  }
  void activate(std::uint32_t window) {
    server.run({"xdotool", "windowactivate", "--sync", std::to_string(window)});
  }
  bool becomes(FocusedProgram program) {
    return eventually(
        [&] {
          while (const std::unique_ptr<xcb_generic_event_t, void (*)(void*)> event{
              xcb_poll_for_event(connection->xcb()), std::free})
            focus.take(event.get());
          return focus.current() == program;
        },
        std::chrono::seconds(30));
  }

  XServer server{{.width = 400, .height = 300, .windowManager = XServer::WindowManager::openbox}};
  TestClient client{server.display()};
  std::unique_ptr<X11Connection> connection =
      *X11Connection::open([name = server.display()] { return name; });
  std::string terminal = "Unheard-of";
  int asked = 0;
  ProgramFocus focus{*connection, [this](const std::string& name) {
                       ++asked;
                       return name == terminal;
                     }};
};

TEST_F(ProgramFocusTest, followsTheActiveWindow) {
  const auto ordinary = windowOfClass("Editor");
  const auto known = windowOfClass("konsole");
  const auto plain = windowOfClass("XTerm");
  const auto byFile = windowOfClass("Unheard-of");
  activate(known);
  EXPECT_TRUE(becomes(FocusedProgram::terminal));
  activate(ordinary);
  EXPECT_TRUE(becomes(FocusedProgram::ordinary));
  activate(plain);
  EXPECT_TRUE(becomes(FocusedProgram::plainTerminal));
  activate(byFile);
  EXPECT_TRUE(becomes(FocusedProgram::terminal));
  client.destroy(byFile);
  client.destroy(plain);
  client.destroy(known);
  activate(ordinary);
  EXPECT_TRUE(becomes(FocusedProgram::ordinary));
}

TEST_F(ProgramFocusTest, asksOnceForEachChangeAndNotForEachKey) {
  activate(windowOfClass("Unheard-of"));
  ASSERT_TRUE(becomes(FocusedProgram::terminal));
  const int before = asked;
  for (int key = 0; key < 100; ++key) EXPECT_EQ(focus.current(), FocusedProgram::terminal);
  EXPECT_EQ(asked, before);
}

TEST(ProgramFocusWithoutAWindowManager, readsTheWindowWithTheKeyboardFocus) {
  const XServer server{{.width = 400, .height = 300}};
  TestClient client{server.display()};
  const auto connection = *X11Connection::open([name = server.display()] { return name; });
  ProgramFocus focus{*connection, [](const std::string&) { return false; }};
  EXPECT_EQ(focus.current(), FocusedProgram::ordinary);
  const auto window = client.makeWindow({0, 0, 50, 50});
  const std::string both("xterm\0XTerm\0", 12);
  xcb_change_property(client.xcb(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, 12,
                      both.data());
  xcb_set_input_focus(client.xcb(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
  client.sync();
  EXPECT_EQ(focus.current(), FocusedProgram::plainTerminal);
}

TEST(ProgramFocusDesktopFile, aTerminalIsKnownByItsCategory) {
  const TemporaryFolder folder;
  std::filesystem::create_directories(folder.path() / "applications");
  std::ofstream(folder.path() / "applications" / "new-term.desktop")
      << "[Desktop Entry]\nType=Application\nName=New\nExec=new-term\nStartupWMClass=NewTerm\n"
         "Categories=System;TerminalEmulator;\n";
  std::ofstream(folder.path() / "applications" / "editor.desktop")
      << "[Desktop Entry]\nType=Application\nName=Editor\nExec=editor\nCategories=Utility;\n";
  ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
  EXPECT_TRUE(isTerminalByDesktopFile("NewTerm"));
  EXPECT_FALSE(isTerminalByDesktopFile("Editor"));
  EXPECT_FALSE(isTerminalByDesktopFile("NoSuchProgram"));
  ::unsetenv("XDG_DATA_HOME");
}

}  // namespace
}  // namespace quorl::test
