// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include <quorl-client/Sound/SoundDecoder.h>
#include <quorl-client/Sound/SoundReceiver.h>
#include <quorl-viewer/Sound/JitterBuffer.h>
#include <quorl-viewer/Sound/SoundOutput.h>

namespace quorl::viewer {

/// The sound of a host on this machine's output. While muted, the host is not asked for sound and the output
/// is closed.
///
/// *Queue*: one thread, that of the session. *Blocking*: none; a packet takes 0.05 ms to decode.
/// *Ownership*: owns decoder, buffer and output. *Lifetime*: no handler is called after destruction.
class SoundPlayback {
 public:
  struct Handlers {
    /// Ask the host for sound, or stop asking. In a method's call.
    std::function<void(bool isWanted)> wantSound;
    /// For people: sound does not work, and is tried again. On the session's thread for the host's sound, on
    /// the output's own thread for the output.
    std::function<void(const client::ClientError&)> failed;
  };

  SoundPlayback(std::unique_ptr<SoundOutput> output, Handlers handlers);
  ~SoundPlayback();
  SoundPlayback(const SoundPlayback&) = delete;
  SoundPlayback& operator=(const SoundPlayback&) = delete;

  /// The session is connected, for the first time or again.
  void start();
  /// The session is lost.
  void stop();
  void setMuted(bool isMuted);
  bool isMuted() const { return isMuted_; }

  void take(const client::SoundEvent& event);
  /// How old pictures are when they are shown (`PictureTimes::age`).
  void setPictureAge(client::Clock::duration age);

  /// Nothing while no sound is played.
  std::optional<JitterBuffer::Report> report(client::Clock::time_point now) const;
  std::uint64_t failedPackets() const { return decoder_.failedPackets(); }

 private:
  void configure(const AudioConfig& config);
  void play(const client::SoundPacket& packet);
  void openOutput(SoundFormat format);
  void closeOutput();

  const Handlers handlers_;
  std::unique_ptr<SoundOutput> output_;
  client::SoundDecoder decoder_;
  bool isStarted_ = false;
  bool isMuted_ = false;
  bool isConfigured_ = false;
  std::optional<SoundFormat> format_;  // of the open output

  mutable std::mutex mutex_;  // guards all below
  std::optional<JitterBuffer> buffer_;
};

}  // namespace quorl::viewer
