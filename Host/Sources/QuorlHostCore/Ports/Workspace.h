// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace quorl {

/// Applications of the desktop. Called on the main thread.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// The path of the application with this bundle identifier (on Linux: desktop-file id, without ".desktop").
  virtual std::optional<std::string> applicationPath(const std::string& bundleIdentifier) = 0;

  /// Opens the application at an absolute path. Unknown or broken paths do nothing.
  virtual void openApplication(const std::string& path) = 0;
};

}  // namespace quorl
