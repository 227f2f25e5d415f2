// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Digest.h>

namespace quorl::client {

/// The SHA-256 of pieces in order, computed on a thread of its own while the caller moves the next ones.
///
/// A piece is released when it is hashed; a later call of the caller observes that.
///
/// *Queue*: one thread. *Blocking*: `add` while too much waits, `finish` until everything is hashed.
/// *Lifetime*: destruction drops what waits and joins the thread.
class BackgroundDigest {
 public:
  static constexpr std::size_t mostWaiting = 4'194'304;  // bytes

  BackgroundDigest();
  BackgroundDigest(const BackgroundDigest&) = delete;
  BackgroundDigest& operator=(const BackgroundDigest&) = delete;
  ~BackgroundDigest();

  /// Hashes `part`, which belongs to `piece`.
  void add(SharedBytes piece, ByteView part);
  void add(const SharedBytes& piece) { add(piece, *piece); }
  /// Of everything added. Call it once, last.
  SHA256Digest finish();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  struct Waiting {
    SharedBytes piece;
    ByteView part;
  };
  std::deque<Waiting> waiting_;  // these four are guarded by the mutex
  std::size_t waitingBytes_ = 0;
  bool isFinishing_ = false;
  bool isStopping_ = false;

  SHA256 digest_;  // the thread's until it is joined
  std::thread thread_;
};

}  // namespace quorl::client
