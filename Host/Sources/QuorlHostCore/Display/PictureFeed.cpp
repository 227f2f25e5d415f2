// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/PictureFeed.h>

#include <algorithm>
#include <utility>

namespace quorl {

namespace {

// A longer list of rectangles costs more than it saves.
constexpr std::size_t maximumChangedRects = 64;

// At a very low frame rate a key frame does not wait a whole interval.
constexpr Duration longestKeyframeWait = std::chrono::milliseconds(50);

}  // namespace

std::vector<PixelRect> mergedChange(std::vector<PixelRect> earlier, const std::vector<PixelRect>& later) {
  if (earlier.empty() || later.empty() || earlier.size() + later.size() > maximumChangedRects) return {};
  earlier.insert(earlier.end(), later.begin(), later.end());
  return earlier;
}

PictureFeed::PictureFeed(SerialQueue queue, std::shared_ptr<VideoEncoder> encoder, Surroundings surroundings,
                         Duration frameInterval)
    : queue_(std::move(queue)),
      encoder_(std::move(encoder)),
      surroundings_(std::move(surroundings)),
      frameInterval_(frameInterval) {
  refinement_.setFrameInterval(frameInterval);
}

void PictureFeed::pictureArrived(CapturedPicture picture) {
  queue_.assertCurrent();
  isRequested_ = false;
  if (pending_) {
    picture.changed = mergedChange(std::move(pending_->changed), picture.changed);
    pending_ = std::move(picture);
    return;
  }
  pending_ = std::move(picture);
  // Posted after pictures that already wait on the queue, so that the newest of them is encoded.
  queue_.async([weak = weak_from_this()] {
    if (auto self = weak.lock()) self->encodePending();
  });
}

// Whether a picture may be encoded now. If not, the feed continues when one may.
bool PictureFeed::hasRoom() {
  queue_.assertCurrent();
  if (waitsForRoom_ || inEncoder_ >= mostInEncoder) return false;
  const auto budget = surroundings_.admit([weak = weak_from_this(), queue = queue_] {
    queue.async([weak] {
      if (auto self = weak.lock()) self->roomCame();
    });
  });
  if (budget)
    encoder_->applyBudget(*budget);
  else
    waitsForRoom_ = true;
  return budget.has_value();
}

void PictureFeed::roomCame() {
  queue_.assertCurrent();
  waitsForRoom_ = false;
  goOn();
}

void PictureFeed::goOn() {
  queue_.assertCurrent();
  if (pending_) return encodePending();
  if (wantsRepeat_) return repeatLast();
  if (isRequested_ || !hasRoom()) return;
  isRequested_ = true;
  refinement_.asked(queue_.now());
  surroundings_.request();
  armRefinement();
}

void PictureFeed::encodePending() {
  queue_.assertCurrent();
  if (!pending_ || !hasRoom()) return;
  CapturedPicture picture = *std::exchange(pending_, std::nullopt);
  keyframeTimer_.cancel();
  wantsRepeat_ = false;
  const auto presentationTime = later(picture.presentationTime);
  const MonotonicTime now = queue_.now();
  last_ = LastPicture{picture.image, presentationTime, now};
  refinement_.changed(now);
  ++inEncoder_;
  encoder_->encode(std::move(picture.image), presentationTime, std::move(picture.changed));
  goOn();
}

void PictureFeed::requestKeyframe() {
  queue_.assertCurrent();
  encoder_->forceNextKeyframe = true;
  if (!last_ || pending_ || wantsRepeat_ || keyframeTimer_.isPending()) return;
  keyframeTimer_ = queue_.after(std::min(frameInterval_, longestKeyframeWait), [weak = weak_from_this()] {
    if (auto self = weak.lock()) self->repeatForKeyframe();
  });
}

void PictureFeed::repeatForKeyframe() {
  queue_.assertCurrent();
  if (encoder_->forceNextKeyframe && !pending_) repeatLast();
}

void PictureFeed::setFrameInterval(Duration frameInterval) {
  queue_.assertCurrent();
  frameInterval_ = frameInterval;
  refinement_.setFrameInterval(frameInterval);
}

void PictureFeed::repeatLast() {
  queue_.assertCurrent();
  if (!last_) return;
  wantsRepeat_ = !hasRoom();
  if (wantsRepeat_) return;
  const MonotonicTime now = queue_.now();
  const auto shownFor = std::chrono::duration_cast<std::chrono::microseconds>(now - last_->encodedAt);
  refinement_.repeated(now);
  ++inEncoder_;
  encoder_->encodeAgain(last_->image, later(last_->presentationTime + shownFor));
}

// Times increase strictly, also if a repeated picture was sent between two captured ones.
std::chrono::microseconds PictureFeed::later(std::chrono::microseconds presentationTime) {
  queue_.assertCurrent();
  if (lastPresentationTime_)
    presentationTime = std::max(presentationTime, *lastPresentationTime_ + std::chrono::microseconds(1));
  lastPresentationTime_ = presentationTime;
  return presentationTime;
}

void PictureFeed::pictureEncoded(const Coarseness& coarseness) {
  queue_.assertCurrent();
  --inEncoder_;
  refinement_.encoded(coarseness);
  goOn();
  armRefinement();
}

void PictureFeed::pictureDropped() {
  queue_.assertCurrent();
  --inEncoder_;
  goOn();
}

// One timer serves many pictures: it checks when it fires instead of being moved by each. The screen counts
// as quiet only after the capture has been asked for its next change.
void PictureFeed::armRefinement() {
  queue_.assertCurrent();
  const auto due = refinement_.due();
  if (!due || refinementTimer_.isPending()) return;
  const Duration wait = std::max(*due - queue_.now(), Duration::zero());
  refinementTimer_ = queue_.after(wait, [weak = weak_from_this()] {
    if (auto self = weak.lock()) self->refinementTimerFired();
  });
}

void PictureFeed::refinementTimerFired() {
  queue_.assertCurrent();
  const auto due = refinement_.due();
  if (!due || pending_ || !isRequested_) return;
  if (*due <= queue_.now())
    repeatLast();
  else
    armRefinement();
}

}  // namespace quorl
