// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <QAction>

#include <quorl-viewer/Windows/ViewerWindow.h>

#include "../../Support/FakeHost.h"
#include "SwayFixture.h"
#include "VirtualInput.h"

namespace quorl::viewer::test {

using client::test::FakeHost;

/// What all tests of this program share.
struct WaylandDesktop {
  Sway sway;
  VirtualInput input{sway.display()};
};
void useDesktop(WaylandDesktop* desktop);

/// Handles the toolkit's events until `condition` holds or the deadline passes. Returns whether it holds.
bool spinUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds deadline = std::chrono::seconds(20));

/// A viewer's window that fills the output of a compositor, connected to a host that notes what it gets.
/// Skipped where sway is not installed.
class WaylandTest : public testing::Test {
 protected:
  void SetUp() override;
  ~WaylandTest() override;

  static Sway& sway();
  static VirtualInput& input();
  bool hasFocus() const;
  QAction* action(const QString& text) const;
  bool shows(const QString& text) const;
  bool isGrabbed() const { return action("Grab keyboard")->isChecked(); }
  /// Moves the pointer to a pixel of the host's picture. The window is the only one of the first output.
  void pointAt(double remoteX, double remoteY) const;
  bool hasPressed(std::uint16_t key) const;
  std::size_t held() const;
  std::optional<inputEvent::Pointer> lastPress() const;
  /// What the outputs show, saved as NAME.png if QUORL_PICTURES names a folder.
  static void screenshot(const std::string& name);

  std::unique_ptr<FakeHost> host_;
  std::unique_ptr<ViewerWindow> window_;
};

}  // namespace quorl::viewer::test
