// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/DecodeThread.h>

#include <atomic>
#include <mutex>

#include <gtest/gtest.h>

#include <Support/Eventually.h>

#include "../../Support/SampleVideo.h"

namespace quorl::viewer {
namespace {

using client::ClientError;
using client::Clock;
using client::DecoderConfig;
using client::EncodedPicture;
using client::test::SampleVideo;
using quorl::test::eventually;

class DecodeThreadTest : public testing::Test {
 protected:
  void start(std::unique_ptr<PictureDecoder> decoder = makeSoftwareDecoder()) {
    thread_.emplace(std::move(decoder), DecodeThread::Handlers{.pictureReady = [this] { ++ready_; },
                                                               .keyframeNeeded = [this] { ++requests_; },
                                                               .failed =
                                                                   [this](const ClientError& error) {
                                                                     const std::lock_guard lock(mutex_);
                                                                     failures_.push_back(error.what);
                                                                   }});
  }
  static DecoderConfig configOf(const SampleVideo& clip, VideoCodec codec = VideoCodec::h264) {
    return {clip.config, codec};
  }
  static EncodedPicture pictureOf(const SampleVideo& clip, std::size_t index) {
    const auto& picture = clip.pictures[index];
    return {picture.isKeyframe, picture.ptsMicros, picture.data, Clock::now()};
  }
  void play(const SampleVideo& clip, std::size_t first, std::size_t end) {
    for (std::size_t index = first; index < end; ++index) thread_->decode(pictureOf(clip, index));
  }
  bool decodes(std::uint64_t count) {
    return eventually([&] { return thread_->counts().decoded >= count; }, std::chrono::seconds(30));
  }
  std::vector<std::string> failures() {
    const std::lock_guard lock(mutex_);
    return failures_;
  }

