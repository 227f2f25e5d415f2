// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlHostLinux/Media/LinkShare.h>
#include <QuorlHostLinux/Media/PictureDetail.h>
#include <QuorlHostLinux/Media/RateBucket.h>

namespace quorl {

/// Chooses one quantiser for each picture before it is encoded: as fine as the quality setting for small
/// changes; coarser, but still good to look at, for a large change, so that it arrives at once; as coarse as
/// the rates demand. Repeats sharpen coarse pictures.
///
/// The cost of new content follows from its detail. Motion costs less; how much less is learned from earlier
/// pictures, while they follow each other closely.
///
/// *Queue*: that of its owner.
class QuantizerControl {
 public:
  using Time = std::chrono::microseconds;

  enum class Kind : std::uint8_t {
    change,  // something is new
    repeat,  // the picture before again, to be sharper
    key,     // decodable by itself
  };

  struct Picture {
    Kind kind = Kind::change;
    Time presentationTime{};
    PictureDetail changed;                 // of what is new; nothing in a repeat
    std::optional<PictureDetail> whole{};  // needed while `sharpensAll`, and for a key frame
  };

  /// The coarsest quantiser that looks good at a glance. A large change is not made coarser for speed.
  static constexpr int pleasant = 28;

  /// `coarsest`: the encoder's coarsest quantiser; 51 in the standards.
  QuantizerControl(PixelSize size, int coarsest) : size_(size), coarsest_(coarsest), shown_(coarsest) {}

  void setRates(const CompressionRates& rates);
  /// The quantiser for these rates without other limits: 18 to 26, by their bits per pixel.
  int finest() const { return finest_; }

  /// Whether the next picture may sharpen the whole screen.
  bool sharpensAll() const { return shown_ > finest_; }

  int choose(const Picture& picture);
  /// Whether the last chosen picture is a change after a pause, which may cost as much as new content.
  bool isCheapAsNew() const { return choice_.isCheapAsNew; }
  /// The last chosen picture took this many bits.
  void encoded(std::int64_t bits);

 private:
  double expectedBits(const Picture& picture, int quantizer) const;
  // The finest from `from` to `to` whose bits are within the allowance, else `to`.
  int firstWithin(const Picture& picture, int from, int to, double allowance) const;

  const PixelSize size_;
  const int coarsest_;
  RateBucket bucket_{2'000'000};
  LinkShare link_;
  double bitsPerPicture_ = 2'000'000.0 / 60;
  int finest_ = 22;
  int shown_;          // the coarsest on the screen; a finer picture encodes unchanged parts again
  double motion_ = 1;  // cost of changes, as a share of new content
  std::optional<Time> lastChange_;
  struct Choice {
    Kind kind = Kind::key;
    int quantizer = 0;
    double bitsAsNew = 0;
    bool isCheapAsNew = false;
  };
  Choice choice_;
};

}  // namespace quorl
