// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

#include <QSocketNotifier>

#include <QuorlUnix/Descriptor.h>

namespace quorl::viewer {

/// SIGTERM, SIGINT and SIGHUP as an event of the GUI thread, so that windows close in order and their
/// sessions say goodbye.
///
/// *Queue*: made before any other thread starts, because threads inherit the blocked signals. *Lifetime*:
/// the process's. A second signal ends the process at once.
class TerminationSignals {
 public:
  TerminationSignals();

  /// `received` runs on the GUI thread, once. The application must exist.
  void watch(std::function<void()> received);

 private:
  Descriptor signals_;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace quorl::viewer
