// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/DecodeQueue.h>

#include <utility>

namespace quorl::viewer {
namespace {

using client::Clock;
using client::DecoderConfig;
using client::EncodedPicture;

const EncodedPicture* pictureOf(const DecodeQueue::Item& item) {
  return std::get_if<EncodedPicture>(&item);
}

}  // namespace

void DecodeQueue::push(DecoderConfig config) {
  // Of configurations in a row only the last one matters.
  if (!items_.empty() && pictureOf(items_.back()) == nullptr) items_.pop_back();
  items_.emplace_back(std::move(config));
}

DecodeQueue::Request DecodeQueue::push(EncodedPicture picture) {
  const auto now = picture.arrival;
  if (isHidden_) {
    ++drops_.hidden;
    return Request::none;
  }
  if (awaitsKeyframe_ && !picture.isKeyframe) {
    ++drops_.withoutKeyframe;
    return awaitKeyframe(now);
  }
  awaitsKeyframe_ = false;
  ++pictures_;
  bytes_ += picture.data.size();
  items_.emplace_back(std::move(picture));
  return isTooLong() ? shorten(now) : Request::none;
}

std::optional<DecodeQueue::Item> DecodeQueue::pop() {
  if (items_.empty()) return std::nullopt;
  Item item = std::move(items_.front());
  items_.pop_front();
  if (const auto* picture = pictureOf(item)) {
    --pictures_;
    bytes_ -= picture->data.size();
  }
  return item;
}

bool DecodeQueue::isTooLong() const {
  if (pictures_ > mostPictures || (bytes_ > mostBytes && pictures_ > 1)) return true;
  const EncodedPicture* first = nullptr;
  for (const auto& item : items_)
    if (first == nullptr) first = pictureOf(item);
  const auto* last = pictureOf(items_.back());
  return first != nullptr && last != nullptr && last->arrival - first->arrival > longestBacklog;
}

// Goes on with the newest key frame. If only the oldest picture is one, that is shown, and the rest waits for
// another.
DecodeQueue::Request DecodeQueue::shorten(Clock::time_point now) {
  for (std::size_t index = items_.size(); index-- > 0;) {
    const auto* picture = pictureOf(items_[index]);
    if (picture == nullptr || !picture->isKeyframe) continue;
    const auto before = pictures_;
    dropBefore(index, drops_.backlog);
    if (pictures_ < before) return Request::none;
    break;
  }
  std::optional<Item> oldest;
  for (auto& item : items_) {
    const auto* picture = pictureOf(item);
    if (picture == nullptr) continue;
    if (picture->isKeyframe && picture->data.size() <= mostBytes) oldest = std::move(item);
    break;
  }
  dropBefore(items_.size(), drops_.backlog);
  if (oldest) {
    --drops_.backlog;
    ++pictures_;
    bytes_ = pictureOf(*oldest)->data.size();
    items_.push_back(std::move(*oldest));
  }
  return awaitKeyframe(now);
}

void DecodeQueue::dropBefore(std::size_t end, std::uint64_t& count) {
  std::optional<Item> config;
  for (; end > 0; --end) {
    auto item = pop();
    if (pictureOf(*item) != nullptr)
      ++count;
    else
      config = std::move(item);
  }
  if (config) items_.push_front(std::move(*config));
}

DecodeQueue::Request DecodeQueue::awaitKeyframe(Clock::time_point now) {
  awaitsKeyframe_ = true;
  if (requestedAt_ && now - *requestedAt_ < repeatAfter) return Request::none;
  requestedAt_ = now;
  return Request::keyframe;
}

DecodeQueue::Request DecodeQueue::handleFailure(Clock::time_point now) {
  for (std::size_t index = 0; index < items_.size(); ++index) {
    const auto* picture = pictureOf(items_[index]);
    if (picture == nullptr || !picture->isKeyframe) continue;
    dropBefore(index, drops_.withoutKeyframe);
    return Request::none;
  }
  dropBefore(items_.size(), drops_.withoutKeyframe);
  return isHidden_ ? Request::none : awaitKeyframe(now);
}

void DecodeQueue::hide() {
  isHidden_ = true;
  awaitsKeyframe_ = true;
  dropBefore(items_.size(), drops_.hidden);
}

DecodeQueue::Request DecodeQueue::show(Clock::time_point now) {
  if (!std::exchange(isHidden_, false)) return Request::none;
  requestedAt_.reset();
  return awaitKeyframe(now);
}

}  // namespace quorl::viewer
