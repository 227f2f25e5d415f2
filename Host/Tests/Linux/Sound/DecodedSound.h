// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::test {

struct DecodedSound {
  int sampleRate = 0;
  std::vector<std::vector<float>> channels;
};

/// Decodes packets of AAC, including the samples of the encoder's priming. Aborts if they cannot be decoded.
DecodedSound decodeAAC(const Bytes& configuration, const std::vector<Bytes>& packets);

/// In Hz, from the rising zero crossings of the middle half of the samples.
double pitchOf(const std::vector<float>& samples, int sampleRate);
/// Of the middle half of the samples.
float peakOf(const std::vector<float>& samples);

}  // namespace quorl::test
