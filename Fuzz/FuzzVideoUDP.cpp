// SPDX-License-Identifier: GPL-3.0-or-later
// Datagrams of any content in the reassembler, and fragments of real pictures in any order.
#include <algorithm>
#include <utility>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/VideoUDP.h>

using namespace quorl;

namespace {

// Each datagram follows one byte with its length.
void tryForeignDatagrams(ByteView bytes, std::size_t window) {
  VideoUDP::Reassembler reassembler(window);
  while (!bytes.empty()) {
    const std::size_t length = std::min<std::size_t>(bytes[0], bytes.size() - 1);
    const auto fragment = VideoUDP::parse(bytes.subspan(1, length));
    bytes = bytes.subspan(1 + length);
    if (!fragment) continue;
    const std::size_t before = reassembler.pendingCount();
    const auto packet = reassembler.accept(*fragment);
    QUORL_CHECK(reassembler.pendingCount() <= before + 1, "a fragment begins one frame at most");
    if (!packet) continue;
    QUORL_CHECK(!reassembler.isPending(fragment->frameID), "a delivered frame is no longer pending");
    QUORL_CHECK(reassembler.newestDelivered() >= fragment->frameID, "the newest delivered frame is known");
    QUORL_CHECK(packet->data.size() >= fragment->payload.size(), "a picture holds its last fragment");
  }
}

void tryOwnPicture(ByteView bytes, std::uint8_t order) {
  // Repeated, so that a small input makes several fragments.
  Bytes picture;
  for (int copy = 0; copy < 16; ++copy) picture.insert(picture.end(), bytes.begin(), bytes.end());
  auto datagrams = VideoUDP::fragments(3, 1, {order}, 77, picture);
  for (std::size_t index = 0; index + 1 < datagrams.size(); ++index)
    std::swap(datagrams[index], datagrams[(index * 7 + order) % datagrams.size()]);
  VideoUDP::Reassembler reassembler(2);
  std::optional<VideoPacket> delivered;
  for (const Bytes& datagram : datagrams) {
    QUORL_CHECK(!delivered, "a picture is complete with its last fragment only");
    if (const auto fragment = VideoUDP::parse(datagram)) delivered = reassembler.accept(*fragment);
  }
  QUORL_CHECK(delivered.has_value() == !picture.empty(), "every picture with a byte is delivered");
  if (delivered) QUORL_CHECK((*delivered == VideoPacket{3, {order}, 77, picture}), "the picture is the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const ByteView bytes(data + 1, size - 1);
  if (data[0] < 0xC0) {
    tryForeignDatagrams(bytes, data[0] % 5);
  } else {
    tryOwnPicture(bytes, data[0]);
  }
  return 0;
}
