// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/SendPath.h>

#include <utility>

namespace quorl {

SendPath::SendPath(SerialQueue queue, std::shared_ptr<NetworkConnection> transport,
                   std::shared_ptr<PictureGate> gate, Progress progress)
    : queue_(std::move(queue)),
      transport_(std::move(transport)),
      gate_(std::move(gate)),
      progress_(std::move(progress)) {}

bool SendPath::send(OutgoingFrame frame, Droppable droppable, Purpose purpose,
                    const std::optional<StateKey>& key) {
  queue_.assertCurrent();
  const std::size_t byteCount = frame.size();
  if (droppable == Droppable::yes && isBackpressured()) {
    gate_->discarded(byteCount);
    return false;
  }
  outstandingBytes_ += byteCount;
  if (purpose == Purpose::answer) {
    answerBytes_ += byteCount;
    ++answers_;
  }
  if (held_.isEmpty() && transportHasRoom(frame)) {
    handOver({std::move(frame), purpose});
    return true;
  }
  for (const HeldFrames::Held& replaced : held_.push({std::move(frame), purpose}, key)) {
    uncount(replaced.frame.size(), replaced.purpose);
    gate_->discarded(replaced.frame.size());
  }
  return true;
}

bool SendPath::transportHasRoom(const OutgoingFrame& frame) const {
  if (frame.type() == FrameType::audio && soundAtTransport_ >= transportSoundPackets) return false;
  return atTransport_ < transportShare;
}

void SendPath::handOver(HeldFrames::Held held) {
  const std::size_t byteCount = held.frame.size();
  const FrameType type = held.frame.type();
  atTransport_ += byteCount;
  if (type == FrameType::audio) ++soundAtTransport_;
  transport_->send(std::move(held.frame), [weak = weak_from_this(), byteCount, type,
                                           purpose = held.purpose](std::optional<PortError> error) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->sent(byteCount, type, purpose, error);
  });
}

void SendPath::sent(std::size_t byteCount, FrameType type, Purpose purpose,
                    const std::optional<PortError>& error) {
  atTransport_ -= byteCount;
  if (type == FrameType::audio) --soundAtTransport_;
  uncount(byteCount, purpose);
  if (!error) {
    for (const OutgoingFrame* next = held_.front(); next && transportHasRoom(*next); next = held_.front())
      handOver(std::move(*held_.pop()));
    gate_->progressed();
  }
  progress_(error);
}

void SendPath::uncount(std::size_t byteCount, Purpose purpose) {
  outstandingBytes_ -= byteCount;
  if (purpose == Purpose::other) return;
  answerBytes_ -= byteCount;
  --answers_;
}

void SendPath::handOverAll() {
  queue_.assertCurrent();
  while (auto next = held_.pop()) handOver(std::move(*next));
}

std::size_t SendPath::outstandingBytes() const {
  queue_.assertCurrent();
  return outstandingBytes_;
}

bool SendPath::isBackpressured() const {
  queue_.assertCurrent();
  return outstandingBytes_ > backpressureThreshold;
}

std::size_t SendPath::answerBacklog() const {
  queue_.assertCurrent();
  return answerBytes_ + answers_ * frameOverhead;
}

bool SendPath::takeLostAgentEvents() {
  queue_.assertCurrent();
  return held_.isEmpty() && held_.takeLostAgentEvents();
}

}  // namespace quorl
