// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Link/DatagramPacer.h>

#include <algorithm>
#include <utility>

namespace quorl {

namespace {

// A timer per datagram would cost more than sending it.
constexpr Duration shortestWait = std::chrono::milliseconds(1);

}  // namespace

DatagramPacer::DatagramPacer(SerialQueue queue, std::unique_ptr<DatagramSender> sender,
                             std::function<void(State)> stateChanged)
    : queue_(std::move(queue)), sender_(std::move(sender)), stateChanged_(std::move(stateChanged)) {}

void DatagramPacer::setRate(double bytesPerSecond) {
  queue_.assertCurrent();
  rate_ = bytesPerSecond;
  bucket_.setRate(bytesPerSecond);
}

void DatagramPacer::send(Bytes datagram) {
  queue_.assertCurrent();
  if (waitingBytes_ + datagram.size() > mostWaiting) return;
  waitingBytes_ += datagram.size();
  waiting_.push_back(std::move(datagram));
  if (timer_.isPending())
    reportState();
  else
    sendWaiting();
}

void DatagramPacer::sendWaiting() {
  while (!waiting_.empty() && bucket_.take(queue_.now(), waiting_.front().size())) {
    waitingBytes_ -= waiting_.front().size();
    sender_->send(std::move(waiting_.front()));
    waiting_.pop_front();
  }
  reportState();
  if (waiting_.empty()) return;
  timer_ = queue_.after(std::max(bucket_.wait(), shortestWait), [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->sendWaiting();
  });
}

void DatagramPacer::reportState() {
  const double most = rate_ * std::chrono::duration<double>(slack).count();
  const State state = static_cast<double>(waitingBytes_) > most ? State::queued : State::flowing;
  if (state == state_) return;
  state_ = state;
  stateChanged_(state);
}

}  // namespace quorl
