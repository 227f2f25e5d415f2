// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/PictureFeed.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeVideoCompressor.h>

namespace quorl {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using test::FakePicture;
using test::FakeVideoCompressorFactory;

class PictureFeedTest : public testing::Test {
 protected:
  PictureFeedTest() : queue_(scheduler_, "feed", QueueRank::stream) {
    factory_.quantizer = [this](const CompressionRequest& request, std::size_t) {
      const int tag = static_cast<const FakePicture&>(*request.image).tag;
      float& quantizer = quantizerOf_[tag];
      return quantizer -= gainPerPass_;
    };
    factory_.whileEncoding = [this](const CompressionRequest& request) {
      if (whileEncoding_) whileEncoding_(request);
    };
    encoder_ = *VideoEncoder::create(factory_, {.size = {64, 64}, .codec = VideoCodec::h264});
    makeFeed();
    encoder_->onEncodedChunk = [this](const VideoEncoder::EncodedChunk& chunk) {
      queue_.async([weak = std::weak_ptr(feed_), coarseness = chunk.coarseness] {
        if (auto feed = weak.lock()) feed->pictureEncoded(coarseness);
      });
    };
  }

  void post(int tag, microseconds time, std::vector<PixelRect> changed = {}) {
    CapturedPicture picture;
    picture.image = std::make_shared<FakePicture>(PixelSize{64, 64}, tag);
    picture.presentationTime = time;
    picture.changed = std::move(changed);
    queue_.async(
        [feed = feed_, picture = std::move(picture)]() mutable { feed->pictureArrived(std::move(picture)); });
  }
  void arrive(int tag, microseconds time) {
    post(tag, time);
    scheduler_.runReady();
  }
  void requestKeyframe() {
    queue_.async([feed = feed_] { feed->requestKeyframe(); });
    scheduler_.runReady();
  }
  void makeFeed() {
    PictureFeed::Surroundings surroundings;
    surroundings.admit = [this](std::function<void()> whenOpen) -> std::optional<PictureBudget> {
      if (hasRoom_) return PictureBudget{};
      whenOpen_ = std::move(whenOpen);
      return std::nullopt;
    };
    surroundings.request = [this] { ++requested_; };
    feed_ = std::make_shared<PictureFeed>(queue_, encoder_, std::move(surroundings), milliseconds(16));
  }
  // An encoder whose output is released by the test.
  void useAnEncoderWithThreads() {
    factory_.swallowsOutput = true;
    encoder_ = *VideoEncoder::create(factory_, {.size = {64, 64}, .codec = VideoCodec::h264});
    makeFeed();
  }
  void makeRoom() {
    hasRoom_ = true;
    std::exchange(whenOpen_, nullptr)();
    scheduler_.runReady();
  }
  const std::vector<CompressionRequest>& requests() const { return factory_.lastSession().requests; }
  std::vector<int> tags() const {
    std::vector<int> all;
    for (const auto& request : requests()) all.push_back(static_cast<const FakePicture&>(*request.image).tag);
    return all;
  }

