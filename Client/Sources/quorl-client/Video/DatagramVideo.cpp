// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/DatagramVideo.h>

#include <algorithm>

namespace quorl::client {

DatagramVideo::Actions DatagramVideo::accept(ByteView datagram, Clock::time_point now) {
  Actions actions;
  auto fragment = VideoUDP::parse(datagram);
  if (!fragment) {
    ++ignoredDatagrams_;
    return actions;
  }
  lastArrival_ = now;
  const auto frameID = fragment->frameID;
  auto packet = reassembler_.accept(std::move(*fragment));
  if (packet && (next_ == 0 || frameID >= next_)) {
    if (next_ == 0) next_ = frameID;
    waiting_.insert_or_assign(frameID, std::move(*packet));
  }
  // After an eviction, a frame before the pending ones can never be complete.
  if (reassembler_.consumeDropFlag() && waiting_.empty() && !awaitingKeyframe_) {
    ++lostFrames_;
    askForKeyframe(actions, now);
  }
  settle(actions, now);
  return actions;
}

DatagramVideo::Actions DatagramVideo::tick(Clock::time_point now) {
  Actions actions;
  settle(actions, now);
  const bool isDueAgain = askAgainAt_ && now >= *askAgainAt_;
  const bool hasStalled = !askAgainAt_ && isStalled() && now >= lastArrival_ + quiet;
  if (isDueAgain || hasStalled) askForKeyframe(actions, now);
  return actions;
}

std::optional<Clock::time_point> DatagramVideo::nextTick() const {
  std::optional<Clock::time_point> due = askAgainAt_;
  const auto consider = [&](Clock::time_point time) { due = due ? std::min(*due, time) : time; };
  if (gapSince_) consider(*gapSince_ + patience);
  if (!askAgainAt_ && isStalled()) consider(lastArrival_ + quiet);
  return due;
}

// Whether the next frame has arrived in part.
bool DatagramVideo::isStalled() const {
  return next_ == 0 ? reassembler_.pendingCount() > 0 : reassembler_.isPending(next_);
}

void DatagramVideo::askForKeyframe(Actions& actions, Clock::time_point now) {
  awaitingKeyframe_ = true;
  actions.needsKeyframe = true;
  askAgainAt_ = now + repeatAfter;
}

void DatagramVideo::settle(Actions& actions, Clock::time_point now) {
  deliverInOrder(actions, now);
  while (!waiting_.empty()) {
    if (!gapSince_) gapSince_ = now;
    if (mayStillComplete(now)) return;
    giveUpGap(actions, now);
    deliverInOrder(actions, now);
  }
  gapSince_.reset();
}

void DatagramVideo::deliverInOrder(Actions& actions, Clock::time_point now) {
  for (auto found = waiting_.find(next_); found != waiting_.end(); found = waiting_.find(next_)) {
    auto packet = std::move(found->second);
    waiting_.erase(found);
    ++next_;
    if (packet.flags.contains(VideoPacketFlags::keyframe)) {
      awaitingKeyframe_ = false;
      askAgainAt_.reset();
    }
    if (!awaitingKeyframe_) {
      actions.pictures.push_back(std::move(packet));
      continue;
    }
    ++lostFrames_;
    if (!askAgainAt_) askForKeyframe(actions, now);
  }
}

// Whether at least a part of every frame of the gap has arrived, and `patience` is not over.
bool DatagramVideo::mayStillComplete(Clock::time_point now) const {
  if (now >= *gapSince_ + patience) return false;
  const auto first = waiting_.begin();
  // A key frame needs no earlier picture.
  if (first->second.flags.contains(VideoPacketFlags::keyframe)) return false;
  for (auto id = next_; id != first->first; ++id)
    if (!reassembler_.isPending(id)) return false;
  return true;
}

void DatagramVideo::giveUpGap(Actions& actions, Clock::time_point now) {
  const auto first = waiting_.begin();
  lostFrames_ += first->first - next_;
  next_ = first->first;
  gapSince_.reset();
  if (first->second.flags.contains(VideoPacketFlags::keyframe) || awaitingKeyframe_) return;
  askForKeyframe(actions, now);
}

}  // namespace quorl::client
