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

/// Chooses one quantiser for each picture before it is encoded: as fine as the quality asks where little
/// changes; coarser, but still good to look at, for a large change, so that it is there at once; as coarse as
/// the rates demand. What came out coarse is sharpened by repeats.
///
/// It knows what a picture of new content costs from its detail. What moves costs less than that, and how
/// much less is learned from the pictures before, for as long as they follow each other closely.
///
/// *Queue*: none of its own; a value of its owner's.
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

  /// The coarsest that looks good at a glance: a large change is not made coarser for the sake of its speed.
  static constexpr int pleasant = 28;

  /// `coarsest`: the encoder's coarsest quantiser; 51 in the standards.
  QuantizerControl(PixelSize size, int coarsest) : size_(size), coarsest_(coarsest), shown_(coarsest) {}

  void setRates(const CompressionRates& rates);
  /// The quantiser that the rates ask for where there is nothing against it: 18 to 26, by their bits a pixel.
  int finest() const { return finest_; }

  /// Whether the next picture may sharpen the whole screen.
  bool sharpensAll() const { return shown_ > finest_; }

  int choose(const Picture& picture);
  /// Whether the picture that was chosen for last is a change after a pause that may cost what new content
  /// costs.
  bool isCheapAsNew() const { return choice_.isCheapAsNew; }
  /// The picture that was chosen for last took this many bits.
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
  int shown_;          // the coarsest that may still be seen; a finer picture encodes again what is not new
  double motion_ = 1;  // what changes cost as a share of new content
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
