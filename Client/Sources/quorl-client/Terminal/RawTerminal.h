// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Terminal/TerminalWriter.h>

namespace quorl::client {

// The terminal that a person sits at, in raw mode (POSIX.1-2017, termios): keys come byte by byte and none
// of them is a signal. Its modes are set back by destruction, and by a handler when the process crashes.
// Queue: one thread, on which the signals are blocked that come by `signals()`. Ownership: one at a time in a
// process. Lifetime: raw from `enter` to destruction, but for `suspend`.
class RawTerminal final : public TerminalWriter {
 public:
  // `input` must be a terminal; what is written goes to `output`.
  static Outcome<RawTerminal> enter(int input, int output);
  RawTerminal(RawTerminal&& other) noexcept;
  RawTerminal& operator=(RawTerminal&&) = delete;
  ~RawTerminal() override;

  int input() const { return input_; }
  // Readable when the window's size has changed, or the process was asked to stop or has been continued.
  int signals() const { return signals_.get(); }
  struct Signals {
    bool hasResized = false;
    bool hasToStop = false;
    bool hasContinued = false;
  };
  Signals takeSignals();

  std::optional<TerminalSize> size() const override;
  // What is typed now, without waiting; nothing new is empty. The end of input fails with `interrupted`.
  Outcome<Bytes> read();
  Outcome<void> write(ByteView bytes) override;
  // More than 4096 bytes are cut off.
  void setRestoring(ByteView bytes) override;

  // Gives the terminal back, stops the process, and takes the terminal again when it is continued.
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
