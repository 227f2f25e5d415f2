// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <QuorlKit/Models/Models.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Codec/PacketDecoder.h>

namespace quorl::client {

/// Linear PCM of 16 bits; the samples of all channels of one moment follow each other.
struct DecodedSound {
  int sampleRate = 0;
  int channels = 0;
  std::vector<std::int16_t> samples;
};

/// Decodes AAC.
///
/// *Queue*: one at a time. *Ownership*: the caller's.
class SoundDecoder {
 public:
  SoundDecoder();
  ~SoundDecoder();

  /// Restarts with a host's configuration.
  Outcome<void> configure(const AudioConfig& config);
  /// The samples of a packet, which are those that the encoder had before it too. Of a packet that cannot be
  /// decoded: none; it is counted.
  DecodedSound decode(ByteView packet);

  std::uint64_t failedPackets() const { return failedPackets_; }

 private:
  struct FrameCloser {
    void operator()(AVFrame* frame) const;
  };

  std::unique_ptr<PacketDecoder> decoder_;
  std::unique_ptr<AVFrame, FrameCloser> frame_;
  std::uint64_t failedPackets_ = 0;
};

}  // namespace quorl::client
