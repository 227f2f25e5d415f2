// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SwrContext;

namespace quorl::viewer {

/// Samples of 16 bits, the channels of a moment one after the other.
struct SoundFormat {
  int rate = 48'000;
  int channels = 2;

  bool operator==(const SoundFormat&) const = default;
  /// What this program plays; everything else from a host is refused.
  bool isPlayable() const { return rate >= 8'000 && rate <= 192'000 && channels >= 1 && channels <= 8; }
};

/// Stretches sound by a few parts per million, with libswresample.
///
/// *Queue*: one at a time. *Ownership*: a movable value.
class Resampler {
 public:
  /// `format` is playable.
  explicit Resampler(SoundFormat format);

  /// Appends the stretched samples to `output`. `stretch`: parts per million more samples than come in.
  void add(std::span<const std::int16_t> samples, int stretch, std::vector<std::int16_t>& output);

 private:
  struct Closer {
    void operator()(SwrContext* context) const;
  };

  SoundFormat format_;
  std::unique_ptr<SwrContext, Closer> context_;  // null if memory ran out: sound is passed on unchanged
};

}  // namespace quorl::viewer
