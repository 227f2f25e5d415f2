// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// The displays, windows and applications that a client can choose to stream. Windows that a person would not
/// recognise are left out. Pure.
HostState hostStateFromContent(const ShareableContent& content);

/// Answers what can be streamed now.
///
/// *Queue*: "quorl.hoststate"; `buildState` may be called from any thread.
/// *Blocking*: none.
/// *Ownership*: shared by the runtime and its connections.
/// *Lifetime*: the runtime's. A pending request keeps its completion.
class HostStateProvider : public std::enable_shared_from_this<HostStateProvider> {
 public:
  static constexpr std::chrono::milliseconds enumerationLimit{1500};

  using Completion = std::function<void(HostState)>;

  HostStateProvider(Scheduler& scheduler, std::shared_ptr<ScreenCapture> screen);

  /// Calls `completion` exactly once, on the queue. The lists are empty if the platform fails or exceeds the
  /// time limit.
  void buildState(Completion completion);

 private:
  struct Answer;
  static void deliver(const std::shared_ptr<Answer>& answer, HostState state);

  const SerialQueue queue_;
  const std::shared_ptr<ScreenCapture> screen_;
};

}  // namespace quorl
