// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostFrames.h>
#include <quorl-viewer/Link/LinkStreams.h>

#include <limits>

#include <gtest/gtest.h>

#include "../../Support/SampleVideo.h"
#include "RecordingListener.h"

namespace quorl::viewer {
namespace {

using client::test::SampleVideo;
using test::RecordingListener;
using namespace std::chrono_literals;

const SampleVideo& sample() {
  static const SampleVideo video = SampleVideo::encode(VideoCodec::h264, "testsrc2=size=64x48:rate=30", 4);
  return video;
}

const StreamConfig config{2048, 60, VideoCodec::h264, 0.8, true};

// Streams without a network; what they send is recorded.
class LinkStreamsTest : public testing::Test {
 protected:
  template <class Case>
  std::vector<Case> sent() const {
    std::vector<Case> found;
    for (const auto& message : sent_)
      if (const auto* held = std::get_if<Case>(&message)) found.push_back(*held);
    return found;
  }
  void startOne(StreamKey key = 7) {
    streams_.connected(now_);
    streams_.start(key, {streamTarget::Unified{}, config, PointSize{800, 600}, false}, now_);
  }
  std::uint32_t wire(StreamKey key = 7) const { return streams_.wireID(key).value_or(0); }
  void answer(StreamKey key = 7) {
    streams_.take(ControlMessage(message::StreamStarted{{wire(key), 64, 48, {{0, 0}, {64, 48}}}}));
    streams_.take({wire(key), VideoPacketFlags::codecConfig, 0, sample().config}, now_);
  }
  void picture(bool isKeyframe, StreamKey key = 7) {
    streams_.take({wire(key), isKeyframe ? VideoPacketFlags::keyframe : VideoPacketFlags{}, 1, Bytes(10)},
                  now_);
  }
  std::size_t pictures(StreamKey key = 7) const {
    const auto record = listener_.record();
    const auto found = record.pictures.find(key);
    return found != record.pictures.end() ? found->second.size() : 0;
  }

