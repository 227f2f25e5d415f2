// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Clipboard/ClipboardSync.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

ClipboardSync::ClipboardSync(Scheduler& scheduler, std::shared_ptr<Pasteboard> pasteboard,
                             std::shared_ptr<ImageConverter> images)
    : queue_(scheduler, "quorl.clipboard", QueueRank::service),
      pasteboard_(std::move(pasteboard)),
      images_(std::move(images)),
      lastChangeCount_(pasteboard_->changeCount()) {}

void ClipboardSync::setBroadcast(Broadcast broadcast) {
  queue_.async([self = shared_from_this(), broadcast = std::move(broadcast)]() mutable {
    self->queue_.assertCurrent();
    self->broadcast_ = std::move(broadcast);
  });
}

void ClipboardSync::start() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->timer_ = self->queue_.every(pollInterval, pollInterval, [weak = self->weak_from_this()] {
      if (const auto sync = weak.lock()) sync->poll();
    });
  });
}

void ClipboardSync::stop() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->timer_.cancel();
  });
}

void ClipboardSync::apply(ClipboardPayload payload) {
  queue_.async([self = shared_from_this(), payload = std::move(payload)] {
    self->queue_.assertCurrent();
    self->lastChangeCount_ = self->replace(payload.content);
    self->applied_ = payload;
    Log::clipboard.info("applied remote clipboard");
  });
}

std::int64_t ClipboardSync::replace(const ClipboardContent& content) {
  std::int64_t count = 0;
  queue_.scheduler().blocking([&] {
    if (const auto* text = std::get_if<clipboardContent::Text>(&content))
      count = pasteboard_->replace(PasteboardType::text, bytesOf(text->_0));
    else
      count = pasteboard_->replace(PasteboardType::png, std::get<clipboardContent::Image>(content)._0);
  });
  return count;
}

void ClipboardSync::currentPayload(std::function<void(Payload)> completion) {
  queue_.async(
      [self = shared_from_this(), completion = std::move(completion)] { completion(self->readPayload()); });
}

// The count is stored first: content that cannot be read or is too large is not tried again.
void ClipboardSync::poll() {
  queue_.assertCurrent();
  const std::int64_t count = pasteboard_->changeCount();
  if (count == lastChangeCount_) return;
  lastChangeCount_ = count;
  const Payload payload = readPayload();
  // A clipboard manager that takes over what a client sent changes the count, not the content.
  if (!payload || payload == applied_) return;
  applied_.reset();
  Log::clipboard.info(fmt::format("pushing local clipboard change #{}", count));
  if (broadcast_) broadcast_(*payload);
}

ClipboardSync::Payload ClipboardSync::readPayload() {
  Payload payload;
  queue_.scheduler().blocking([&] {
    if (const auto text = pasteboard_->read(PasteboardType::text, maxTextSize); text && !text->empty())
      payload = ClipboardPayload{clipboardContent::Text{repairedUTF8(textViewOf(*text))}};
    else if (auto image = readImage(); image && image->size() <= maxImageSize)
      payload = ClipboardPayload{clipboardContent::Image{std::move(*image)}};
  });
  return payload;
}

std::optional<Bytes> ClipboardSync::readImage() {
  // A TIFF may be many times as large as its PNG.
  constexpr std::size_t maxTIFFSize = 64 * std::size_t{1'048'576};
  if (auto png = pasteboard_->read(PasteboardType::png, maxImageSize + 1)) return png;
  const auto tiff = pasteboard_->read(PasteboardType::tiff, maxTIFFSize);
  return tiff ? images_->pngFromTIFF(*tiff) : std::nullopt;
}

}  // namespace quorl
