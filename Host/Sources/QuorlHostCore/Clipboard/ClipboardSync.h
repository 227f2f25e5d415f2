// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

/// Keeps this session's clipboard and the clients' in step. A change here goes to all clients; what a client
/// sends becomes the content here and goes to no other client.
///
/// Changes are pushed on the ticks of a one-second clock that begins with `start`, so that several changes
/// between two ticks are one push. Where the platform notifies of changes, the queue runs only on ticks after
/// a change.
///
/// *Queue*: owns "quorl.clipboard" (rank `service`); every operation may be called from any thread.
/// *Blocking*: none; the queue does not wait for the owner of the content either.
/// *Ownership*: shared by the runtime and its connections. *Lifetime*: pending work holds it weakly.
class ClipboardSync : public std::enable_shared_from_this<ClipboardSync> {
 public:
  static constexpr std::chrono::seconds pollInterval{1};
  static constexpr std::size_t maxImageSize = 5'242'880;
  /// More cannot be a message. What becomes too long as JSON is not sent either.
  static constexpr std::size_t maxTextSize = WireProtocol::maxFrameLength;
  /// Content that is pushed or applied, and offered again within this time, was taken over by a clipboard
  /// manager.
  static constexpr std::chrono::seconds takeOverTime{5};
  /// A TIFF may be many times as large as its PNG.
  static constexpr std::size_t maxTIFFSize = 64 * std::size_t{1'048'576};

  using Payload = std::optional<ClipboardPayload>;
  using Completion = std::function<void(Payload)>;
  using Broadcast = std::function<void(const ClipboardPayload&)>;

  /// Content that is there now is not pushed.
  ClipboardSync(Scheduler& scheduler, std::shared_ptr<Pasteboard> pasteboard,
                std::shared_ptr<ImageConverter> images);

  /// `broadcast` takes the changes made here, on the queue. Set before `start`.
  void setBroadcast(Broadcast broadcast);

  void start();
  void stop();
  void apply(ClipboardPayload payload);
  /// Calls `completion` once, on the queue, with the content: text first, else a picture as PNG.
  void currentPayload(Completion completion);

 private:
  /// One read of the content. Requests that arrive meanwhile share it.
  struct Reading {
    std::int64_t count = 0;  // the change count before the read
    int attempt = 1;
    bool isPush = false;
    std::vector<Completion> completions;
  };
  using ReadResult = std::expected<Bytes, PasteboardFailure>;

  void checkAtNextTick();
  void poll();
  void finishApply(std::int64_t count);
  Reading& joinReading();
  void readText();
  void readImage(PasteboardType type);
  void convertTIFF(Bytes tiff);
  void finishReading(Payload payload);
  void push(const Payload& payload, std::int64_t count);  // without one: what cannot be sent

  const SerialQueue queue_;
  const std::shared_ptr<Pasteboard> pasteboard_;
  const std::shared_ptr<ImageConverter> images_;
  std::atomic<bool> isCheckDue_{false};  // a change was notified, and no tick has come since

  Broadcast broadcast_ QUORL_GUARDED_BY(queue_);
  Timer timer_ QUORL_GUARDED_BY(queue_);
  std::optional<MonotonicTime> started_ QUORL_GUARDED_BY(queue_);  // absent: stopped
  std::int64_t lastChangeCount_ QUORL_GUARDED_BY(queue_);
  Payload applied_ QUORL_GUARDED_BY(queue_);  // from a client, until something else is copied here
  MonotonicTime appliedAt_ QUORL_GUARDED_BY(queue_);
  std::optional<SHA256Digest> pushed_ QUORL_GUARDED_BY(queue_);  // last, until a client sends content
  MonotonicTime pushedAt_ QUORL_GUARDED_BY(queue_);
  int applying_ QUORL_GUARDED_BY(queue_) = 0;
  bool isPollPostponed_ QUORL_GUARDED_BY(queue_) = false;  // until content is applied, or older one is read
  std::optional<Reading> reading_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
