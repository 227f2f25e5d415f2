// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>

#include <cerrno>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ElementsAre;

constexpr PixelSize small{640, 360};

/// A table of made-up encoders on a clock that only they move.
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

  std::shared_ptr<VideoCompressorFactory> factory() { return makeVideoCompressors(backends_); }

  std::vector<std::string_view> opened;  // by name, in order
  int encoded = 0;
  /// Other work of the machine during one of the pictures.
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
      EXPECT_EQ(request.image->size.height, size_.height);
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

TEST(LinuxVideoCompressors, tryTheNextEncoderWhereOneCannotBeMadeNow) {
  Machine machine;
  machine.add("busy device", VideoCodec::h264, milliseconds(1), false);
  machine.add("software", VideoCodec::h264, milliseconds(5));
  const auto factory = machine.factory();
  for (int stream = 0; stream < 2; ++stream)
    EXPECT_TRUE(factory->make({.size = small, .codec = VideoCodec::h264}, {}));
  // The device may be free again later, so it is asked each time.
  EXPECT_THAT(machine.opened, ElementsAre("busy device", "software", "busy device", "software"));
}

TEST(LinuxVideoCompressors, giveTheErrorOfTheLastEncoderWhereNoneCanBeMade) {
  Machine machine;
  machine.add("busy device", VideoCodec::h264, milliseconds(1), false);
  const auto made = machine.factory()->make({.size = small, .codec = VideoCodec::h264}, {});
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error().status, EBUSY);
}

TEST(LinuxVideoCompressors, neverAskForADeviceThatIsNotThere) {
  Machine machine;
  machine.add("absent device", VideoCodec::h264, milliseconds(1), true, [] { return false; });
  machine.add("software", VideoCodec::h264, milliseconds(5));
  EXPECT_TRUE(machine.factory()->make({.size = small, .codec = VideoCodec::h264}, {}));
  EXPECT_THAT(machine.opened, ElementsAre("software"));
}

}  // namespace
}  // namespace quorl
