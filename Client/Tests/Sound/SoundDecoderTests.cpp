// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundDecoder.h>

#include <gtest/gtest.h>

#include "../Support/SampleSound.h"

namespace quorl::client {
namespace {

using test::PlayedSound;
using test::SampleSound;

TEST(SoundDecoder, decodesATone) {
  const auto sample = SampleSound::tone(997, 1);
  SoundDecoder decoder;
  ASSERT_TRUE(decoder.configure(sample.config));
  PlayedSound left;
  for (const auto& packet : sample.packets) {
    const auto sound = decoder.decode(packet);
    EXPECT_EQ(sound.sampleRate, 48'000);
    EXPECT_EQ(sound.channels, 2);
    EXPECT_EQ(sound.samples.size(), 2U * 1'024);
    for (std::size_t at = 0; at < sound.samples.size(); at += 2)
      left.samples.push_back(static_cast<float>(sound.samples[at]) / 32'768);
  }
  EXPECT_NEAR(left.pitch(0.2, 0.8), 997, 1);
  EXPECT_EQ(decoder.failedPackets(), 0U);
}

TEST(SoundDecoder, countsWhatItCannotDecodeAndGoesOn) {
  const auto sample = SampleSound::tone(997, 0.5);
  SoundDecoder decoder;
  EXPECT_TRUE(decoder.decode(sample.packets[0]).samples.empty()) << "not configured";
  ASSERT_TRUE(decoder.configure(sample.config));
  EXPECT_TRUE(decoder.decode({}).samples.empty());
  decoder.decode(Bytes(500, 0xFF));
  EXPECT_GE(decoder.failedPackets(), 3U);
  decoder.decode(sample.packets[4]);
  EXPECT_FALSE(decoder.decode(sample.packets[5]).samples.empty());
}

TEST(SoundDecoder, rejectsAnInvalidConfiguration) {
  SoundDecoder decoder;
  EXPECT_FALSE(decoder.configure({.sampleRate = 48'000, .channels = 2, .magicCookie = {}}));
  EXPECT_FALSE(decoder.configure({.sampleRate = 48'000, .channels = 2, .magicCookie = Bytes(100'000)}));
  EXPECT_FALSE(decoder.configure({.sampleRate = 48'000, .channels = 2, .magicCookie = {0xFF, 0xFF}}));
}

}  // namespace
}  // namespace quorl::client
