// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/IoLoop.h>

#include <pthread.h>
#include <sys/socket.h>
#include <boost/asio/post.hpp>

#include <QuorlHostPosix/InputDrain.h>
#include <QuorlHostPosix/SignalMask.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t keptBuffers = 4;
constexpr std::chrono::seconds reviewInterval{5};

void closeAfterDraining(IoLoop::Socket& socket, std::size_t allowance) {
  if (!socket.is_open()) return;
  InputDrain::discard(socket.native_handle(), allowance);
  boost::system::error_code ignored;
  socket.close(ignored);
}

}  // namespace

struct IoLoop::Lingering {
  Socket socket;
  Clock::time_point deadline;
  std::size_t allowance = InputDrain::maxBytes;
};

IoLoop::IoLoop()
    : work_(boost::asio::make_work_guard(context_)), lingerTimer_(context_), reviewTimer_(context_) {
  const WithoutSignals mask;
  thread_ = std::thread([this] {
    pthread_setname_np(pthread_self(), "quorl-sockets");
    context_.run();
  });
}

IoLoop::~IoLoop() {
  stop();
}

void IoLoop::stop() {
  pipes_.stop();
  if (!thread_.joinable()) return;
  context_.stop();
  thread_.join();
  std::lock_guard lock(mutex_);
  for (const auto& entry : lingering_) closeAfterDraining(entry->socket, entry->allowance);
  lingering_.clear();
}

IoLoop::Buffer IoLoop::takeBuffer() {
  {
    std::lock_guard lock(mutex_);
    if (!buffers_.empty()) {
      Buffer buffer = std::move(buffers_.back());
      buffers_.pop_back();
      return buffer;
    }
  }
  return std::make_unique_for_overwrite<std::uint8_t[]>(bufferSize);
}

void IoLoop::giveBack(Buffer buffer) {
  std::lock_guard lock(mutex_);
  if (buffers_.size() < keptBuffers) buffers_.push_back(std::move(buffer));
}

void IoLoop::linger(Descriptor descriptor) {
  Socket socket(context_);
  boost::system::error_code error;
  socket.assign(boost::asio::ip::tcp::v6(), descriptor.get(), error);
  if (error) return;
  descriptor.release();
  auto entry = std::make_shared<Lingering>(std::move(socket), Clock::now() + InputDrain::maxTime);
  {
    std::lock_guard lock(mutex_);
    lingering_.push_back(entry);
  }
  // From now on only the loop's thread uses the entry's socket.
  boost::asio::post(context_, [this, weak = std::weak_ptr(entry)] {
    if (const auto strong = weak.lock()) drain(strong);
    closeExpired();
  });
}

void IoLoop::drain(const std::shared_ptr<Lingering>& entry) {
  if (!entry->socket.is_open()) return;
  if (InputDrain::discard(entry->socket.native_handle(), entry->allowance) == InputDrain::Outcome::ended) {
    boost::system::error_code ignored;
    entry->socket.close(ignored);
    return;
  }
  entry->socket.async_wait(Socket::wait_read,
                           [this, weak = std::weak_ptr(entry)](const boost::system::error_code& error) {
                             const auto strong = weak.lock();
                             if (strong && !error) drain(strong);
                           });
}

void IoLoop::closeExpired() {
  std::lock_guard lock(mutex_);
  const auto now = Clock::now();
  while (!lingering_.empty()) {
    const auto& entry = lingering_.front();
    const bool over = entry->deadline <= now || lingering_.size() > InputDrain::maxSockets;
    if (entry->socket.is_open() && !over) break;
    closeAfterDraining(entry->socket, entry->allowance);
    lingering_.pop_front();
  }
  armLingerTimer();
}

void IoLoop::armLingerTimer() {
  if (lingerTimerArmed_ || lingering_.empty()) return;
  lingerTimerArmed_ = true;
  lingerTimer_.expires_at(lingering_.front()->deadline);
  lingerTimer_.async_wait([this](const boost::system::error_code&) {
    {
      std::lock_guard lock(mutex_);
      lingerTimerArmed_ = false;
    }
    closeExpired();
  });
}

void IoLoop::reviewRegularly(Review review) {
  std::lock_guard lock(mutex_);
  reviews_.push_back(std::move(review));
  armReviewTimer();
}

// With `mutex_` held.
void IoLoop::armReviewTimer() {
  if (reviewTimerArmed_ || reviews_.empty()) return;
  reviewTimerArmed_ = true;
  reviewTimer_.expires_after(reviewInterval);
  reviewTimer_.async_wait([this](const boost::system::error_code&) { runReviews(); });
}

void IoLoop::runReviews() {
  std::vector<Review> due;
  {
    std::lock_guard lock(mutex_);
    due.swap(reviews_);
  }
  // Without the lock: a review takes the lock of its socket, under which new reviews are added.
  std::erase_if(due, [](Review& review) { return !review(); });
  std::lock_guard lock(mutex_);
  for (Review& review : due) reviews_.push_back(std::move(review));
  reviewTimerArmed_ = false;
  armReviewTimer();
}

void IoLoop::connectionBegan() {
  std::lock_guard lock(mutex_);
  ++connections_;
}

void IoLoop::connectionEnded() {
  std::lock_guard lock(mutex_);
  --connections_;
  connectionsChanged_.notify_all();
}

bool IoLoop::waitUntilConnectionsEnd(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  return connectionsChanged_.wait_for(lock, limit, [this] { return connections_ == 0; });
}

}  // namespace quorl
