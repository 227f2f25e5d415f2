// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/Models.h>

namespace quorl::client::test {

/// A tone in AAC, in the form a host sends.
struct SampleSound {
  AudioConfig config;
  std::vector<Bytes> packets;

  /// On both of two channels at 48 kHz.
  static SampleSound tone(int frequency, double seconds);
};

/// What a file plays, as ffmpeg decodes it: the left channel at 48 kHz.
struct PlayedSound {
  std::vector<float> samples;

  double seconds() const { return static_cast<double>(samples.size()) / 48'000; }
  /// In Hz, between two times in seconds, from the rising zero crossings; 0 for silence.
  double pitch(double begin, double end) const;
  /// The longest time in seconds with less than a hundredth of full scale.
  double longestSilence() const;
};
PlayedSound playedByTool(const std::string& path);

}  // namespace quorl::client::test
