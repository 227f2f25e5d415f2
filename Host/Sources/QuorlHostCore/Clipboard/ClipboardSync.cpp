// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Clipboard/ClipboardSync.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

ByteView bytesIn(const ClipboardContent& content) {
  if (const auto* text = std::get_if<clipboardContent::Text>(&content)) return viewOf(text->_0);
  return std::get<clipboardContent::Image>(content)._0;
}

}  // namespace

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
    self->started_ = self->queue_.now();
    const auto weak = self->weak_from_this();
    const bool notifies = self->pasteboard_->setChangeHandler([weak] {
      const auto sync = weak.lock();
      if (!sync || sync->isCheckDue_.exchange(true)) return;
      sync->queue_.async([sync] { sync->checkAtNextTick(); });
    });
    if (notifies) {
      // The content may have changed since the construction.
      self->isCheckDue_ = true;
      self->checkAtNextTick();
    } else {
      self->timer_ = self->queue_.every(pollInterval, pollInterval, [weak] {
        if (const auto sync = weak.lock()) sync->poll();
      });
    }
  });
}

void ClipboardSync::stop() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->started_.reset();
    self->timer_.cancel();
    self->pasteboard_->setChangeHandler({});
  });
}

void ClipboardSync::checkAtNextTick() {
  queue_.assertCurrent();
  if (!started_) return;
  const auto sinceTick = (queue_.now() - *started_) % pollInterval;
  timer_ = queue_.after(pollInterval - sinceTick, [weak = weak_from_this()] {
    if (const auto sync = weak.lock()) sync->poll();
  });
}

void ClipboardSync::apply(ClipboardPayload payload) {
  queue_.async([self = shared_from_this(), payload = std::move(payload)]() mutable {
    self->queue_.assertCurrent();
    ++self->applying_;
    self->pushed_.reset();
    // The client's content is newer than what is being read.
    if (self->reading_) self->reading_->isPush = false;
    self->applied_ = std::move(payload);
    const auto& content = self->applied_->content;
    const auto* text = std::get_if<clipboardContent::Text>(&content);
    self->pasteboard_->replace(
        text != nullptr ? PasteboardType::text : PasteboardType::png,
        text != nullptr ? bytesOf(text->_0) : std::get<clipboardContent::Image>(content)._0,
        [weak = self->weak_from_this(), queue = self->queue_](std::int64_t count) {
          queue.async([weak, count] {
            if (const auto sync = weak.lock()) sync->finishApply(count);
          });
        });
  });
}

void ClipboardSync::finishApply(std::int64_t count) {
  queue_.assertCurrent();
  --applying_;
  lastChangeCount_ = count;
  appliedAt_ = queue_.now();
  Log::clipboard.info("applied remote clipboard");
  if (applying_ == 0 && std::exchange(isPollPostponed_, false)) poll();
}

void ClipboardSync::currentPayload(Completion completion) {
  queue_.async([self = shared_from_this(), completion = std::move(completion)]() mutable {
    self->queue_.assertCurrent();
    self->joinReading().completions.push_back(std::move(completion));
  });
}

// The count is stored first: content that cannot be read or is too large is not tried again.
void ClipboardSync::poll() {
  queue_.assertCurrent();
  isCheckDue_ = false;
  if (!started_) return;
  if (applying_ > 0) {
    // The change may be our own, whose count is not known yet.
    isPollPostponed_ = true;
    return;
  }
  const std::int64_t count = pasteboard_->changeCount();
  if (count == lastChangeCount_) return;
  if (reading_ && reading_->count != count) {
    // What is being read is older than the change.
    isPollPostponed_ = true;
    return;
  }
  lastChangeCount_ = count;
  joinReading().isPush = true;
}

ClipboardSync::Reading& ClipboardSync::joinReading() {
  queue_.assertCurrent();
  if (!reading_) {
    reading_ = Reading{.count = pasteboard_->changeCount()};
    readText();
  }
  return *reading_;
}

void ClipboardSync::readText() {
  pasteboard_->read(PasteboardType::text, maxTextSize,
                    [weak = weak_from_this(), queue = queue_](ReadResult text) {
                      queue.async([weak, text = std::move(text)] {
                        const auto self = weak.lock();
                        if (!self) return;
                        if (text && !text->empty())
                          return self->finishReading(
                              ClipboardPayload{clipboardContent::Text{repairedUTF8(textViewOf(*text))}});
                        if (!text && text.error() != PasteboardFailure::absent)
                          return self->finishReading(std::nullopt);
                        self->readImage(PasteboardType::png);
                      });
                    });
}

void ClipboardSync::readImage(PasteboardType type) {
  const bool isPNG = type == PasteboardType::png;
  pasteboard_->read(
      type, isPNG ? maxImageSize : maxTIFFSize,
      [weak = weak_from_this(), queue = queue_, isPNG](ReadResult image) {
        queue.async([weak, isPNG, image = std::move(image)]() mutable {
          const auto self = weak.lock();
          if (!self) return;
          if (image && !isPNG) return self->convertTIFF(std::move(*image));
          if (image) return self->finishReading(ClipboardPayload{clipboardContent::Image{std::move(*image)}});
          if (isPNG && image.error() == PasteboardFailure::absent)
            return self->readImage(PasteboardType::tiff);
          self->finishReading(std::nullopt);
        });
      });
}

// A large picture takes seconds, in which the queue must stay free to apply what clients send.
void ClipboardSync::convertTIFF(Bytes tiff) {
  queue_.scheduler().execute([self = shared_from_this(), tiff = std::move(tiff)] {
    std::optional<Bytes> png;
    self->queue_.scheduler().blocking([&] { png = self->images_->pngFromTIFF(tiff); });
    Payload payload;
    if (png && png->size() <= maxImageSize)
      payload = ClipboardPayload{clipboardContent::Image{std::move(*png)}};
    self->queue_.async(
        [self, payload = std::move(payload)]() mutable { self->finishReading(std::move(payload)); });
  });
}

void ClipboardSync::finishReading(Payload payload) {
  queue_.assertCurrent();
  // What a program copies meanwhile is read at once for those who asked, and at the next tick for a push.
  constexpr int mostAttempts = 3;
  const std::int64_t count = pasteboard_->changeCount();
  const bool isCurrent = count == reading_->count;
  if (!isCurrent) reading_->isPush = false;
  if (!isCurrent && !reading_->completions.empty() && reading_->attempt < mostAttempts) {
    reading_->count = count;
    ++reading_->attempt;
    return readText();
  }
  const Reading finished = *std::exchange(reading_, std::nullopt);
  for (const auto& completion : finished.completions) completion(payload);
  if (finished.isPush && started_) push(payload, finished.count);
  if (std::exchange(isPollPostponed_, false)) poll();
}

// A clipboard manager that takes content over changes the count, not the content.
void ClipboardSync::push(const Payload& payload, std::int64_t count) {
  queue_.assertCurrent();
  const MonotonicTime now = queue_.now();
  if (payload && payload == applied_ && now - appliedAt_ < takeOverTime) return;
  applied_.reset();
  if (!payload) return;
  const auto digest = sha256(bytesIn(payload->content));
  if (pushed_ == digest && now - pushedAt_ < takeOverTime) return;
  pushed_ = digest;
  pushedAt_ = now;
  Log::clipboard.info(fmt::format("pushing local clipboard change #{}", count));
  if (broadcast_) broadcast_(*payload);
}

}  // namespace quorl
