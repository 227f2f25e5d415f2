// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// The machine's name, model and system version. A fact that cannot be read is empty.
///
/// *Queue*: any thread. There are no callbacks.
/// *Blocking*: each call may read files; callers use `Scheduler::blocking`.
/// *Ownership*: returns copies.
/// *Lifetime*: no work is pending between calls.
class MachineFacts {
 public:
  virtual ~MachineFacts() = default;
  virtual std::string computerName() = 0;
  virtual std::string hardwareModel() = 0;
  virtual std::string operatingSystemVersion() = 0;
};

}  // namespace quorl
