// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/MediaPackets.h>

/// Pictures as datagrams. A picture packet is cut into fragments, each one datagram below the usual path MTU:
///
///   offset  size  field
///   0       1     magic, 0xBD
///   1       4     streamID
///   5       4     frameID, counted per connection from 1
///   9       2     index, this fragment's position, from 0
///   11      2     count, number of fragments of the frame
///   13      1     flags
///   14      8     ptsMicros
///   22      rest  payload
///
/// All integers are little-endian. Nothing is acknowledged or sent again.
namespace quorl::VideoUDP {

inline constexpr std::uint8_t magic = 0xBD;
inline constexpr std::size_t headerSize = 22;
inline constexpr std::size_t maxChunk = 1100;

/// The fields that all fragments of a frame share.
struct FrameFields {
  std::uint32_t streamID = 0;
  std::uint32_t frameID = 0;
  VideoPacketFlags flags;
  std::uint64_t ptsMicros = 0;
};

/// The number of fragments of a payload, at least one. Nothing if 16 bits cannot hold it; such a frame is not
/// sent.
std::optional<std::uint16_t> fragmentCount(std::size_t payloadSize);

std::array<std::uint8_t, headerSize> fragmentHeader(const FrameFields& frame, std::uint16_t index,
                                                    std::uint16_t count);

/// The datagrams of a frame; none if `fragmentCount` returns nothing.
std::vector<Bytes> fragments(std::uint32_t streamID, std::uint32_t frameID, VideoPacketFlags flags,
                             std::uint64_t ptsMicros, ByteView payload);

/// The same datagrams without a copy, for a gathered send: calls `use(ByteView header, ByteView payload)` for
/// each datagram. Both views are valid during the call.
template <class Use>
void forEachFragment(const FrameFields& frame, ByteView payload, Use&& use) {
  const auto count = fragmentCount(payload.size());
  if (!count) return;
  for (std::size_t index = 0; index < *count; ++index) {
    const auto header = fragmentHeader(frame, static_cast<std::uint16_t>(index), *count);
    const ByteView rest = payload.subspan(index * maxChunk);
    use(ByteView(header), rest.first(rest.size() < maxChunk ? rest.size() : maxChunk));
  }
}

struct Fragment {
  std::uint32_t streamID = 0;
  std::uint32_t frameID = 0;
  std::uint16_t index = 0;
  std::uint16_t count = 0;
  VideoPacketFlags flags;
  std::uint64_t ptsMicros = 0;
  Bytes payload;

  bool operator==(const Fragment&) const = default;
};

/// Nothing for a datagram of fewer than 23 bytes (a header alone is refused, although an empty payload is
/// sent as one), for another first byte, and if `index` is not below `count`.
std::optional<Fragment> parse(ByteView datagram);

/// Reassembles frames from fragments. A frame is delivered when its last fragment arrives, even after a newer
/// frame. After a newer frame was delivered, no older frame is started.
///
/// *Queue*: one at a time, the receive path of one client. *Ownership*: a value.
class Reassembler {
 public:
  /// `window`: the number of incomplete frames kept before older ones are dropped.
  explicit Reassembler(std::size_t window) : window_(window) {}

  /// The packet that the fragment completes.
  std::optional<VideoPacket> accept(Fragment fragment);
  /// Whether a frame was dropped since the last call.
  bool consumeDropFlag();
  bool didDropFrame() const { return didDropFrame_; }

  /// For tests and diagnostics.
  bool isPending(std::uint32_t frameID) const { return pending_.contains(frameID); }
  std::size_t pendingCount() const { return pending_.size(); }
  /// The highest `frameID` delivered, 0 before the first.
  std::uint32_t newestDelivered() const { return newestDelivered_; }

 private:
  struct PendingFrame {
    VideoPacketFlags flags;
    std::uint64_t pts = 0;
    std::uint16_t count = 0;
    std::map<std::uint16_t, Bytes> parts;
  };

  static std::optional<Bytes> concatenated(const PendingFrame& frame);
  void evictOlderThan(std::uint32_t frameID);

  std::size_t window_;
  std::map<std::uint32_t, PendingFrame> pending_;
  std::uint32_t newestDelivered_ = 0;
  bool didDropFrame_ = false;
};

}  // namespace quorl::VideoUDP
