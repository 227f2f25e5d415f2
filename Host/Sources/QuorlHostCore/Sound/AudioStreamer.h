// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostCore/Ports/Sound.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// Captures the session's sound once, compresses it once and sends each packet to every client that wants it.
/// The capture runs while there is a subscriber.
///
/// *Queue*: owns "quorl.audio" (rank `service`); every operation may be called from any thread and returns at
/// once. *Ownership*: shared by the runtime and its connections; holds sinks weakly. *Lifetime*: pending work
/// holds it weakly; its destruction, on any thread, waits for the queue.
class AudioStreamer : public std::enable_shared_from_this<AudioStreamer> {
 public:
  enum class Acknowledge : std::uint8_t { no, yes };

  AudioStreamer(Scheduler& scheduler, std::shared_ptr<ScreenCapture> screen,
                std::shared_ptr<SoundCapture> sound, std::shared_ptr<SoundCompressorFactory> compressors);
  ~AudioStreamer();

  /// Acknowledged with `audioControl`, then `audioConfig` before the first packet.
  void subscribe(std::shared_ptr<StreamOutputSink> sink);
  /// Of a sink that is not subscribed: nothing.
  void unsubscribe(const std::shared_ptr<StreamOutputSink>& sink, Acknowledge acknowledge);

 private:
  using SinkID = const StreamOutputSink*;

  void startIfNeeded();
  void handleContent(const std::expected<ShareableContent, PortError>& content);
  void startCapture();
  void handleStarted(std::uint64_t capture, const std::optional<PortError>& error);
  void handleBuffer(const PCMBuffer& buffer);
  bool ensureCompressor(const PCMFormat& format);
  void sendPackets(const CompressedSound& sound);
  void broadcast(ByteView packet);
  void makeConfig();
  void stopIfIdle();

  // Runs a step on the queue unless the streamer has gone by then.
  template <class Step>
  void onQueue(Step step) const;

  const SerialQueue queue_;
  const std::shared_ptr<ScreenCapture> screen_;
  const std::shared_ptr<SoundCapture> sound_;
  const std::shared_ptr<SoundCompressorFactory> compressors_;

  std::unique_ptr<SoundStream> stream_ QUORL_GUARDED_BY(queue_);
  std::uint64_t captures_ QUORL_GUARDED_BY(queue_) = 0;  // so far; tells a late answer from that of this one
  bool starting_ QUORL_GUARDED_BY(queue_) = false;       // the content is being looked up
  std::map<SinkID, std::weak_ptr<StreamOutputSink>> subscribers_ QUORL_GUARDED_BY(queue_);
  std::set<SinkID> configSent_ QUORL_GUARDED_BY(queue_);
  std::unique_ptr<SoundCompressor> compressor_ QUORL_GUARDED_BY(queue_);
  PCMFormat inputFormat_ QUORL_GUARDED_BY(queue_);  // of the compressor
  std::uint64_t framesSent_ QUORL_GUARDED_BY(queue_) = 0;
  std::optional<AudioConfig> audioConfig_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
