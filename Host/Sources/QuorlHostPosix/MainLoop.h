// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QuorlHostCore/Ports/MainThread.h>
#include <QuorlHostPosix/Pipe.h>
#include <QuorlHostPosix/PostedWork.h>

namespace quorl {

/// SIGTERM and SIGINT as a readable descriptor. Handlers, not a blocked mask: children would inherit a mask.
///
/// *Queue*: made and destroyed on one thread, before and after all others exist. One at a time.
/// *Lifetime*: destruction restores the default action, so that a second signal ends a shutdown that hangs.
class TerminationSignals {
 public:
  TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;
  ~TerminationSignals();

  /// Readable after a signal, permanently.
  int descriptor() const { return pipe_.readEnd.get(); }

 private:
  Pipe pipe_;
};

/// A broken pipe is an error of the write, not a signal. A handler rather than SIG_IGN, which children would
/// inherit.
void turnBrokenPipesIntoErrors();

/// The application loop without a toolkit: posted work, and an end on a signal.
///
/// *Queue*: `run` on the main thread; `post` and `quit` from any thread.
/// *Lifetime*: work still posted at the end is dropped.
class MainLoop final : public MainThread {
 public:
  void post(std::move_only_function<void()> work) override;
  void quit();
  /// Runs posted work until `quit` or a signal.
  void run(const TerminationSignals& signals);

 private:
  PostedWork posted_;
};

}  // namespace quorl
