// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Windows/X11WindowControl.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "TestClient.h"

namespace quorl::test {

/// Sets properties of a window as a program does.
void setNumbers(TestClient& client, std::uint32_t window, const std::string& property,
                const std::vector<std::uint32_t>& values);
/// A list of atoms.
void setAtoms(TestClient& client, std::uint32_t window, const std::string& property,
              const std::vector<std::string>& names);
void setText(TestClient& client, std::uint32_t window, const std::string& property, const std::string& text);

/// A dialog box of a fixed size (WM_NORMAL_HINTS).
void fixSize(TestClient& client, std::uint32_t window, PixelSize size);

/// Tells the window manager that the window draws its own frame.
void removeDecoration(TestClient& client, std::uint32_t window);

/// Asks the window manager to add a state.
void addState(TestClient& client, std::uint32_t window, const std::string& state,
              const std::string& secondState = "");

inline constexpr std::chrono::seconds patience{30};

/// An openbox of the test's own, which it can kill.
///
/// *Lifetime*: ready when constructed.
class Openbox {
 public:
  explicit Openbox(const XServer& server);

  void kill() { program_.kill(); }
  /// Between these it does nothing.
  void pause() const;
  void resume() const;

 private:
  HelperProgram program_;
};

/// A display with a window manager, a client that makes windows, and the adapter.
class WindowFixture : public testing::Test {
 protected:
  explicit WindowFixture(XServer::WindowManager manager = XServer::WindowManager::openbox)
      : server({.width = 800, .height = 600, .windowManager = manager}) {}

  X11DisplayName name() const {
    return [display = server.display()] { return display; };
  }
  /// Empty as well when the server does not answer.
  std::vector<ListedWindow> listWindows(WindowScope scope = WindowScope::all);
  std::optional<ListedWindow> find(const std::string& title, WindowScope scope = WindowScope::all);
  /// Waits until a window of this title is on the screen.
  std::optional<ListedWindow> waitFor(const std::string& title);
  std::uint32_t makeWindow(const PixelRect& bounds, const std::string& title);
  /// The only accessible window of this number.
  WindowControl::Window accessible(std::uint32_t window);
  bool eventuallyHolds(const std::function<bool()>& condition) { return eventually(condition, patience); }

  std::int32_t ownPid() const;

  XServer server;
  TestClient client{server.display()};
  std::shared_ptr<WindowSession> session = std::make_shared<WindowSession>(name());
  X11WindowControl control{session};
};

class UnmanagedWindowFixture : public WindowFixture {
 protected:
  UnmanagedWindowFixture() : WindowFixture(XServer::WindowManager::none) {}
};

}  // namespace quorl::test
