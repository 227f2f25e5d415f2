// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// What the platform permits this process to do.
///
/// *Queue*: any thread.
/// *Blocking*: callers query before every input event, so a query returns a cached answer and never prompts.
/// The adapter refreshes the answer when the platform reports a change. Only while there is no display may a
/// query wait for an attempt to reach one, at bounded intervals. *Lifetime*: no query may run during the
/// destruction.
class Permissions {
 public:
  virtual ~Permissions() = default;
  virtual bool mayPostInput() = 0;
  virtual bool mayCaptureScreen() = 0;
  /// May show the platform's prompt.
  virtual void requestInput() = 0;
  virtual void requestScreenCapture() = 0;

  /// Whether a request can show a prompt.
  virtual bool hasPrompt() { return true; }
  /// Why it is not permitted, as a sentence for a person. Empty if it is permitted or the cause is unknown.
  virtual std::string inputObstacle() { return {}; }
  virtual std::string screenCaptureObstacle() { return {}; }
  /// What does not work even if both are permitted, as a sentence. Empty if nothing is known.
  virtual std::string limitation() { return {}; }
};

}  // namespace quorl
