// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <quorl-viewer/Picture/DecodeQueue.h>
#include <quorl-viewer/Picture/PictureDecoder.h>
#include <quorl-viewer/Picture/PictureSlot.h>

namespace quorl::viewer {

/// Decodes a stream on a thread of its own. All pictures are decoded in order, since they build on each
/// other, and the newest one waits in a slot for the window. The thread sleeps while nothing has arrived.
///
/// *Queue*: all methods from any thread, but one at a time for those that push (`configure`, `decode`,
/// `hide`, `show`). *Blocking*: none, except that destruction waits for the picture that is being decoded.
/// *Ownership*: owns the decoder. *Lifetime*: no handler is called after destruction.
class DecodeThread {
 public:
  struct Handlers {
    /// A picture waits in the slot that was empty. On the decode thread.
    std::function<void()> pictureReady;
    /// The host must be asked for a key frame. On the decode thread or in a method's call.
    std::function<void()> keyframeNeeded;
    /// The stream cannot be decoded; once per configuration. On the decode thread.
    std::function<void(const client::ClientError&)> failed;
  };
  struct Counts {
    DecodeQueue::Drops drops;
    std::uint64_t replaced = 0;  // decoded, and replaced by a newer one before the window took it
    std::uint64_t damaged = 0;   // could not be decoded
    std::uint64_t decoded = 0;
  };

  DecodeThread(std::unique_ptr<PictureDecoder> decoder, Handlers handlers);
  ~DecodeThread();
  DecodeThread(const DecodeThread&) = delete;
  DecodeThread& operator=(const DecodeThread&) = delete;

  void configure(client::DecoderConfig config);
  void decode(client::EncodedPicture picture);
  /// A hidden window decodes and queues nothing; `show` waits for a key frame and asks for it.
  void hide();
  void show(client::Clock::time_point now);

  std::optional<TimedPicture> take() { return slot_.take(); }
  /// The timings of the pictures decoded since the last call, the newest `mostTimings` of them.
  std::vector<PictureTiming> takeTimings();
  static constexpr std::size_t mostTimings = 512;

  Counts counts() const;
  /// For people: the codec and what decodes it. Empty before the first configuration.
  std::string path() const;

 private:
  void run();
  void handle(const client::DecoderConfig& config);
  void handle(const client::EncodedPicture& picture);
  void deliver(PictureDecoder::Result result, const PictureTiming& timing);
  void report(const client::ClientError& error);
  void perform(DecodeQueue::Request request);

  const Handlers handlers_;
  // Decode thread only.
  std::unique_ptr<PictureDecoder> decoder_;
  bool isConfigured_ = false;
  bool isReported_ = false;
  int failedKeyframes_ = 0;

  PictureSlot slot_;
  mutable std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  DecodeQueue queue_;
  Counts counts_;
  std::string path_;
  std::vector<PictureTiming> timings_;
  std::uint64_t hides_ = 0;
  bool isOver_ = false;

  std::thread thread_;
};

}  // namespace quorl::viewer
