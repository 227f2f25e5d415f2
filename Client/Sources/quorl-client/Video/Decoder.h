// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Geometry.h>

#include <quorl-client/Base/ClientError.h>

namespace quorl::client {

// A decoded picture, still in the decoder's planes.
// Queue: any; it does not change. Ownership: a movable value.
class DecodedPicture {
 public:
  struct Planes;

  explicit DecodedPicture(std::unique_ptr<Planes> planes);
  ~DecodedPicture();
  DecodedPicture(DecodedPicture&&) noexcept;
  DecodedPicture& operator=(DecodedPicture&&) noexcept;

  PixelSize size() const;
  std::uint64_t ptsMicros() const;
  // Brightness of one pixel as it was coded, 16 (black) to 235 (white) in the usual range.
  std::uint8_t luma(int x, int y) const;
  // One pixel as it was coded: Y, Cb and Cr of an 8-bit 4:2:0 picture; the middle values for any other form.
  struct Sample {
    std::uint8_t luma = 128;
    std::uint8_t blueDifference = 128;
    std::uint8_t redDifference = 128;
  };
  Sample sample(int x, int y) const;
  // 3 bytes a pixel, rows without padding, converted as the stream describes its colours (BT.601 if it does
  // not). Empty when there is no memory for it.
  Bytes rgb() const;

 private:
  std::unique_ptr<Planes> planes_;
};

// H.264 and HEVC in software, tuned to give each picture at once.
// Queue: one at a time. Ownership: the command's.
class Decoder {
 public:
  Decoder();
  ~Decoder();

  // Starts over with a decoder configuration record.
  Outcome<void> configure(ByteView record);
  // The pictures that come out, usually one. A unit that cannot be decoded gives none and is counted; a key
  // frame repairs it.
  std::vector<DecodedPicture> decode(ByteView unit, std::uint64_t ptsMicros);
  // Whatever the decoder still holds; afterwards it takes only a new configuration.
  std::vector<DecodedPicture> drain();

  std::uint64_t failedUnits() const { return failedUnits_; }

 private:
  struct Context;
  std::vector<DecodedPicture> receive();

  std::unique_ptr<Context> context_;
  std::uint64_t failedUnits_ = 0;
};

// The media libraries write to standard error by themselves; a program with its own messages turns it off.
void silenceMediaLibraries();

}  // namespace quorl::client
