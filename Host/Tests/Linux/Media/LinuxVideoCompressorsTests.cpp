// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>

#include <cerrno>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Display/VideoEncoder.h>

namespace quorl {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ElementsAre;

constexpr PixelSize small{640, 360};
constexpr milliseconds thirtieth{33};

/// A table of fake encoders on a clock that only they advance.
class Machine {
 public:
  /// `pictureTime` for each picture; 0 with `canOpen` false for one that does not open.
  void add(
      std::string_view name, VideoCodec codec, milliseconds pictureTime, bool canOpen = true,
      bool (*isThere)() = [] { return true; }) {
    backends_.push_back({name, codec, isThere,
                         [this, name, pictureTime, canOpen](const CompressorSpecification& specification,
                                                            VideoCompressor::Output)
                             -> std::expected<std::unique_ptr<VideoCompressor>, PortError> {
                           opened.emplace_back(name);
                           if (!canOpen) return std::unexpected(PortError{"busy", EBUSY});
                           return std::make_unique<TimedCompressor>(*this, specification.size, pictureTime);
                         }});
  }
  void limitLast(milliseconds longestPictureTime) {
    backends_.back().longestPictureTime = longestPictureTime;
  }

  void pass(microseconds time) { now_ += time; }

  std::shared_ptr<VideoCompressorFactory> factory() {
    return makeVideoCompressors(backends_, [this] { return now_; });
  }

  std::vector<std::string_view> opened;  // by name, in order
  int encoded = 0;
  /// A delay by other load during one of the pictures.
  milliseconds hiccup{0};

 private:
  class TimedCompressor final : public VideoCompressor {
   public:
    TimedCompressor(Machine& machine, PixelSize size, milliseconds pictureTime)
        : machine_(machine), size_(size), pictureTime_(pictureTime) {}

    void setRates(const CompressionRates&) override {}
    void prepare() override {}
    void encode(const CompressionRequest& request) override {
      EXPECT_EQ(request.image->size.width, size_.width);
      machine_.now_ += pictureTime_;
      if (++machine_.encoded == 2) machine_.now_ += machine_.hiccup;
    }
    void completeAndInvalidate() override {}

   private:
    Machine& machine_;
    const PixelSize size_;
    const milliseconds pictureTime_;
  };

  std::vector<VideoBackend> backends_;
  microseconds now_{0};
};

VideoCodec codecGiven(VideoCompressorFactory& factory) {
  const auto encoder =
      VideoEncoder::create(factory, {.size = small, .codec = VideoCodec::hevc, .fps = 60, .quality = 0.5});
  EXPECT_TRUE(encoder);
  return encoder ? (*encoder)->codec() : VideoCodec::hevc;
}

TEST(LinuxVideoCompressors, tryTheNextEncoderIfOneCannotBeMade) {
  Machine machine;
  machine.add("busy device", VideoCodec::h264, milliseconds(1), false);
  machine.add("software", VideoCodec::h264, milliseconds(5));
  const auto factory = machine.factory();
  for (int stream = 0; stream < 2; ++stream)
    EXPECT_TRUE(factory->make({.size = small, .codec = VideoCodec::h264}, {}));
  // The device may be free later, so it is tried each time.
  EXPECT_THAT(machine.opened, ElementsAre("busy device", "software", "busy device", "software"));
}

TEST(LinuxVideoCompressors, returnTheErrorOfTheLastEncoderIfNoneCanBeMade) {
  Machine machine;
  machine.add("busy device", VideoCodec::h264, milliseconds(1), false);
  const auto made = machine.factory()->make({.size = small, .codec = VideoCodec::h264}, {});
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error().status, EBUSY);
}

TEST(LinuxVideoCompressors, skipADeviceThatIsAbsent) {
  Machine machine;
  machine.add("absent device", VideoCodec::h264, milliseconds(1), true, [] { return false; });
  machine.add("software", VideoCodec::h264, milliseconds(5));
  EXPECT_TRUE(machine.factory()->make({.size = small, .codec = VideoCodec::h264}, {}));
  EXPECT_THAT(machine.opened, ElementsAre("software"));
}

/// An HEVC encoder of this speed beside H.264; 33 ms is the limit.
struct HevcCase {
  std::string_view what;
  milliseconds pictureTime;
  milliseconds hiccup;
  VideoCodec given;
};

class HevcChoice : public testing::TestWithParam<HevcCase> {};

TEST_P(HevcChoice, isHevcIfItKeepsUpWithAMovingScreen) {
  Machine machine;
  machine.hiccup = GetParam().hiccup;
  machine.add("HEVC", VideoCodec::hevc, GetParam().pictureTime);
  machine.limitLast(thirtieth);
  machine.add("H.264", VideoCodec::h264, milliseconds(5));
  EXPECT_EQ(codecGiven(*machine.factory()), GetParam().given);
}

INSTANTIATE_TEST_SUITE_P(
    LinuxVideoCompressors, HevcChoice,
    testing::Values(HevcCase{"tooSlow", milliseconds(90), milliseconds(0), VideoCodec::h264},
                    HevcCase{"fastEnough", milliseconds(20), milliseconds(0), VideoCodec::hevc},
                    HevcCase{"delayedOnceByOtherWork", milliseconds(20), milliseconds(500),
                             VideoCodec::hevc}),
    [](const auto& each) { return std::string(each.param.what); });

TEST(LinuxVideoCompressors, useHevcForSmallPicturesIfItIsTooSlowForLargeOnes) {
  Machine machine;
  machine.add("HEVC", VideoCodec::hevc, milliseconds(12));  // for a quarter of a full-HD screen
  machine.limitLast(thirtieth);
  const auto factory = machine.factory();
  EXPECT_FALSE(factory->make({.size = {1920, 1080}, .codec = VideoCodec::hevc}, {}));
  EXPECT_TRUE(factory->make({.size = {1280, 720}, .codec = VideoCodec::hevc}, {}));
}

TEST(LinuxVideoCompressors, measureAnEncoderAgainOnlyAfterTenMinutes) {
  Machine machine;
  machine.add("HEVC", VideoCodec::hevc, milliseconds(5));
  machine.limitLast(thirtieth);
  const auto factory = machine.factory();
  const auto make = [&] { EXPECT_TRUE(factory->make({.size = small, .codec = VideoCodec::hevc}, {})); };
  make();
  const int measured = machine.encoded;
  EXPECT_GT(measured, 0);
  machine.pass(std::chrono::minutes(9));
  make();
  EXPECT_EQ(machine.encoded, measured);
  machine.pass(std::chrono::minutes(2));
  make();
  EXPECT_EQ(machine.encoded, 2 * measured);
}

}  // namespace
}  // namespace quorl
