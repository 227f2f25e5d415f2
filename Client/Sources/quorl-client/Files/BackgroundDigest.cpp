// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Files/BackgroundDigest.h>

#include <utility>

namespace quorl::client {

BackgroundDigest::BackgroundDigest() : thread_([this] { run(); }) {}

BackgroundDigest::~BackgroundDigest() {
  {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void BackgroundDigest::add(SharedBytes piece, ByteView part) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return waitingBytes_ < mostWaiting; });
  waitingBytes_ += part.size();
  waiting_.push_back({std::move(piece), part});
  changed_.notify_all();
}

SHA256Digest BackgroundDigest::finish() {
  {
    const std::lock_guard lock(mutex_);
    isFinishing_ = true;
  }
  changed_.notify_all();
  thread_.join();
  return digest_.finish();
}

void BackgroundDigest::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return !waiting_.empty() || isFinishing_ || isStopping_; });
    if (isStopping_ || waiting_.empty()) return;
    Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    digest_.update(next.part);
    lock.lock();
    waitingBytes_ -= next.part.size();
    next.piece.reset();
    changed_.notify_all();
  }
}

}  // namespace quorl::client
