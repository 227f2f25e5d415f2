// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The applications that have a user interface in this session.
///
/// *Queue*: any thread, also where the platform's own calls belong to the main thread. Calls may overlap.
/// There are no callbacks. *Blocking*: may wait for the window server and read files; callers use
/// `Scheduler::blocking`. *Ownership*: returns copies. *Lifetime*: no call may run during the destruction.
class RunningApplications {
 public:
  virtual ~RunningApplications() = default;

  /// The processes that a person would call running applications: those a dock or task bar shows.
  virtual std::set<std::int32_t> regularApplications() = 0;

  /// The application's icon, `side` by `side` pixels, as PNG (ISO/IEC 15948). Absent when it has none.
  virtual std::optional<Bytes> iconPNG(const std::string& bundleID, std::int32_t pid, int side) = 0;
};

}  // namespace quorl
