// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <string>

#include <QString>
#include <QThreadPool>

#include <quorl-client/Notifications/DesktopNotifier.h>
#include <quorl-viewer/Targets/AgentBoard.h>

namespace quorl::viewer {

/// Brings an agent to the person at this computer: a notification of the desktop when it needs one, and a
/// terminal with it.
///
/// *Queue*: the GUI thread. *Ownership*: the window's. *Lifetime*: destruction waits up to two seconds for a
/// notification that is being shown, and drops those that wait.
class AgentDesk {
 public:
  /// `host`: as `--host` takes it.
  explicit AgentDesk(std::string host) : host_(std::move(host)) { worker_.setMaxThreadCount(1); }
  ~AgentDesk() {
    worker_.clear();
    worker_.waitForDone();
  }
  AgentDesk(const AgentDesk&) = delete;
  AgentDesk& operator=(const AgentDesk&) = delete;

  /// Those beyond eight in ten seconds are not shown.
  void notify(const AgentNotice& notice);
  /// A sentence for people if it does not work. The terminal outlives the window.
  QString openTerminal(const UUID& agent) const;

 private:
  const std::string host_;
  std::deque<std::chrono::steady_clock::time_point> shown_;  // the times of the last ones
  QThreadPool worker_;
  std::atomic<int> waiting_ = 0;
};

}  // namespace quorl::viewer
