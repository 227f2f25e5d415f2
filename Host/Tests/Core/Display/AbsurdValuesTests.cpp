// SPDX-License-Identifier: GPL-3.0-or-later
#include <cmath>
#include <limits>

#include <QuorlHostCore/Display/StreamSettings.h>

#include "StreamWindowFixture.h"

// Values that no sensible client sends. None of them crashes the host or leaves its bounds.
namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double huge = std::numeric_limits<double>::max();
constexpr double tiny = std::numeric_limits<double>::denorm_min();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

class AbsurdValuesTest : public StreamWindowFixture {};

TEST_F(AbsurdValuesTest, ofTheClientsViewFitNothing) {
  addNotes();
  for (const auto& [wide, high] : std::vector<std::pair<double, double>>{{nan, nan},
                                                                         {nan, 1000},
                                                                         {1500, nan},
                                                                         {infinite, 1000},
                                                                         {1500, infinite},
                                                                         {infinite, infinite},
                                                                         {-1500, -1000},
                                                                         {0, 1000},
                                                                         {1500, 0},
                                                                         {huge, tiny},
                                                                         {tiny, huge}}) {
    SCOPED_TRACE(testing::Message() << wide << "x" << high);
    request_.clientPointWidth = wide;
    request_.clientPointHeight = high;
    make();
    session_->start();
    settle();
    session_->updateAspect(wide, high);
    advance(seconds(4));
    EXPECT_EQ(frameOf(77), (PointRect{{100, 50}, {640, 480}}));
    EXPECT_EQ(started().back(), (StreamStarted{7, 640, 480, {{100, 50}, {640, 480}}}));
    stop();
  }
  EXPECT_THAT(errors(), IsEmpty());
  EXPECT_THAT(fitStates(), IsEmpty());
}

TEST_F(AbsurdValuesTest, ofAnAspectGiveAWindowOnTheScreenOrNoFit) {
  addNotes();
  struct Row {
    double wide;
    double high;
    bool isFitted;
    PointSize size;
  };
  for (const Row& row : std::vector<Row>{{huge, huge, true, {800, 800}},
                                         {tiny, tiny, true, {800, 800}},
                                         {100'000, 1'000, true, {1440, 14}},
                                         {10'000'000, 1, false, {640, 480}},
                                         {101, 1'000, true, {320, 3168}}}) {
    SCOPED_TRACE(testing::Message() << row.wide << "x" << row.high);
    sink_->controls.clear();
    request_.clientPointWidth = row.wide;
    request_.clientPointHeight = row.high;
    make();
    session_->start();
    settle();
    EXPECT_THAT(fitStates(), ElementsAre(row.isFitted));
    EXPECT_EQ(frameOf(77).size, row.size);
    EXPECT_EQ(started().size(), 1U);
    stop();
    EXPECT_EQ(frameOf(77), (PointRect{{100, 50}, {640, 480}}));
  }
}

TEST_F(AbsurdValuesTest, ofTheWindowScaleAreClampedOrIgnored) {
  startNotes();
  for (const auto& [scale, taken] : std::vector<std::pair<double, double>>{{nan, 1.0},
                                                                           {-infinite, 0.3},
                                                                           {nan, 0.3},
                                                                           {infinite, 1.0},
                                                                           {-huge, 0.3},
                                                                           {huge, 1.0},
                                                                           {0.0, 0.3},
                                                                           {tiny, 0.3},
                                                                           {-0.0, 0.3}}) {
    session_->setWindowScale(scale);
    EXPECT_DOUBLE_EQ(session_->fitState().fitScale, taken) << scale;
  }
  advance(milliseconds(300));
  EXPECT_EQ(frameOf(77).size, (PointSize{320, 240}));
}

TEST_F(AbsurdValuesTest, ofTheConfigurationGiveValidSettings) {
  addNotes();
  for (const std::int64_t maxDimension : {least, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, most})
    for (const std::int64_t maxFPS :
         {least, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1'000'000}, most})
      for (const double quality : {nan, -infinite, infinite, -huge, huge, tiny}) {
        SCOPED_TRACE(testing::Message() << maxDimension << ", " << maxFPS << ", " << quality);
        request_.config.maxDimension = maxDimension;
        request_.config.maxFPS = maxFPS;
        request_.config.quality = quality;
        make();
        session_->start();
        settle();
        const CaptureSettings& settings = screen_->lastStream().settings.at(0);
        EXPECT_GE(settings.minimumFrameInterval, milliseconds(1));
        EXPECT_LE(settings.minimumFrameInterval, seconds(1));
        EXPECT_EQ(settings.size, maxDimension == most ? (PixelSize{640, 480}) : (PixelSize{2, 2}));
        const CompressionRates& rates = compressors_->lastSession().rates.back();
        EXPECT_GE(rates.averageBitRate, 2'000'000);
        EXPECT_LE(rates.averageBitRate, 80'000'000);
        EXPECT_GE(rates.expectedFrameRate, 1);
        EXPECT_LE(rates.expectedFrameRate, 1'000);
        stop();
      }
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(AbsurdValuesTest, ofAnUpdateGiveValidSettings) {
  startNotes();
  for (const std::int64_t maxFPS : {least, std::int64_t{0}, most})
    for (const double quality : {nan, -infinite, infinite}) {
      StreamConfig config = request_.config;
      config.maxFPS = maxFPS;
      config.quality = quality;
      session_->update(config);
      settle();
      EXPECT_EQ(screen_->lastStream().settings.back().minimumFrameInterval,
                maxFPS == most ? std::chrono::microseconds(1'000) : std::chrono::microseconds(1'000'000));
      EXPECT_GE(compressors_->lastSession().rates.back().averageBitRate, 2'000'000);
    }
  EXPECT_EQ(screen_->streams().size(), 1U) << "nothing restarts";
}

TEST_F(AbsurdValuesTest, ofAWindowsSizeGiveAPicture) {
  struct Row {
    PointSize size;
    PixelSize picture;
  };
  auto& notes = addNotes();
  for (const Row& row : std::vector<Row>{{{1, 1}, {2, 2}},
                                         {{16'000, 1}, {4096, 2}},
                                         {{1, 16'000}, {2, 4096}},
                                         {{16'000, 16'000}, {4096, 4096}},
                                         {{1e300, 1e300}, {4096, 4096}}}) {
    notes.frame.size = row.size;
    make();
    session_->start();
    settle();
    EXPECT_EQ(screen_->lastStream().settings.at(0).size, row.picture)
        << row.size.width << "x" << row.size.height;
    stop();
  }
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(AbsurdValuesTest, ofAWindowsPlaceAreNotFollowedWhenTheyHaveNoArea) {
  startNotes();
  for (const PointRect& rect :
       std::vector<PointRect>{{{nan, nan}, {nan, nan}}, {{0, 0}, {-5, 10}}, {{0, 0}, {10, 0}}}) {
    windows_->find(77)->frame = rect;
    advance(seconds(1));
  }
  EXPECT_EQ(started().size(), 1U);
  EXPECT_EQ(session_->currentContentRect(), (PointRect{{100, 50}, {640, 480}}));
}

}  // namespace
}  // namespace quorl::test
