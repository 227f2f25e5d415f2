// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/VideoUDP.h>

#include <algorithm>
#include <limits>
#include <utility>

#include <QuorlKit/Protocol/Bytes.h>

namespace quorl::VideoUDP {

namespace {

template <class Unsigned>
void putLittleEndian(std::uint8_t*& place, Unsigned value) {
  for (std::size_t index = 0; index < sizeof(Unsigned); ++index)
    *place++ = static_cast<std::uint8_t>(std::uint64_t{value} >> (8 * index));
}

}  // namespace

std::optional<std::uint16_t> fragmentCount(std::size_t payloadSize) {
  const std::size_t count =
      std::max<std::size_t>(1, payloadSize / maxChunk + (payloadSize % maxChunk != 0 ? 1 : 0));
  if (count > std::numeric_limits<std::uint16_t>::max()) return std::nullopt;
  return static_cast<std::uint16_t>(count);
}

std::array<std::uint8_t, headerSize> fragmentHeader(const FrameFields& frame, std::uint16_t index,
                                                    std::uint16_t count) {
  std::array<std::uint8_t, headerSize> header;
  std::uint8_t* place = header.data();
  putLittleEndian(place, magic);
  putLittleEndian(place, frame.streamID);
  putLittleEndian(place, frame.frameID);
  putLittleEndian(place, index);
  putLittleEndian(place, count);
  putLittleEndian(place, frame.flags.rawValue);
  putLittleEndian(place, frame.ptsMicros);
  return header;
}

std::vector<Bytes> fragments(std::uint32_t streamID, std::uint32_t frameID, VideoPacketFlags flags,
                             std::uint64_t ptsMicros, ByteView payload) {
  std::vector<Bytes> datagrams;
  datagrams.reserve(fragmentCount(payload.size()).value_or(0));
  forEachFragment({streamID, frameID, flags, ptsMicros}, payload,
                  [&datagrams](ByteView header, ByteView chunk) {
                    Bytes& datagram = datagrams.emplace_back();
                    datagram.reserve(header.size() + chunk.size());
                    datagram.insert(datagram.end(), header.begin(), header.end());
                    datagram.insert(datagram.end(), chunk.begin(), chunk.end());
                  });
  return datagrams;
}

std::optional<Fragment> parse(ByteView datagram) {
  if (datagram.size() <= headerSize) return std::nullopt;
  ByteReader reader(datagram);
  if (reader.u8() != magic) return std::nullopt;
  Fragment fragment;
  fragment.streamID = reader.u32().value_or(0);
  fragment.frameID = reader.u32().value_or(0);
  fragment.index = reader.u16().value_or(0);
  fragment.count = reader.u16().value_or(0);
  fragment.flags = {reader.u8().value_or(0)};
  fragment.ptsMicros = reader.u64().value_or(0);
  if (fragment.index >= fragment.count) return std::nullopt;
  const ByteView payload = reader.rest();
  fragment.payload.assign(payload.begin(), payload.end());
  return fragment;
}

std::optional<VideoPacket> Reassembler::accept(Fragment fragment) {
  const std::uint32_t frameID = fragment.frameID;
  auto entry = pending_.find(frameID);
  if (entry == pending_.end()) {
    if (newestDelivered_ != 0 && frameID <= newestDelivered_) return std::nullopt;
    entry =
        pending_.emplace(frameID, PendingFrame{fragment.flags, fragment.ptsMicros, fragment.count, {}}).first;
  }
  PendingFrame& frame = entry->second;
  frame.parts.insert_or_assign(fragment.index, std::move(fragment.payload));
  if (frame.parts.size() != frame.count) {
    evictOlderThan(frameID);
    return std::nullopt;
  }
  auto data = concatenated(frame);
  if (!data) return std::nullopt;
  VideoPacket packet{fragment.streamID, frame.flags, frame.pts, std::move(*data)};
  pending_.erase(entry);
  newestDelivered_ = std::max(newestDelivered_, frameID);
  evictOlderThan(frameID);
  return packet;
}

// Nothing if a fragment with another count has an index that the frame does not have.
std::optional<Bytes> Reassembler::concatenated(const PendingFrame& frame) {
  if (frame.parts.rbegin()->first >= frame.count) return std::nullopt;
  std::size_t size = 0;
  for (const auto& [index, part] : frame.parts) size += part.size();
  Bytes data;
  data.reserve(size);
  for (const auto& [index, part] : frame.parts) data.insert(data.end(), part.begin(), part.end());
  return data;
}

void Reassembler::evictOlderThan(std::uint32_t frameID) {
  while (pending_.size() > window_ && pending_.begin()->first < frameID) {
    pending_.erase(pending_.begin());
    didDropFrame_ = true;
  }
}

bool Reassembler::consumeDropFlag() {
  return std::exchange(didDropFrame_, false);
}

}  // namespace quorl::VideoUDP
