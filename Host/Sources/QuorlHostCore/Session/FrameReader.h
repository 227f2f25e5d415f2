// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/Frames.h>

namespace quorl {

/// Cuts received bytes into frames and dispatches them one at a time. It pauses between two frames while the
/// session may not answer, and keeps the rest. One read can hold many small frames, so asking once per read
/// would not bound the answers.
///
/// *Queue*: the session's.
/// *Blocking*: none.
/// *Ownership*: the session's.
/// *Lifetime*: destruction drops bytes that wait. They may hold a password and are overwritten before their
/// memory is released.
class FrameReader {
 public:
  struct Session {
    /// Asked before each frame. Returns true after the session has ended: the frames after the one that ended
    /// it are dispatched too.
    std::function<bool()> mayDispatch;
    /// May call `clear` and change the frame.
    std::function<void(Frame&)> dispatch;
  };
  enum class Next : std::uint8_t {
    receive,  // read more
    wait,     // call `resume` once the session may dispatch again
    end,      // everything is dispatched, and the peer sends nothing more
  };
  enum class Read : std::uint8_t { more, last };

  explicit FrameReader(Session session) : session_(std::move(session)) {}
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;
  ~FrameReader() { clear(); }

  /// Takes the bytes of one receive. On an error they are not a sequence of frames, and none was dispatched.
  /// Not to be called while `isWaiting`.
  std::expected<Next, FrameError> read(ByteView bytes, Read kind);
  /// Continues after `Next::wait`.
  Next resume();
  bool isWaiting() const { return isWaiting_; }
  /// Whether the last read holds a part of what may be a message with a password, and is to be overwritten.
  bool mayHoldSecret() const;
  /// Drops bytes that wait for `resume`.
  void clear() { drop(undispatched_); }

 private:
  ByteView dispatchFrames(ByteView bytes);
  Next next();
  static void drop(Bytes& bytes);

  const Session session_;
  Deframer deframer_;
  Bytes undispatched_;  // of the last read, from `undispatchedFrom_` on
  std::size_t undispatchedFrom_ = 0;
  bool inputEnded_ = false;
  bool isWaiting_ = false;
};

}  // namespace quorl
