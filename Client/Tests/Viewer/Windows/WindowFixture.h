// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <QAction>
#include <QImage>

#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServerFixture.h>

#include <quorl-viewer/Windows/ViewerWindow.h>

#include "../../Support/FakeHost.h"
#include "../../Support/SampleState.h"

namespace quorl::viewer::test {

using client::test::FakeHost;
using client::test::HostBehaviour;
using client::test::SampleVideo;
using quorl::test::HelperProgram;

void useDesktop(quorl::test::XServer& desktop);
/// The display of this program.
quorl::test::XServer& desktop();

/// Handles the toolkit's events until `condition` holds or the deadline passes. Returns whether it holds.
bool spinUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds deadline = std::chrono::seconds(20));

/// Keys and buttons that the host was asked to press and not to release.
std::size_t heldAt(const FakeHost& host);

/// One picture, sent once: 320x240 unless the source says otherwise.
const SampleVideo& stillPicture();

/// A viewer's window on a real display, connected to a host that notes what it gets.
class WindowTest : public testing::Test {
 protected:
  ~WindowTest() override;

  /// By default the host shows a still picture and the sample's lists.
  static HostBehaviour ordinary();
  /// Opens a window of a host; waits until it has the focus and a stream.
  void open(HostBehaviour behaviour = ordinary(), ViewerWindow::Start start = {});
  /// Another window of the same host, without waiting for anything.
  void openWindow(ViewerWindow::Start start = {});
  void closeWindow();
  bool activate();
  bool hasPicture();

  /// Runs xdotool to its end.
  static void act(std::vector<std::string> arguments);
  /// The upper left corner of the view on the display, in device pixels.
  QPoint viewOrigin() const;
  /// The place of the display where a pixel of the host's picture is seen.
  QPoint displayPointOf(double remoteX, double remoteY) const;
  void pointAt(double remoteX, double remoteY) const;
  /// What the display shows. Saved as NAME.png if QUORL_PICTURES names a folder.
  static QImage screenshot(const std::string& name = {});
  QColor colourAt(double remoteX, double remoteY) const;
  /// The parts of the window of a class, which need not be one of the toolkit.
  template <class Part>
  std::vector<Part*> parts() const {
    std::vector<Part*> found;
    for (auto* widget : window_->findChildren<QWidget*>())
      if (auto* part = dynamic_cast<Part*>(widget)) found.push_back(part);
    return found;
  }
  template <class Part>
  Part& part() const {
    return *parts<Part>().at(0);
  }
  QAction* action(const QString& text) const;
  /// Whether a notice over the picture has this text in it.
  bool shows(const QString& text) const;
  template <class Case>
  std::size_t countOf() const {
    return host_->messagesOf<Case>().size();
  }

  quorl::test::TemporaryFolder folder_;
  std::unique_ptr<FakeHost> host_;
  client::PairedHost paired_;
  std::unique_ptr<ViewerWindow> window_;
};

}  // namespace quorl::viewer::test
