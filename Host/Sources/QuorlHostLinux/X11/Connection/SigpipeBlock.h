// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <csignal>

namespace quorl {

/// Keeps a SIGPIPE of this thread from ending the process: XCB writes with writev, which raises the signal
/// when the server has gone.
///
/// *Queue*: one thread, in a scope.
class SigpipeBlock {
 public:
  SigpipeBlock();
  ~SigpipeBlock();
  SigpipeBlock(const SigpipeBlock&) = delete;
  SigpipeBlock& operator=(const SigpipeBlock&) = delete;

 private:
  sigset_t before_{};
  bool wasPending_ = false;
};

}  // namespace quorl