  std::atomic<int> ready_ = 0;
  std::atomic<int> requests_ = 0;
  std::mutex mutex_;
  std::vector<std::string> failures_;
  std::optional<DecodeThread> thread_;
};

TEST_F(DecodeThreadTest, showsTheNewestOfABurstAndNotifiesOnce) {
  start();
  const auto& clip = SampleVideo::shortClip();
  thread_->configure(configOf(clip));
  play(clip, 0, 10);
  ASSERT_TRUE(decodes(10));
  ASSERT_TRUE(eventually([&] { return thread_->counts().replaced == 9; }, std::chrono::seconds(30)));
  const auto taken = thread_->take();
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->picture.ptsMicros(), clip.pictures[9].ptsMicros);
  EXPECT_EQ(taken->timing.ptsMicros, clip.pictures[9].ptsMicros);
  EXPECT_LE(taken->timing.arrival, taken->timing.decodeBegin);
  EXPECT_LT(taken->timing.decodeBegin, taken->timing.decodeEnd);
  EXPECT_EQ(ready_, 1);
  EXPECT_FALSE(thread_->take());
  play(clip, 10, 11);
  ASSERT_TRUE(eventually([&] { return ready_ == 2; }, std::chrono::seconds(30)));
  EXPECT_EQ(thread_->takeTimings().size(), 11U);
  EXPECT_EQ(thread_->path(), "H.264, software");
}

TEST_F(DecodeThreadTest, decodesNothingWhileHiddenAndGoesOnWithAKeyframe) {
  start();
  const auto& clip = SampleVideo::shortClip();
  thread_->configure(configOf(clip));
  thread_->hide();
  play(clip, 0, 10);
  EXPECT_EQ(requests_, 0);
  thread_->show(Clock::now());
  EXPECT_EQ(requests_, 1);
  play(clip, 10, 12);
  play(clip, 0, 3);
  ASSERT_TRUE(decodes(3));
  const auto counts = thread_->counts();
  EXPECT_EQ(counts.decoded, 3U);
  EXPECT_EQ(counts.drops.hidden, 10U);
  EXPECT_EQ(counts.drops.withoutKeyframe, 2U);
}

TEST_F(DecodeThreadTest, keepsNoPictureFromBeforeItWasHidden) {
  start();
  const auto& clip = SampleVideo::shortClip();
  thread_->configure(configOf(clip));
  play(clip, 0, 1);
  ASSERT_TRUE(eventually([&] { return ready_ == 1; }, std::chrono::seconds(30)));
  thread_->hide();
  EXPECT_FALSE(thread_->take());
}

TEST_F(DecodeThreadTest, asksForAKeyframeAfterADamagedUnit) {
  start();
  const auto& clip = SampleVideo::shortClip();
  thread_->configure(configOf(clip));
  play(clip, 0, 1);
  ASSERT_TRUE(decodes(1));
  auto damaged = pictureOf(clip, 1);
  damaged.data.assign(200, 0xA5);
  thread_->decode(damaged);
  ASSERT_TRUE(eventually([&] { return requests_ == 1; }, std::chrono::seconds(30)));
  EXPECT_EQ(thread_->counts().damaged, 1U);
  play(clip, 2, 4);
  EXPECT_EQ(thread_->counts().drops.withoutKeyframe, 2U);
  play(clip, 0, 2);
  EXPECT_TRUE(decodes(3));
  EXPECT_TRUE(failures().empty());
}

TEST_F(DecodeThreadTest, followsAChangeOfSizeAndCodec) {
  start();
  const auto& clip = SampleVideo::shortClip();
  const auto other = SampleVideo::encode(VideoCodec::hevc, "testsrc2=size=160x96:rate=30", 2);
  thread_->configure(configOf(clip));
  play(clip, 0, 1);
  ASSERT_TRUE(decodes(1));
  thread_->take();
  thread_->configure(configOf(other, VideoCodec::hevc));
  play(other, 0, 1);
  ASSERT_TRUE(eventually([&] { return ready_ == 2; }, std::chrono::seconds(30)));
  EXPECT_EQ(thread_->take()->picture.size(), (PixelSize{160, 96}));
  EXPECT_EQ(thread_->path(), "HEVC, software");
}

TEST_F(DecodeThreadTest, reportsPicturesThatAreTooLargeOnce) {
  start();
  const auto clip = SampleVideo::encode(VideoCodec::h264, "color=c=black:s=8704x4352:r=30", 1);
  thread_->configure(configOf(clip));
  for (int time = 0; time < 4; ++time) play(clip, 0, 1);
  ASSERT_TRUE(eventually([&] { return thread_->counts().damaged == 4; }, std::chrono::seconds(60)));
  EXPECT_EQ(failures(), std::vector<std::string>{
                            "the host's pictures of 8704x4352 pixels are too large for this program"});
  EXPECT_FALSE(thread_->take());
}

TEST_F(DecodeThreadTest, reportsAConfigurationThatCannotBeRead) {
  start();
  thread_->configure({Bytes(10, 0xFF), VideoCodec::h264});
  const auto& clip = SampleVideo::shortClip();
  play(clip, 0, 2);
  ASSERT_TRUE(eventually([&] { return thread_->counts().damaged == 2; }, std::chrono::seconds(30)));
  EXPECT_EQ(failures(), std::vector<std::string>{"the host's decoder configuration cannot be read"});
  thread_->configure(configOf(clip));
  play(clip, 0, 2);
  EXPECT_TRUE(decodes(2));
}

TEST_F(DecodeThreadTest, survivesDamagedUnitsOfEverySize) {
  start();
  const auto& clip = SampleVideo::shortClip();
  thread_->configure(configOf(clip));
  std::uint32_t state = 7;
  for (std::size_t round = 0; round < 200; ++round) {
    auto picture = pictureOf(clip, round % clip.pictures.size());
    picture.isKeyframe = true;
    for (int change = 0; change < 8; ++change) {
      state = state * 1'664'525 + 1'013'904'223;
      picture.data[state % picture.data.size()] ^= static_cast<std::uint8_t>(state >> 16U);
    }
    if (round % 7 == 0) picture.data.resize(state % picture.data.size());
    thread_->decode(std::move(picture));
  }
  thread_->configure(configOf(clip));
  play(clip, 0, 1);
  ASSERT_TRUE(eventually(
      [&] {
        const auto taken = thread_->take();
        return taken && taken->picture.size() == clip.size;
      },
      std::chrono::seconds(30)));
}

}  // namespace
}  // namespace quorl::viewer
