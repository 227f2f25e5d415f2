// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <QuorlKit/Models/Models.h>

#include <quorl-client/Base/ClientError.h>

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
  struct Context;

  std::unique_ptr<Context> context_;
  std::uint64_t failedPackets_ = 0;
};

}  // namespace quorl::client
