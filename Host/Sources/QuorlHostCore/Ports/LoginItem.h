// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// Starts the host at the user's login.
///
/// *Queue*: any thread, one operation at a time.
/// *Blocking*: each operation touches the disk; callers use `Scheduler::blocking`.
/// *Lifetime*: no work is pending between calls.
class LoginItem {
 public:
  virtual ~LoginItem() = default;
  virtual bool installed() const = 0;
  /// Takes effect at the next login. A failure is only logged.
  virtual void install() = 0;
  virtual void uninstall() = 0;
};

}  // namespace quorl
