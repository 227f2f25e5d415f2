// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// What the platform permits this process to do.
///
/// *Queue*: any thread. There are no callbacks.
/// *Blocking*: queries are cheap and never prompt; requests return before the user has answered.
/// *Lifetime*: no work is pending between calls.
class Permissions {
 public:
  virtual ~Permissions() = default;
  virtual bool mayPostInput() = 0;
  virtual bool mayCaptureScreen() = 0;
  /// May show the platform's prompt.
  virtual void requestInput() = 0;
  virtual void requestScreenCapture() = 0;
};

}  // namespace quorl
