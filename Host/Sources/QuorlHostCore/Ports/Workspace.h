// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace quorl {

/// Applications of the desktop.
///
/// *Queue*: the main thread. There are no callbacks.
/// *Blocking*: may read files; `openApplication` does not wait for the application.
/// *Ownership*: returns copies; a started application does not belong to the host.
/// *Lifetime*: no work is pending between calls.
class Workspace {
 public:
  virtual ~Workspace() = default;

  /// The path of the application with this bundle identifier (on Linux: desktop-file id, without ".desktop").
  virtual std::optional<std::string> applicationPath(const std::string& bundleIdentifier) = 0;

  /// Opens the application at an absolute path. Does nothing for an unknown or damaged one.
  virtual void openApplication(const std::string& path) = 0;
};

}  // namespace quorl
