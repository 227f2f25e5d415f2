// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class SampleType : std::uint8_t {
  int16,    // two's complement
  float32,  // IEEE 754, full scale -1 to 1
};

/// Linear PCM: interleaved channels, the machine's byte order.
struct PCMFormat {
  int sampleRate = 48'000;  // frames a second
  int channels = 2;
  SampleType samples = SampleType::float32;

  bool operator==(const PCMFormat&) const = default;
};

/// One piece of captured sound. A frame is one sample of each channel.
struct PCMBuffer {
  PCMFormat format;
  Bytes samples;
};

/// The capture of what this session plays.
///
/// *Queue*: operations from the queue given at its creation, on which the handlers are called too.
/// *Blocking*: none. *Ownership*: the caller's. *Lifetime*: no handler is called after destruction has begun
/// on that queue.
class SoundStream {
 public:
  struct Handlers {
    std::function<void(const PCMBuffer&)> captured;
  };
  using StartAnswer = std::move_only_function<void(std::optional<PortError>)>;

  virtual ~SoundStream() = default;
  /// `answer` is called at most once, later: without an error when the capture runs. A capture may wait for
  /// its device first; its answer then comes with the device.
  virtual void start(StartAnswer answer) = 0;
  virtual void stop() = 0;
};

/// The sound of this session, without that of this process.
///
/// *Queue*: any thread. *Blocking*: none. *Ownership*: shared; streams may outlive it.
class SoundCapture {
 public:
  virtual ~SoundCapture() = default;
  /// `wanted` is a wish; each buffer states the format that it has. Fails when no capture can be set up.
  virtual std::expected<std::unique_ptr<SoundStream>, PortError> makeStream(
      const PCMFormat& wanted, SerialQueue queue, SoundStream::Handlers handlers) = 0;
};

/// Compressed sound: packets one after the other in `data`.
struct CompressedSound {
  struct Packet {
    std::size_t offset = 0;
    std::size_t size = 0;
  };
  Bytes data;
  std::size_t packetCount = 0;
  std::vector<Packet> packets;  // empty where the compressor does not say; one packet is then all of `data`
};

/// One compression session: AAC-LC (ISO/IEC 14496-3), 1024 frames a packet.
///
/// *Queue*: its owner's. *Blocking*: computes. *Ownership*: the caller's.
class SoundCompressor {
 public:
  virtual ~SoundCompressor() = default;
  /// Takes samples of the format of its creation. Gives the packets that are complete by now, often none.
  virtual std::expected<CompressedSound, PortError> compress(ByteView samples) = 0;
  virtual double sampleRate() const = 0;  // of the packets; not positive when unknown
  virtual int channels() const = 0;       // 0 when unknown
  /// AudioSpecificConfig (ISO/IEC 14496-3) or what else a decoder needs; empty when there is nothing.
  virtual Bytes decoderConfiguration() const = 0;
};

struct SoundCompression {
  int sampleRate = 48'000;
  int channels = 2;
  int bitRate = 160'000;  // bits a second
};

/// *Queue*: any thread. *Blocking*: none.
class SoundCompressorFactory {
 public:
  virtual ~SoundCompressorFactory() = default;
  virtual std::expected<std::unique_ptr<SoundCompressor>, PortError> make(const PCMFormat& input,
                                                                          const SoundCompression& output) = 0;
};

}  // namespace quorl
