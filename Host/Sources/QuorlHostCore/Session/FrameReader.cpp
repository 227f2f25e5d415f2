// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/FrameReader.h>

#include <utility>

#include <QuorlKit/Foundation/SecretText.h>

namespace quorl {

namespace {

// A larger unfinished frame holds no password: overwriting every read of a file would cost time.
constexpr std::size_t longestSecret = 128 << 10;

}  // namespace

std::expected<FrameReader::Next, FrameError> FrameReader::read(ByteView bytes, Read kind) {
  if (const auto fault = deframer_.judge(bytes)) return std::unexpected(*fault);
  inputEnded_ = kind == Read::last;
  const ByteView rest = dispatchFrames(bytes);
  clear();
  undispatched_.assign(rest.begin(), rest.end());
  undispatchedFrom_ = 0;
  return next();
}

FrameReader::Next FrameReader::resume() {
  // Moved out meanwhile: a frame may end the session, which clears what was not dispatched.
  Bytes bytes = std::exchange(undispatched_, {});
  const ByteView rest = dispatchFrames(ByteView(bytes).subspan(undispatchedFrom_));
  if (rest.empty()) drop(bytes);
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
  return inputEnded_ ? Next::end : Next::receive;
}

bool FrameReader::mayHoldSecret() const {
  const std::size_t unfinished = deframer_.bufferedByteCount();
  return !undispatched_.empty() || (unfinished > 0 && unfinished <= longestSecret);
}

void FrameReader::drop(Bytes& bytes) {
  overwrite({reinterpret_cast<char*>(bytes.data()), bytes.size()});
  bytes = Bytes();  // releases the memory, which an empty list would not
}

}  // namespace quorl
