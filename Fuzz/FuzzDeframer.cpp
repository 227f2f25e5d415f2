// SPDX-License-Identifier: GPL-3.0-or-later
// A stream gives the same frames however it is cut, and their bytes are the stream.
#include <algorithm>
#include <iterator>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/Frames.h>
#include <QuorlKit/WireProtocol.h>

using namespace quorl;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t step = data[0] % 32 + 1;
  const ByteView stream(data + 1, size - 1);

  Deframer whole;
  const auto atOnce = whole.feed(stream);
  QUORL_CHECK(whole.bufferCapacity() <= 20 * stream.size(), "memory follows the bytes received");

  Deframer cut;
  std::vector<Frame> inPieces;
  std::optional<FrameError> failure;
  for (std::size_t at = 0; at < stream.size(); at += step) {
    auto frames = cut.feed(stream.subspan(at, std::min(step, stream.size() - at)));
    if (!frames) {
      QUORL_CHECK(!failure || *failure == frames.error(), "a failed stream keeps its error");
      failure = frames.error();
      continue;
    }
    QUORL_CHECK(!failure, "a failed stream never recovers");
    std::ranges::move(*frames, std::back_inserter(inPieces));
  }
  QUORL_CHECK(failure.has_value() == !atOnce, "both ways fail or neither");
  if (!atOnce) {
    QUORL_CHECK(*failure == atOnce.error(), "both ways fail with the same error");
    return 0;
  }
  QUORL_CHECK(*atOnce == inPieces, "both ways return the same frames");
  QUORL_CHECK(whole.bufferedByteCount() == cut.bufferedByteCount(), "both ways keep the same rest");
  std::size_t at = 0;
  for (const Frame& frame : *atOnce) {
    const Bytes encoded = frame.encoded();
    QUORL_CHECK(std::ranges::equal(encoded, stream.subspan(at, encoded.size())), "a frame is its bytes");
    at += encoded.size();
  }
  QUORL_CHECK(at + whole.bufferedByteCount() == stream.size(), "no byte is lost");
  return 0;
}
