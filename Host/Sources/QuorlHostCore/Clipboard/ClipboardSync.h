// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// Keeps this session's clipboard and the clients' in step. A change here goes to all clients; what a client
/// sends becomes the content here and goes to nobody else.
///
/// *Queue*: owns "quorl.clipboard" (rank `service`); every operation may be called from any thread.
/// *Blocking*: none; the queue itself waits for the owner of the content.
/// *Ownership*: shared by the runtime and its connections. *Lifetime*: pending work holds it weakly.
class ClipboardSync : public std::enable_shared_from_this<ClipboardSync> {
 public:
  static constexpr std::chrono::seconds pollInterval{1};
  static constexpr std::size_t maxImageSize = 5'242'880;
  /// More than this cannot be a message, whose frame is limited too.
  static constexpr std::size_t maxTextSize = 16 * 1'048'576;

  using Payload = std::optional<ClipboardPayload>;

  using Broadcast = std::function<void(const ClipboardPayload&)>;

  /// Content that is there now is not pushed.
  ClipboardSync(Scheduler& scheduler, std::shared_ptr<Pasteboard> pasteboard,
                std::shared_ptr<ImageConverter> images);

  /// `broadcast` takes the changes made here, on the queue. Set before `start`.
  void setBroadcast(Broadcast broadcast);

  void start();
  void stop();
  void apply(ClipboardPayload payload);
  /// Calls `completion` once, on the queue, with what the clipboard holds: text first, else a picture as PNG.
  void currentPayload(std::function<void(Payload)> completion);

 private:
  void poll();
  std::int64_t replace(const ClipboardContent& content);
  Payload readPayload();
  std::optional<Bytes> readImage();

  const SerialQueue queue_;
  const std::shared_ptr<Pasteboard> pasteboard_;
  const std::shared_ptr<ImageConverter> images_;
  Broadcast broadcast_ QUORL_GUARDED_BY(queue_);
  Timer timer_ QUORL_GUARDED_BY(queue_);
  std::int64_t lastChangeCount_ QUORL_GUARDED_BY(queue_);
  Payload applied_ QUORL_GUARDED_BY(queue_);  // from a client, until something else is copied here
};

}  // namespace quorl
