// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Terminal/ResizePacer.h>

namespace quorl::client {

/// The output side of a person's terminal.
///
/// *Queue*: one thread. *Blocking*: `write` waits until the terminal takes the bytes. *Ownership*: borrowed
/// by its users. *Lifetime*: outlives them.
class TerminalWriter {
 public:
  virtual ~TerminalWriter() = default;

  /// Writes all of it, in one call if the terminal takes it. Fails with `interrupted` if the terminal is
  /// gone.
  virtual Outcome<void> write(ByteView bytes) = 0;
  /// Nothing if the terminal does not report it.
  virtual std::optional<TerminalSize> size() const = 0;
  /// What a crash of this process writes to the terminal to undo the modes that were set.
  virtual void setRestoring(ByteView bytes) = 0;
};

}  // namespace quorl::client
