// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/SoundCoding/AACCompressor.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DecodedSound.h"

namespace quorl::test {
namespace {

using testing::AllOf;
using testing::Ge;
using testing::Le;

class AACCompressorTest : public testing::Test {
 protected:
  std::unique_ptr<SoundCompressor> make(const PCMFormat& input) const {
    auto made = factory->make(input, SoundCompression{});
    EXPECT_TRUE(made) << made.error().description;
    return std::move(*made);
  }
  // A tone at half scale on all channels.
  static Bytes tone(const PCMFormat& format, double seconds, double frequency = 997) {
    const auto frames = static_cast<std::size_t>(format.sampleRate * seconds);
    Bytes bytes;
    for (std::size_t frame = 0; frame < frames; ++frame) {
      const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(frame) / format.sampleRate;
      for (int channel = 0; channel < format.channels; ++channel) append(bytes, format, std::sin(angle) / 2);
    }
    return bytes;
  }
  static void append(Bytes& bytes, const PCMFormat& format, double value) {
    const auto put = [&bytes](auto sample) {
      const auto* const raw = reinterpret_cast<const std::uint8_t*>(&sample);
      bytes.insert(bytes.end(), raw, raw + sizeof sample);
    };
    if (format.samples == SampleType::int16)
      put(static_cast<std::int16_t>(std::lround(value * 32'767)));
    else
      put(static_cast<float>(value));
  }
  static std::vector<Bytes> packetsOf(const CompressedSound& sound) {
    EXPECT_EQ(sound.packetCount, sound.packets.size());
    std::vector<Bytes> packets;
    for (const auto& packet : sound.packets) {
      const auto start = sound.data.begin() + static_cast<std::ptrdiff_t>(packet.offset);
      packets.emplace_back(start, start + static_cast<std::ptrdiff_t>(packet.size));
    }
    return packets;
  }
  // `piece`: bytes given at a time.
  static std::vector<Bytes> compress(SoundCompressor& compressor, const Bytes& samples, std::size_t piece) {
    std::vector<Bytes> packets;
    for (std::size_t at = 0; at < samples.size(); at += piece) {
      const auto sound =
          compressor.compress(ByteView(samples).subspan(at, std::min(piece, samples.size() - at)));
      EXPECT_TRUE(sound) << sound.error().description;
      if (!sound) continue;
      for (Bytes& packet : packetsOf(*sound)) packets.push_back(std::move(packet));
    }
    return packets;
  }

  std::shared_ptr<SoundCompressorFactory> factory = makeAACCompressors();
};

struct Input {
  const char* name;
  PCMFormat format;
};

class AACInputTest : public AACCompressorTest, public testing::WithParamInterface<Input> {};

INSTANTIATE_TEST_SUITE_P(
    Formats, AACInputTest,
    testing::Values(
        Input{"float48000Stereo", {}}, Input{"int16At48000Stereo", {.samples = SampleType::int16}},
        Input{"float48000Mono", {.channels = 1}},
        Input{"int16At44100Mono", {.sampleRate = 44'100, .channels = 1, .samples = SampleType::int16}},
        Input{"float44100Stereo", {.sampleRate = 44'100}}, Input{"float96000Stereo", {.sampleRate = 96'000}},
        Input{"int16At8000Mono", {.sampleRate = 8'000, .channels = 1, .samples = SampleType::int16}}),
    [](const auto& parameter) { return std::string(parameter.param.name); });

TEST_P(AACInputTest, keepsPitchAndLevelOfATone) {
  const PCMFormat& format = GetParam().format;
  const auto compressor = make(format);
  const Bytes samples = tone(format, 2);
  const std::size_t frameSize = samples.size() / static_cast<std::size_t>(format.sampleRate) / 2;
  const auto packets = compress(*compressor, samples, 479 * frameSize);
  const DecodedSound sound = decodeAAC(compressor->decoderConfiguration(), packets);
  EXPECT_EQ(sound.sampleRate, 48'000);
  ASSERT_EQ(sound.channels.size(), 2U);
  for (const auto& channel : sound.channels) {
    EXPECT_NEAR(pitchOf(channel, 48'000), 997, 1);
    EXPECT_NEAR(peakOf(channel), 0.5, 0.05);
  }
}

TEST_P(AACInputTest, makesOnePacketOf1024Samples) {
  const PCMFormat& format = GetParam().format;
  const auto compressor = make(format);
  const Bytes samples = tone(format, 2);
  const auto packets = compress(*compressor, samples, samples.size() / 4);
  // 93 whole frames in two seconds; the last one is given with the next frame.
  EXPECT_THAT(packets.size(), AllOf(Ge(91U), Le(93U)));
}

TEST_F(AACCompressorTest, describesItsPacketsInTwoBytes) {
  const auto compressor = make({});
  EXPECT_EQ(compressor->decoderConfiguration(), (Bytes{0x11, 0x90}));
  EXPECT_EQ(compressor->sampleRate(), 48'000);
  EXPECT_EQ(compressor->channels(), 2);
}

TEST_F(AACCompressorTest, describes44100MonoWhenThatIsWanted) {
  const auto compressor = factory->make({}, {.sampleRate = 44'100, .channels = 1, .bitRate = 96'000});
  ASSERT_TRUE(compressor);
  EXPECT_EQ((*compressor)->decoderConfiguration(), (Bytes{0x12, 0x08}));
}

TEST_F(AACCompressorTest, usesAbout160KilobitsASecond) {
  // Noise leaves nothing to save.
  const auto compressor = make({});
  Bytes samples;
  std::uint32_t random = 1;
  for (int sample = 0; sample < 2 * 48'000 * 4; ++sample) {
    random = random * 1'664'525 + 1'013'904'223;
    append(samples, {}, (static_cast<double>(random) / 4'294'967'296.0 - 0.5) / 2);
  }
  std::size_t bytes = 0;
  for (const Bytes& packet : compress(*compressor, samples, 3'840)) bytes += packet.size();
  EXPECT_NEAR(static_cast<double>(bytes) * 8 / 4, 160'000, 16'000);
}

TEST_F(AACCompressorTest, makesSilenceTiny) {
  const auto compressor = make({});
  const auto packets = compress(*compressor, Bytes(48'000 * 8), 3'840);
  ASSERT_GE(packets.size(), 45U);
  EXPECT_LE(packets[0].size(), 32U) << "it names the encoder";
  for (std::size_t index = 1; index < packets.size(); ++index) EXPECT_LE(packets[index].size(), 6U);
}

TEST_F(AACCompressorTest, startsWith1024SamplesOfPriming) {
  const auto compressor = make({});
  Bytes samples;
  // A step, whose edge can be found.
  for (int frame = 0; frame < 48'000; ++frame)
    for (int channel = 0; channel < 2; ++channel) append(samples, {}, frame < 9'600 ? 0 : 0.5);
  const DecodedSound sound =
      decodeAAC(compressor->decoderConfiguration(), compress(*compressor, samples, 3'840));
  const auto& left = sound.channels[0];
  const auto edge = std::ranges::find_if(left, [](float sample) { return sample > 0.25F; }) - left.begin();
  EXPECT_NEAR(static_cast<double>(edge), 9'600 + 1'024, 8);
}

TEST_F(AACCompressorTest, refusesHalfAFrameAndGoesOn) {
  const auto compressor = make({});
  for (const std::size_t size : {1U, 7U, 9U, 8'191U}) {
    const auto refused = compressor->compress(Bytes(size));
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().status, EINVAL);
    EXPECT_NE(refused.error().description.find("not whole frames of 8 bytes"), std::string::npos);
  }
  EXPECT_EQ(compress(*compressor, Bytes(3 * 8'192), 8'192).size(), 2U);
  const auto nothing = compressor->compress({});
  ASSERT_TRUE(nothing);
  EXPECT_EQ(nothing->packetCount, 0U);
}

TEST_F(AACCompressorTest, survivesInfinityAndNaN) {
  const auto compressor = make({});
  Bytes samples;
  for (int frame = 0; frame < 9'600; ++frame) {
    append(samples, {}, std::numeric_limits<double>::quiet_NaN());
    append(samples, {}, frame % 2 == 0 ? std::numeric_limits<double>::infinity() : -1e30);
  }
  EXPECT_EQ(compress(*compressor, samples, 3'840).size(), 8U);
  const auto packets = compress(*compressor, tone({}, 2), 3'840);
  const DecodedSound sound = decodeAAC(compressor->decoderConfiguration(), packets);
  EXPECT_NEAR(pitchOf(sound.channels[0], 48'000), 997, 1);
}

TEST_F(AACCompressorTest, refusesFormatsThatDoNotExist) {
  for (const PCMFormat& format :
       {PCMFormat{.sampleRate = 0}, PCMFormat{.sampleRate = -1}, PCMFormat{.sampleRate = 2'000'000'000},
        PCMFormat{.channels = 0}, PCMFormat{.channels = -3}, PCMFormat{.channels = 9'999}}) {
    const auto made = factory->make(format, SoundCompression{});
    ASSERT_FALSE(made);
    EXPECT_FALSE(made.error().description.empty());
  }
  EXPECT_FALSE(factory->make({}, {.sampleRate = 12'345})) << "no rate of the standard";
}

}  // namespace
}  // namespace quorl::test
