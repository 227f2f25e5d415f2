// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/ScreenCapture.h>

namespace quorl::test {

/// An ordinary window of the process 10, which `FakeRunningApplications` lists at first.
inline ShareableWindow editorWindow(std::uint32_t windowID, std::string title, PointSize size = {400, 300}) {
  return {.windowID = windowID,
          .pid = 10,
          .title = std::move(title),
          .bundleID = "org.example.editor",
          .appName = "Editor",
          .frame = {{0, 0}, size},
          .isOnScreen = true,
          .layer = 0};
}

}  // namespace quorl::test
