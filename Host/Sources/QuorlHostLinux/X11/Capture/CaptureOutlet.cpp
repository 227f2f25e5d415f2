// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureOutlet.h>

namespace quorl {

void StreamCallbacks::post(std::move_only_function<void()> call) {
  queue_.async([self = shared_from_this(), call = std::move(call)]() mutable {
    const std::scoped_lock lock(self->mutex_);
    if (!self->isSilent_) call();
  });
}

void StreamCallbacks::picture(CapturedPicture picture) {
  if (!handlers_.picture) return;
  post([this, picture = std::move(picture)]() mutable { handlers_.picture(std::move(picture)); });
}

void StreamCallbacks::placed(const PointRect& rect) {
  if (!handlers_.placed) return;
  post([this, rect] { handlers_.placed(rect); });
}

void StreamCallbacks::stopped(const PortError& error) {
  if (!handlers_.stopped) return;
  post([this, error] { handlers_.stopped(error); });
}

void StreamCallbacks::complete(CaptureStream::Completion completion, std::expected<void, PortError> result) {
  if (!completion) return;
  post([completion = std::move(completion), result = std::move(result)]() mutable {
    completion(std::move(result));
  });
}

void StreamCallbacks::silence() {
  const std::scoped_lock lock(mutex_);
  isSilent_ = true;
}

CaptureOutlet::CaptureOutlet(std::uint64_t id, const CaptureSettings& settings,
                             std::shared_ptr<StreamCallbacks> callbacks,
                             std::shared_ptr<PictureRequests> requests, std::shared_ptr<Waker> waker)
    : id_(id),
      settings_(settings),
      callbacks_(std::move(callbacks)),
      requests_(std::move(requests)),
      waker_(std::move(waker)) {}

void CaptureOutlet::setSettings(const CaptureSettings& settings) {
  if (settings.size != settings_.size || settings.queueDepth != settings_.queueDepth) {
    converter_.reset();
    pool_.reset();
    sourceSize_ = {};
    isFirst_ = true;
  }
  if (settings.showsCursor != settings_.showsCursor) {
    cursorGeneration_ = 0;
    if (!settings.showsCursor) pending_.add(std::exchange(cursorRect_, {}));
  }
  settings_ = settings;
}

bool CaptureOutlet::isOpen(SteadyTime now) {
  if (now < nextTurn_ || !requests_->isAsked()) return false;
  return !pool_ || pool_->hasFree() || !pool_->awaitFree();
}

void CaptureOutlet::cursorChanged(const CursorOverlay& cursor, const PixelRect& area) {
  if (!settings_.showsCursor || cursor.generation() == cursorGeneration_) return;
  cursorGeneration_ = cursor.generation();
  PixelRect now = cursor.bounds().intersectionWith(area);
  if (!now.isEmpty()) {
    now.x -= area.x;
    now.y -= area.y;
  }
  pending_.add(cursorRect_);
  pending_.add(now);
  cursorRect_ = now;
}

void CaptureOutlet::prepare(PixelSize source) {
  if (converter_ && source == sourceSize_) return;
  sourceSize_ = source;
  converter_.emplace(source, settings_.size);
  if (!pool_) pool_.emplace(settings_.size, settings_.queueDepth, [waker = waker_] { waker->wake(); });
  isFirst_ = true;
}

void CaptureOutlet::deliver(SharedImage& source, SteadyTime now) {
  const PixelView view{source.pixels(), source.stride(), source.size()};
  prepare(view.size);
  if (isFirst_) pending_ = DirtyRegion(PixelRect::of(view.size));
  if (converter_->isScaling()) source.awaitRows(view.size.height);
  const DirtyRegion changed = converter_->update(view, pending_);
  pending_.clear();
  isFirst_ = false;
  if (changed.isEmpty()) return;
  pool_->invalidate(changed);
  CapturedPicture picture;
  picture.image = pool_->fill([&](const DirtyRegion& stale, const PlanesView& planes) {
    converter_->convert(view, stale, planes, [&source](int bottom) { source.awaitRows(bottom); });
  });
  if (!source.awaitAll()) return;
  picture.presentationTime = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch());
  picture.changed.assign(changed.rects().begin(), changed.rects().end());
  nextTurn_ = now + settings_.minimumFrameInterval;
  requests_->take();
  callbacks_->picture(std::move(picture));
}

}  // namespace quorl
