// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <string>

namespace quorl {

/// The tool or service that failed, and why.
struct SystemFailure {
  std::string tool;
  std::string reason;

  bool operator==(const SystemFailure&) const = default;
};
using SystemResult = std::expected<void, SystemFailure>;

enum class PowerAssertion : std::uint8_t {
  preventIdleSystemSleep,   // an idle machine does not sleep
  preventIdleDisplaySleep,  // the displays of an idle machine stay on
};

/// Keeps the machine or its displays awake.
///
/// *Queue*: one thread at a time.
/// *Blocking*: may ask another process; callers use `Scheduler::blocking`.
/// *Ownership*: the adapter holds what was created until it is released.
/// *Lifetime*: destruction, and the end of the process however it ends, release everything.
class PowerAssertions {
 public:
  using ID = std::uint32_t;
  static constexpr ID none = 0;

  virtual ~PowerAssertions() = default;
  /// `name` is what a user sees in the system's power diagnostics. `none` if the platform cannot do it now.
  virtual ID create(PowerAssertion kind, const std::string& name) = 0;
  /// Acts as if a person used the machine: displays that sleep wake up.
  virtual ID declareUserActivity(const std::string& name) = 0;
  /// Does nothing for an unknown identity.
  virtual void release(ID assertion) = 0;
};

/// *Queue*: one thread at a time. *Blocking*: may ask another process; callers use `Scheduler::blocking`.
class DisplayPower {
 public:
  virtual ~DisplayPower() = default;
  virtual SystemResult sleepDisplays() = 0;
};

/// *Queue*: one thread at a time. *Blocking*: may ask another process; callers use `Scheduler::blocking`.
class ScreenLock {
 public:
  virtual ~ScreenLock() = default;
  /// Returns without waiting until the screen is locked.
  virtual SystemResult lock() = 0;
};

/// *Queue*: one thread at a time. *Blocking*: may ask another process; callers use `Scheduler::blocking`.
class OutputVolume {
 public:
  virtual ~OutputVolume() = default;
  /// The volume of the default output, 0 to 100.
  virtual SystemResult setVolume(int percent) = 0;
};

}  // namespace quorl
