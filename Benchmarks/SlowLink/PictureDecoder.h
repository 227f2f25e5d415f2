// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

#include <QuorlKit/Foundation/ByteView.h>

#include "../Support/ProbeBoard.h"
#include "Samples.h"

namespace quorl::bench {

/// Decodes pictures on its own thread and passes each one to the board.
class PictureDecoder {
 public:
  explicit PictureDecoder(ProbeBoard& board);
  PictureDecoder(const PictureDecoder&) = delete;
  PictureDecoder& operator=(const PictureDecoder&) = delete;
  ~PictureDecoder();

  void configure(Bytes record);
  void decode(Bytes unit, std::uint64_t ptsMicros);

  std::uint64_t pictures() const { return pictures_; }
  Samples takeAges();

 private:
  struct Item {
    bool isConfiguration = false;
    Bytes bytes;
    std::uint64_t ptsMicros = 0;
  };

  void put(Item item);
  void run();

  ProbeBoard& board_;
  std::atomic<std::uint64_t> pictures_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> items_;
  Samples ages_;
  bool isStopping_ = false;
  std::thread thread_;
};

}  // namespace quorl::bench