  SimulatedScheduler scheduler_;
  SerialQueue queue_;
  FakeVideoCompressorFactory factory_;
  bool hasRoom_ = true;
  std::function<void()> whenOpen_;
  int requested_ = 0;
  std::map<int, float> quantizerOf_;
  float gainPerPass_ = 0;
  std::function<void(const CompressionRequest&)> whileEncoding_;
  std::shared_ptr<VideoEncoder> encoder_;
  std::shared_ptr<PictureFeed> feed_;
};

TEST_F(PictureFeedTest, encodesEachPictureWhenTheEncoderKeepsUp) {
  for (int tag = 1; tag <= 3; ++tag) arrive(tag, milliseconds(16 * tag));
  EXPECT_EQ(tags(), (std::vector{1, 2, 3}));
  EXPECT_EQ(requests()[2].presentationTime, milliseconds(48));
}

TEST_F(PictureFeedTest, encodesTheNewestOfThePicturesThatArrivedMeanwhile) {
  whileEncoding_ = [&](const CompressionRequest& request) {
    if (static_cast<const FakePicture&>(*request.image).tag != 1) return;
    post(2, milliseconds(20), {{0, 0, 8, 8}});
    post(3, milliseconds(30), {{16, 16, 8, 8}});
    post(4, milliseconds(40), {{32, 0, 4, 4}});
  };
  arrive(1, milliseconds(10));
  EXPECT_EQ(tags(), (std::vector{1, 4}));
  EXPECT_EQ(requests()[1].changed, (std::vector<PixelRect>{{0, 0, 8, 8}, {16, 16, 8, 8}, {32, 0, 4, 4}}));
  EXPECT_EQ(requests()[1].presentationTime, milliseconds(40));
}

TEST_F(PictureFeedTest, releasesThePicturesItPassesOver) {
  std::weak_ptr<const PictureBuffer> passedOver;
  whileEncoding_ = [&](const CompressionRequest& request) {
    if (static_cast<const FakePicture&>(*request.image).tag != 1) return;
    CapturedPicture picture;
    picture.image = std::make_shared<FakePicture>(PixelSize{64, 64}, 2);
    passedOver = picture.image;
    queue_.async(
        [feed = feed_, picture = std::move(picture)]() mutable { feed->pictureArrived(std::move(picture)); });
    post(3, milliseconds(30));
  };
  arrive(1, milliseconds(10));
  EXPECT_EQ(tags(), (std::vector{1, 3}));
  EXPECT_TRUE(passedOver.expired());
}

TEST_F(PictureFeedTest, treatsAMergedChangeAsEverythingIfOneOfThemIs) {
  EXPECT_TRUE(mergedChange({}, {{0, 0, 1, 1}}).empty());
  EXPECT_TRUE(mergedChange({{0, 0, 1, 1}}, {}).empty());
  EXPECT_EQ(mergedChange({{0, 0, 1, 1}}, {{2, 2, 1, 1}}).size(), 2U);
  EXPECT_TRUE(mergedChange(std::vector<PixelRect>(60), std::vector<PixelRect>(5)).empty());
}

TEST_F(PictureFeedTest, answersAKeyFrameRequestOnAStillScreenWithinAFrameInterval) {
  arrive(1, milliseconds(10));
  scheduler_.advance(seconds(30));
  requestKeyframe();
  EXPECT_EQ(requests().size(), 1U);
  scheduler_.advance(milliseconds(16));
  ASSERT_EQ(requests().size(), 2U);
  EXPECT_EQ(tags(), (std::vector{1, 1}));
  EXPECT_TRUE(requests()[1].forceKeyFrame);
  EXPECT_EQ(requests()[1].presentationTime, milliseconds(10 + 30'000 + 16));
  scheduler_.advance(seconds(30));
  EXPECT_EQ(requests().size(), 2U);
}

TEST_F(PictureFeedTest, answersAKeyFrameRequestWithTheNextPictureWhenOneComes) {
  arrive(1, milliseconds(10));
  requestKeyframe();
  scheduler_.advance(milliseconds(5));
  arrive(2, milliseconds(15));
  scheduler_.advance(seconds(1));
  EXPECT_EQ(tags(), (std::vector{1, 2}));
  EXPECT_TRUE(requests()[1].forceKeyFrame);
}

TEST_F(PictureFeedTest, answersManyKeyFrameRequestsWithOneKeyFrame) {
  arrive(1, milliseconds(10));
  for (int count = 0; count < 20; ++count) requestKeyframe();
  scheduler_.advance(seconds(1));
  EXPECT_EQ(requests().size(), 2U);
}

TEST_F(PictureFeedTest, waitsForTheFirstPictureWithAKeyFrameRequest) {
  requestKeyframe();
  scheduler_.advance(seconds(1));
  EXPECT_TRUE(requests().empty());
  arrive(1, milliseconds(10));
  EXPECT_TRUE(requests()[0].forceKeyFrame);
}

TEST_F(PictureFeedTest, doesNotWaitASecondForAKeyFrameAtOneFrameASecond) {
  queue_.async([feed = feed_] { feed->setFrameInterval(seconds(1)); });
  arrive(1, milliseconds(10));
  requestKeyframe();
  scheduler_.advance(milliseconds(50));
  EXPECT_EQ(requests().size(), 2U);
}

TEST_F(PictureFeedTest, refinesACoarsePictureWithinAHundredMilliseconds) {
  quantizerOf_[1] = 40;
  gainPerPass_ = 8;
  arrive(1, milliseconds(10));  // encoded at 32
  scheduler_.advance(milliseconds(100));
  EXPECT_EQ(tags(), (std::vector{1, 1}));
  EXPECT_LE(quantizerOf_[1], 26);
  EXPECT_FALSE(requests()[1].forceKeyFrame);
  EXPECT_TRUE(requests()[1].changed.empty());
  EXPECT_EQ(requests()[1].content, PictureContent::repeated);
  scheduler_.advance(seconds(60));
  EXPECT_EQ(requests().size(), 2U);
}

TEST_F(PictureFeedTest, refinesOnlyTheLastPictureOfARun) {
  for (int tag = 1; tag <= 10; ++tag) {
    quantizerOf_[tag] = 40;
    arrive(tag, milliseconds(16 * tag));
    scheduler_.advance(milliseconds(16));
  }
  EXPECT_EQ(requests().size(), 10U);
  gainPerPass_ = 20;
  scheduler_.advance(seconds(5));
  ASSERT_EQ(requests().size(), 11U);
  EXPECT_EQ(tags().back(), 10);
}

TEST_F(PictureFeedTest, refinesAFewTimesAtMostWhatStaysCoarse) {
  quantizerOf_[1] = 51;
  gainPerPass_ = 2;
  arrive(1, milliseconds(10));
  scheduler_.advance(seconds(60));
  EXPECT_EQ(requests().size(), 11U);
}

TEST_F(PictureFeedTest, costsNothingWhileNothingChanges) {
  quantizerOf_[1] = 20;
  arrive(1, milliseconds(10));
  scheduler_.advance(seconds(1));
  EXPECT_EQ(scheduler_.pendingTimers(), 0U);
  scheduler_.advance(std::chrono::hours(1));
  EXPECT_EQ(requests().size(), 1U);
}

TEST_F(PictureFeedTest, keepsTimesRisingBetweenRepeatedAndCapturedPictures) {
  quantizerOf_[1] = 60;
  gainPerPass_ = 20;
  arrive(1, milliseconds(10));
  scheduler_.advance(milliseconds(70));  // repeated at 10 + 60
  arrive(2, milliseconds(65));           // captured before the repetition, delivered after it
  ASSERT_EQ(requests().size(), 3U);
  EXPECT_EQ(requests()[1].presentationTime, milliseconds(70));
  EXPECT_EQ(requests()[2].presentationTime, milliseconds(70) + microseconds(1));
}

TEST_F(PictureFeedTest, encodesNothingAfterItsRelease) {
  quantizerOf_[1] = 40;
  arrive(1, milliseconds(10));
  requestKeyframe();
  feed_.reset();
  scheduler_.advance(seconds(1));
  EXPECT_EQ(requests().size(), 1U);
}

TEST_F(PictureFeedTest, asksForTheNextPictureWhenTheEncoderIsDone) {
  EXPECT_EQ(requested_, 0) << "the start of the capture asks for the first";
  whileEncoding_ = [&](const CompressionRequest&) { EXPECT_EQ(requested_, 0); };
  arrive(1, milliseconds(10));
  EXPECT_EQ(requested_, 1);
  scheduler_.advance(seconds(10));
  EXPECT_EQ(requested_, 1);
}

TEST_F(PictureFeedTest, capturesNothingWhileTheLinkIsFull) {
  whileEncoding_ = [&](const CompressionRequest&) { hasRoom_ = false; };
  arrive(1, milliseconds(10));
  scheduler_.advance(seconds(10));
  EXPECT_EQ(requested_, 0);
  makeRoom();
  EXPECT_EQ(requested_, 1);
}

TEST_F(PictureFeedTest, encodesTheNewestPictureWhenTheLinkHasRoomAgain) {
  hasRoom_ = false;
  post(1, milliseconds(10), {{0, 0, 8, 8}});
  post(2, milliseconds(20), {{16, 0, 8, 8}});
  scheduler_.runReady();
  EXPECT_TRUE(requests().empty());
  makeRoom();
  EXPECT_EQ(tags(), std::vector{2});
  EXPECT_EQ(requests()[0].changed, (std::vector<PixelRect>{{0, 0, 8, 8}, {16, 0, 8, 8}}));
}

TEST_F(PictureFeedTest, makesNoKeyFrameWhileTheLinkIsFull) {
  arrive(1, milliseconds(10));
  hasRoom_ = false;
  for (int times = 0; times < 100; ++times) {
    requestKeyframe();
    scheduler_.advance(seconds(1));
  }
  EXPECT_EQ(requests().size(), 1U);
  makeRoom();
  ASSERT_EQ(requests().size(), 2U);
  EXPECT_TRUE(requests()[1].forceKeyFrame);
}

TEST_F(PictureFeedTest, refinesNothingWhileTheLinkIsFull) {
  quantizerOf_[1] = 60;
  gainPerPass_ = 20;
  whileEncoding_ = [&](const CompressionRequest&) { hasRoom_ = false; };
  arrive(1, milliseconds(10));
  scheduler_.advance(seconds(10));
  EXPECT_EQ(requests().size(), 1U);
  whileEncoding_ = nullptr;
  makeRoom();
  EXPECT_EQ(requests().size(), 1U) << "first it asks whether anything has changed";
  EXPECT_EQ(requested_, 1);
  scheduler_.advance(milliseconds(30));
  EXPECT_EQ(requests().size(), 2U);
}

TEST_F(PictureFeedTest, givesAnEncoderWithItsOwnThreadsTwoPicturesAtATime) {
  useAnEncoderWithThreads();
  for (int tag = 1; tag <= 5; ++tag) arrive(tag, milliseconds(16 * tag));
  EXPECT_EQ(tags(), (std::vector{1, 2}));
  queue_.async([feed = feed_] { feed->pictureEncoded({.quantizer = 20}); });
  scheduler_.runReady();
  EXPECT_EQ(tags(), (std::vector{1, 2, 5}));
}

TEST_F(PictureFeedTest, continuesAfterAPictureThatTheEncoderDrops) {
  useAnEncoderWithThreads();
  for (int tag = 1; tag <= 4; ++tag) {
    arrive(tag, milliseconds(16 * tag));
    queue_.async([feed = feed_] { feed->pictureDropped(); });
    scheduler_.runReady();
  }
  EXPECT_EQ(tags(), (std::vector{1, 2, 3, 4}));
}

}  // namespace
}  // namespace quorl
