// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Base/Waiter.h>
#include <quorl-viewer/Sound/Resampler.h>

namespace quorl::viewer {

/// Plays sound that it asks for.
///
/// *Queue*: `open`, `close`, `wake` from one thread at a time; the handlers on the output's own thread.
/// *Blocking*: none but for a lock; never called from a handler. *Ownership*: the playback's.
class SoundOutput {
 public:
  enum class Next : std::uint8_t { more, pause };
  struct Filled {
    std::size_t samples = 0;  // whole frames
    Next next = Next::more;
  };
  struct Handlers {
    /// Fills as many of the samples as it has, which are heard after `delay`; the output asks for the rest
    /// again. `pause`: it asks again after `wake`.
    std::function<Filled(std::span<std::int16_t> samples, client::Clock::duration delay)> source;
    /// The output does not play and is tried again; once for each series of failures.
    std::function<void(const client::ClientError&)> failed;
    std::function<void()> playing;
  };

  virtual ~SoundOutput() = default;
  /// Begins to play, in place of what was played before. `format` is playable.
  virtual void open(SoundFormat format, Handlers handlers) = 0;
  /// Ends playing. No handler is called afterwards.
  virtual void close() = 0;
  /// Sound has come: ends a pause.
  virtual void wake() = 0;
};

}  // namespace quorl::viewer
