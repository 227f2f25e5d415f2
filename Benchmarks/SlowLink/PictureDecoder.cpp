// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureDecoder.h"

#include <quorl-client/Video/Decoder.h>

#include "../Support/CodedColour.h"

namespace quorl::bench {

PictureDecoder::PictureDecoder(ProbeBoard& board) : board_(board) {
  client::silenceMediaLibraries();
  thread_ = std::thread([this] { run(); });
}

PictureDecoder::~PictureDecoder() {
  {
    std::lock_guard lock(mutex_);
    isStopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void PictureDecoder::configure(Bytes record) {
  put({true, std::move(record), 0});
}

void PictureDecoder::decode(Bytes unit, std::uint64_t ptsMicros) {
  put({false, std::move(unit), ptsMicros});
}

Samples PictureDecoder::takeAges() {
  std::lock_guard lock(mutex_);
  return std::exchange(ages_, {});
}

void PictureDecoder::put(Item item) {
  {
    std::lock_guard lock(mutex_);
    items_.push_back(std::move(item));
  }
  changed_.notify_all();
}

void PictureDecoder::run() {
  client::Decoder decoder;
  for (;;) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isStopping_ || !items_.empty(); });
    if (isStopping_) return;
    const Item item = std::move(items_.front());
    items_.pop_front();
    lock.unlock();
    if (item.isConfiguration) {
      static_cast<void>(decoder.configure(item.bytes));
      continue;
    }
    for (const auto& picture : decoder.decode(item.bytes, item.ptsMicros)) {
      ++pictures_;
      board_.picture([&picture](int x, int y) { return rgbOf(picture.sample(x, y)); });
      // The host stamps pictures with the monotonic clock of this machine.
      const auto age = Clock::now() - Clock::time_point(std::chrono::microseconds(picture.ptsMicros()));
      lock.lock();
      ages_.add(age);
      lock.unlock();
    }
  }
}

}  // namespace quorl::bench
