// SPDX-License-Identifier: GPL-3.0-or-later
// The binary payloads: a decoded one encodes to the same bytes. The first byte chooses the payload.
#include <algorithm>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/Bytes.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <QuorlKit/Protocol/MediaPackets.h>

using namespace quorl;

namespace {

template <class Packet>
void tryPacket(ByteView bytes) {
  const auto packet = Packet::decode(bytes);
  QUORL_CHECK(packet.has_value() == (bytes.size() >= Packet::fixedSize),
              "only the fixed fields can be missing");
  if (!packet) return;
  QUORL_CHECK(std::ranges::equal(packet->encoded(), bytes), "a packet is its bytes");
}

void tryInputEvent(ByteView bytes) {
  const auto event = InputEvent::decode(bytes);
  if (!event) return;
  const Bytes encoded = event->encoded();
  QUORL_CHECK(encoded.size() <= bytes.size() && encoded[0] == bytes[0],
              "an event is no longer than its bytes");
  const auto again = InputEvent::decode(encoded);
  // Compared as bytes: a NaN differs from itself.
  QUORL_CHECK(again && again->encoded() == encoded, "an event reads back as itself");
}

// The bytes choose the reads and are also their input.
void tryReader(ByteView bytes) {
  ByteReader reader(bytes);
  for (const std::uint8_t choice : bytes) {
    const std::size_t before = reader.offset();
    switch (choice % 10) {
      case 0:
        static_cast<void>(reader.u8());
        break;
      case 1:
        static_cast<void>(reader.u16());
        break;
      case 2:
        static_cast<void>(reader.u32());
        break;
      case 3:
        static_cast<void>(reader.u64());
        break;
      case 4:
        static_cast<void>(reader.f32());
        break;
      case 5:
        static_cast<void>(reader.f64());
        break;
      case 6:
        static_cast<void>(reader.boolean());
        break;
      case 7:
        static_cast<void>(reader.uuid());
        break;
      case 8:
        static_cast<void>(reader.blob());
        break;
      default:
        static_cast<void>(reader.string());
        break;
    }
    QUORL_CHECK(reader.offset() >= before && reader.offset() + reader.remaining() == bytes.size(),
                "the offset only grows and stays within the bytes");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const ByteView bytes(data + 1, size - 1);
  switch (data[0] % 9) {
    case 0:
      tryPacket<VideoPacket>(bytes);
      break;
    case 1:
      tryPacket<VideoPacketView>(bytes);
      break;
    case 2:
      tryPacket<AudioPacket>(bytes);
      break;
    case 3:
      tryPacket<SharedAudioPacket>(bytes);
      break;
    case 4:
      tryPacket<TerminalPayload>(bytes);
      break;
    case 5:
      tryPacket<FileChunk>(bytes);
      break;
    case 6:
      tryPacket<FileChunkView>(bytes);
      break;
    case 7:
      tryInputEvent(bytes);
      break;
    default:
      tryReader(bytes);
      break;
  }
  return 0;
}