  RecordingListener listener_;
  std::vector<ControlMessage> sent_;
  LinkStreams streams_{listener_, [this](const ControlMessage& message) { sent_.push_back(message); }};
  HostFrames frames_{listener_, streams_};
  Clock::time_point now_{std::chrono::hours(1)};
};

TEST_F(LinkStreamsTest, deliversSeveralStreamsAtTheSameTime) {
  startOne(7);
  streams_.start(9, {streamTarget::Window{77}, config, std::nullopt, false}, now_);
  answer(7);
  answer(9);
  picture(true, 7);
  picture(true, 9);
  picture(false, 9);
  EXPECT_EQ(pictures(7), 1U);
  EXPECT_EQ(pictures(9), 2U);
}

TEST_F(LinkStreamsTest, ignoresLatePacketsOfTheStreamThatWasReplaced) {
  startOne();
  answer();
  const auto old = wire();
  streams_.start(7, {streamTarget::Window{77}, config, std::nullopt, false}, now_);
  EXPECT_EQ(sent<message::StopStream>(), std::vector{message::StopStream{old}});
  EXPECT_NE(wire(), old);
  streams_.take({old, VideoPacketFlags::keyframe, 1, Bytes(10)}, now_);
  streams_.take(
      ControlMessage(message::Error{{"stream.capture", "stream " + std::to_string(old) + ": gone"}}));
  EXPECT_EQ(pictures(), 0U);
  EXPECT_TRUE(listener_.record().failures.empty());
}

TEST_F(LinkStreamsTest, startsTheWantedStreamsAgainAfterABreak) {
  startOne();
  answer();
  streams_.resize(7, {1024, 768});
  streams_.setHidden(7, true, now_);
  auto changed = config;
  changed.quality = 0.5;
  streams_.update(7, changed);
  streams_.disconnected();
  EXPECT_EQ(listener_.record().ends[7], std::vector{StreamEnd::interrupted});
  sent_.clear();
  streams_.connected(now_);
  const auto starts = sent<message::StartStream>();
  ASSERT_EQ(starts.size(), 1U);
  EXPECT_EQ(starts[0]._0.target, StreamTarget(streamTarget::Unified{}));
  EXPECT_EQ(starts[0]._0.clientPointWidth, 1024);
  EXPECT_EQ(starts[0]._0.clientPointHeight, 768);
  EXPECT_EQ(starts[0]._0.config.quality, 0.5);
  EXPECT_EQ(starts[0]._0.config.maxFPS, LinkStreams::hiddenRate);
}

TEST_F(LinkStreamsTest, dropsThePicturesOfAHiddenStreamAndAsksForTheLowestRate) {
  startOne();
  answer();
  picture(true);
  streams_.setHidden(7, true, now_);
  ASSERT_EQ(sent<message::UpdateStream>().size(), 1U);
  EXPECT_EQ(sent<message::UpdateStream>()[0]._0.config.maxFPS, LinkStreams::hiddenRate);
  picture(false);
  EXPECT_EQ(pictures(), 1U);
}

TEST_F(LinkStreamsTest, showsAHiddenStreamAgainFromAKeyFrameOn) {
  startOne();
  answer();
  picture(true);
  streams_.setHidden(7, true, now_);
  picture(false);
  streams_.setHidden(7, false, now_);
  EXPECT_EQ(sent<message::UpdateStream>().back()._0.config.maxFPS, config.maxFPS);
  EXPECT_EQ(sent<message::RequestKeyframe>().size(), 1U);
  picture(false);
  EXPECT_EQ(pictures(), 1U);
  picture(true);
  picture(false);
  EXPECT_EQ(pictures(), 3U);
}

TEST_F(LinkStreamsTest, asksAgainForAKeyFrameThatDoesNotCome) {
  startOne();
  answer();
  streams_.lose(now_);
  EXPECT_EQ(sent<message::RequestKeyframe>().size(), 1U);
  ASSERT_TRUE(streams_.due());
  now_ = *streams_.due();
  streams_.tick(now_);
  EXPECT_EQ(sent<message::RequestKeyframe>().size(), 2U);
}

TEST_F(LinkStreamsTest, endsAStreamThatNeverBegins) {
  startOne();
  ASSERT_EQ(streams_.due(), now_ + LinkStreams::startPatience);
  streams_.tick(now_ + LinkStreams::startPatience - 1ms);
  EXPECT_TRUE(listener_.record().failures.empty());
  const auto id = wire();
  streams_.tick(now_ + LinkStreams::startPatience);
  const auto failures = listener_.record().failures[7];
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0].code, client::ExitCode::timedOut);
  EXPECT_FALSE(failures[0].advice.empty());
  EXPECT_EQ(sent<message::StopStream>(), std::vector{message::StopStream{id}});
  EXPECT_EQ(streams_.due(), std::nullopt);
}

TEST_F(LinkStreamsTest, isQuietOnceAStreamRuns) {
  startOne();
  answer();
  EXPECT_EQ(streams_.due(), std::nullopt);
}

TEST_F(LinkStreamsTest, givesAFailureToTheStreamThatItNames) {
  startOne(7);
  streams_.start(9, {streamTarget::Window{77}, config, std::nullopt, false}, now_);
  streams_.take(ControlMessage(
      message::Error{{"stream.target", "stream " + std::to_string(wire(7)) + ": no display"}}));
  EXPECT_EQ(listener_.record().failures[7].size(), 1U);
  EXPECT_EQ(listener_.record().failures[9].size(), 0U);
}

TEST_F(LinkStreamsTest, givesARefusalWithoutANumberToTheNewestRequest) {
  startOne(7);
  answer(7);
  streams_.start(9, {streamTarget::Window{77}, config, std::nullopt, false}, now_);
  streams_.take(ControlMessage(message::Error{{"stream.limit", "too many concurrent streams (max 8)"}}));
  EXPECT_EQ(listener_.record().failures[7].size(), 0U);
  EXPECT_EQ(listener_.record().failures[9].size(), 1U);
}

