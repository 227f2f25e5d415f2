// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// What the platform lets this process do.
///
/// *Queue*: any thread; the queries are cheap and never prompt.
class Permissions {
 public:
  virtual ~Permissions() = default;
  virtual bool mayPostInput() = 0;
  virtual bool mayCaptureScreen() = 0;
  /// May show the platform's prompt; returns at once.
  virtual void requestInput() = 0;
  virtual void requestScreenCapture() = 0;
};

}  // namespace quorl
