// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Handover/HandOver.h>
#include <QuorlHostLinux/Upgrade/InstalledProgram.h>
#include <QuorlHostLinux/Upgrade/UpgradeRequests.h>
#include <QuorlHostPosix/MainLoop.h>

namespace quorl {

/// Replaces the running program by the installed version, in the same process. On a request (SIGURG) it
/// checks whether another file has been installed, and starts that as a child which must read a sample
/// hand-over. Only a version that accepts it within five seconds is executed; the agents' terminals and a
/// memory file with the state stay open.
///
/// The two programs find each other by an environment variable, because unknown options are ignored by all
/// versions: "trial:3" or "take:N", where the number is a descriptor of the file.
///
/// *Queue*: the main thread. *Blocking*: none but `endWatch`, which waits for a trial that it cancels.
class HostUpgrade {
 public:
  /// `arguments`: with the program's name.
  explicit HostUpgrade(std::vector<std::string> arguments);

  /// The exit status, if this process was started to answer whether it reads the running version's hand-over.
  static std::optional<int> answerToTrial();
  /// What the earlier program image left, if there is one.
  std::optional<HandOver> takeOver();

  /// Accepts requests. Called after the handlers for the signals to end were installed, and before there are
  /// other threads.
  void beginWatch();
  /// Called on another thread when a version was accepted, at once if that has happened already.
  void whenAccepted(std::function<void()> accepted);
  /// Accepts no more requests. Returns whether a version was accepted.
  bool endWatch();

  /// Executes the installed version. Returns only if that fails, with the reason in the log.
  /// `descriptorLimit`: the soft limit that the new version should see, if this one has changed it.
  void execute(const HandOver& handOver, const TerminationSignals& signals,
               std::optional<std::uint64_t> descriptorLimit);

 private:
  void consider(int cancel);

  const std::vector<std::string> arguments_;
  const InstalledProgram program_ = InstalledProgram::ofThisProcess();
  std::unique_ptr<UpgradeRequests> requests_;
  std::mutex mutex_;
  bool isAccepted_ = false;             // guarded by the lock
  std::function<void()> whenAccepted_;  // the same
};

}  // namespace quorl
