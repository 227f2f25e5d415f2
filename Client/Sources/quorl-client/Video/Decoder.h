// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Geometry.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Codec/DecodeDevice.h>
#include <quorl-client/Codec/PacketDecoder.h>
#include <quorl-client/Video/PicturePlanes.h>

namespace quorl::client {

/// A decoded picture in the planes of the decoder.
///
/// *Queue*: any; it is immutable. *Ownership*: a movable value.
class DecodedPicture {
 public:
  struct Planes;

  explicit DecodedPicture(std::unique_ptr<Planes> planes);
  ~DecodedPicture();
  DecodedPicture(DecodedPicture&&) noexcept;
  DecodedPicture& operator=(DecodedPicture&&) noexcept;

  PixelSize size() const;
  std::uint64_t ptsMicros() const;
  /// The planes with the colour description of the stream (BT.601 and limited range without one); valid as
  /// long as the picture. Nothing if the format is not one of `PlaneFormat`.
  std::optional<PicturePlanes> planes() const;
  /// The coded luma of a pixel, 16 (black) to 235 (white) in the usual range.
  std::uint8_t luma(int x, int y) const;
  /// The coded Y, Cb and Cr of a pixel of an 8-bit 4:2:0 picture; 128 each for any other format.
  struct Sample {
    std::uint8_t luma = 128;
    std::uint8_t blueDifference = 128;
    std::uint8_t redDifference = 128;
  };
  Sample sample(int x, int y) const;
  /// 3 bytes per pixel, rows without padding, converted by the colour description of the stream (BT.601
  /// without one). Empty if memory runs out.
  Bytes rgb() const;

 private:
  std::unique_ptr<Planes> planes_;
};

/// Decodes H.264 and HEVC with the lowest delay, in software or with a device.
///
/// A picture larger than `mostPixels` is refused before memory is allocated for it: the size comes from the
/// host, and a decoder keeps up to 17 pictures.
///
/// *Queue*: one at a time. *Ownership*: the caller's.
class Decoder {
 public:
  static constexpr std::int64_t mostPixels = 8'192LL * 4'352;

  Decoder();
  ~Decoder();

  /// Restarts with a decoder configuration record. With a device, pictures are decoded by it if its driver
  /// knows the stream's profile, otherwise in software (`isDeviceUnfit`).
  Outcome<void> configure(ByteView record, std::shared_ptr<DecodeDevice> device = nullptr);
  /// The pictures that come out, usually one. A unit that cannot be decoded is counted and returns none; the
  /// next key frame repairs the stream.
  std::vector<DecodedPicture> decode(ByteView unit, std::uint64_t ptsMicros);
  /// The pictures still in the decoder. Afterwards it accepts only a new configuration.
  std::vector<DecodedPicture> drain();

  std::uint64_t failedUnits() const { return failedUnits_; }
  /// The size of a picture that was refused since the last configuration.
  std::optional<PixelSize> refusedSize() const;
  /// The device's driver cannot decode this stream.
  bool isDeviceUnfit() const;

 private:
  struct Negotiation;

  std::vector<DecodedPicture> receive();
  static bool fetchFromDevice(DecodedPicture::Planes& planes);

  std::unique_ptr<Negotiation> negotiation_;  // used by the decoder's callbacks
  std::unique_ptr<PacketDecoder> decoder_;
  std::uint64_t failedUnits_ = 0;
};

/// Stops the media libraries from writing to standard error.
void silenceMediaLibraries();

}  // namespace quorl::client
