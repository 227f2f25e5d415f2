// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>

#include <quorl-client/Sound/SoundDecoder.h>

namespace quorl::client {

/// Plays sound on this machine's default output by the sound server's library (libpulse-simple), which is
/// looked up at run time, so that a machine without one can still save sound.
///
/// *Queue*: the command's; a thread of the player waits for the server. *Blocking*: `open` waits for the
/// server's answer. *Ownership*: the caller's.
/// *Lifetime*: destruction drops what has not been played.
class SoundPlayer {
 public:
  static Outcome<std::unique_ptr<SoundPlayer>> open(int sampleRate, int channels);
  ~SoundPlayer();

  /// Queues sound. While more than half a second waits, the oldest is dropped.
  void play(DecodedSound sound);
  /// Fails once the server has refused sound.
  Outcome<void> state() const;

  std::uint64_t droppedSamples() const;

 private:
  struct Shared;
  explicit SoundPlayer(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}

  std::shared_ptr<Shared> shared_;
};

}  // namespace quorl::client
