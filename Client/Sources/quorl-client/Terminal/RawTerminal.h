// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Terminal/TerminalWriter.h>

namespace quorl::client {

/// The person's terminal in raw mode (POSIX.1-2017, termios): keys arrive byte by byte, and none raises a
/// signal. Its modes are restored by the destructor, and by a handler if the process crashes.
///
/// *Queue*: one thread, on which the signals of `signals()` are blocked. *Ownership*: one at a time in a
/// process. *Lifetime*: raw from `enter` to destruction, except during `stopProcess`.
class RawTerminal final : public TerminalWriter {
 public:
  /// `input` must be a terminal; `write` goes to `output`.
  static Outcome<RawTerminal> enter(int input, int output);
  RawTerminal(RawTerminal&& other) noexcept;
  RawTerminal& operator=(RawTerminal&&) = delete;
  ~RawTerminal() override;

  int input() const { return input_; }
  /// Readable after a change of the window size, a request to stop, or a continuation.
  int signals() const { return signals_.get(); }
  struct Signals {
    bool hasResized = false;
    bool hasToStop = false;
    bool hasContinued = false;
  };
  Signals takeSignals();

  std::optional<TerminalSize> size() const override;
  /// The input typed so far, without waiting; may be empty. Fails with `interrupted` at the end of input.
  Outcome<Bytes> read();
  Outcome<void> write(ByteView bytes) override;
  /// More than 4096 bytes are cut off.
  void setRestoring(ByteView bytes) override;

  /// Restores the terminal, stops the process, and sets raw mode again after the continuation.
  void stopProcess();

 private:
  RawTerminal(int input, int output) : input_(input), output_(output) {}
  void makeRaw();
  void giveBack();

  int input_ = -1;
  int output_ = -1;
  Descriptor signals_;
  bool isRaw_ = false;
};

}  // namespace quorl::client