TEST_F(LinkStreamsTest, ignoresSizesThatNoPictureHas) {
  startOne();
  const auto huge = std::numeric_limits<std::int64_t>::max();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const auto& started : {StreamStarted{wire(), huge, 48, {}}, StreamStarted{wire(), 64, 0, {}},
                              StreamStarted{wire(), -64, 48, {}}, StreamStarted{wire(), 64, 16'385, {}},
                              StreamStarted{wire(), 64, 48, {{infinity, 0}, {1, 1}}}})
    streams_.take(ControlMessage(message::StreamStarted{started}));
  EXPECT_TRUE(listener_.record().started.empty());
  // It never began.
  EXPECT_EQ(streams_.due(), now_ + LinkStreams::startPatience);
}

TEST_F(LinkStreamsTest, keepsABoundedNumberOfPicturesBeforeTheConfiguration) {
  startOne();
  for (int count = 0; count < 1'000; ++count)
    streams_.take({wire(), VideoPacketFlags::keyframe, 1, Bytes(1 << 20)}, now_);
  streams_.take({wire(), VideoPacketFlags::codecConfig, 0, sample().config}, now_);
  EXPECT_LE(pictures(), 16U);
  EXPECT_GE(pictures(), 1U);
}

TEST_F(LinkStreamsTest, ignoresAConfigurationThatIsNone) {
  startOne();
  streams_.take({wire(), VideoPacketFlags::codecConfig, 0, Bytes(100)}, now_);
  streams_.take({wire(), VideoPacketFlags::codecConfig, 0, Bytes(1 << 20, 1)}, now_);
  EXPECT_TRUE(listener_.record().configs.empty());
}

TEST_F(LinkStreamsTest, cutsListsAndTextsOfTheHost) {
  HostState state;
  WindowInfo window;
  for (int count = 0; count < 1'000; ++count) window.title += "漢";
  state.windows.assign(100'000, window);
  frames_.take(ControlMessage(message::HostState{std::move(state)}), 0);
  const auto record = listener_.record();
  ASSERT_EQ(record.messages.size(), 1U);
  const auto& shown = std::get<message::HostState>(record.messages[0])._0;
  EXPECT_EQ(shown.windows.size(), HostFrames::maxListed);
  // Whole characters of three bytes.
  EXPECT_EQ(shown.windows[0].title.size(), HostFrames::maxText / 3 * 3);
}

TEST_F(LinkStreamsTest, decodesNoEndlessMessageButALargeClipboard) {
  EXPECT_TRUE(HostFrames::isAcceptable({FrameType::control, bytesOf("{\"bye\":{}}")}));
  const std::string filling(HostFrames::maxMessage, 'x');
  EXPECT_FALSE(HostFrames::isAcceptable(
      {FrameType::control, bytesOf("{\"sessionClosed\":{\"reason\":\"" + filling + "\"}}")}));
  EXPECT_TRUE(HostFrames::isAcceptable(
      {FrameType::control,
       bytesOf("{\"clipboard\":{\"_0\":{\"content\":{\"text\":{\"_0\":\"" + filling + "\"}}}}}")}));
  EXPECT_FALSE(HostFrames::isAcceptable({FrameType::control, Bytes(HostFrames::maxMessage + 1, '[')}));
}

TEST_F(LinkStreamsTest, acceptsSoundOnlyAfterAPlausibleConfiguration) {
  const auto packet = OutgoingFrame::audio({1, shareBytes(Bytes(6))}).encoded();
  const Frame frame{FrameType::audio, Bytes(packet.begin() + frameHeaderSize, packet.end())};
  frames_.take(frame, now_);
  frames_.take(ControlMessage(message::AudioConfig{{1e12, 2, Bytes(2)}}), 0);
  frames_.take(ControlMessage(message::AudioConfig{{48'000, 4'000'000, Bytes(2)}}), 0);
  frames_.take(frame, now_);
  EXPECT_TRUE(listener_.record().sound.empty());
  frames_.take(ControlMessage(message::AudioConfig{{48'000, 2, Bytes(2)}}), 0);
  frames_.take(frame, now_);
  EXPECT_EQ(listener_.record().sound.size(), 2U);
  EXPECT_EQ(frames_.ignoredFrames(), 4U);
}

}  // namespace
}  // namespace quorl::viewer
