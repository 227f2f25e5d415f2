// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/FrameReader.h>

#include <utility>

namespace quorl {

std::expected<FrameReader::Next, FrameError> FrameReader::read(ByteView bytes, Read kind) {
  if (const auto fault = deframer_.judge(bytes)) return std::unexpected(*fault);
  inputEnded_ = kind == Read::last;
  const ByteView rest = dispatchFrames(bytes);
  undispatched_.assign(rest.begin(), rest.end());
  undispatchedFrom_ = 0;
  return next();
}

FrameReader::Next FrameReader::resume() {
  // Moved out meanwhile: a frame may end the session, which clears what was not dispatched.
  Bytes bytes = std::exchange(undispatched_, {});
  const ByteView rest = dispatchFrames(ByteView(bytes).subspan(undispatchedFrom_));
  undispatchedFrom_ = bytes.size() - rest.size();
  undispatched_ = std::move(bytes);
  return next();
}

ByteView FrameReader::dispatchFrames(ByteView bytes) {
  while (!bytes.empty() && session_.mayDispatch())
    if (auto frame = deframer_.next(bytes)) session_.dispatch(*frame);
  return bytes;
}

FrameReader::Next FrameReader::next() {
  isWaiting_ = undispatchedFrom_ < undispatched_.size() || (!inputEnded_ && !session_.mayDispatch());
  if (isWaiting_) return Next::wait;
  undispatched_ = {};
  return inputEnded_ ? Next::end : Next::receive;
}

}  // namespace quorl
