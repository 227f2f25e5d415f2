// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamClient.h>

#include <memory>

#include <gtest/gtest.h>

#include <Support/LogRecorder.h>
#include <Support/RecordingSink.h>

namespace quorl::test {
namespace {

class StreamClientTest : public testing::Test {
 protected:
  LogRecorder log_;
  std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
  StreamClient client_{sink_, 7};
};

TEST_F(StreamClientTest, saysThatTheHostStoppedTheStream) {
  client_.sendStopped();
  EXPECT_EQ(sink_->controls,
            std::vector{ControlMessage(message::Error{{"stream.stopped", "stream 7 stopped by host"}})});
  EXPECT_TRUE(log_.lines().empty()) << "not a failure";
}

TEST_F(StreamClientTest, logsAFailureAndNamesTheStreamInIt) {
  client_.sendFailure({"stream.start", "refused"});
  EXPECT_EQ(sink_->controls,
            std::vector{ControlMessage(message::Error{{"stream.start", "stream 7: refused"}})});
  EXPECT_TRUE(log_.has(LogLevel::error, "stream", "stream 7 failed: refused"));
}

TEST_F(StreamClientTest, dropsDifferencesButNoKeyframeAndNoConfiguration) {
  const auto bytes = std::make_shared<const Bytes>(bytesOf("x"));
  client_.sendConfiguration(bytes);
  client_.sendPicture({.data = bytes, .isKeyframe = true, .ptsMicros = 5});
  client_.sendPicture({.data = bytes, .isKeyframe = false, .ptsMicros = 6});
  ASSERT_EQ(sink_->videos.size(), 3U);
  EXPECT_EQ(sink_->videos[0].flags, VideoPacketFlags::codecConfig);
  EXPECT_EQ(sink_->videos[0].droppable, Droppable::no);
  EXPECT_EQ(sink_->videos[1].flags, VideoPacketFlags::keyframe);
  EXPECT_EQ(sink_->videos[1].droppable, Droppable::no);
  EXPECT_EQ(sink_->videos[2].flags, VideoPacketFlags{});
  EXPECT_EQ(sink_->videos[2].droppable, Droppable::yes);
}

TEST_F(StreamClientTest, saysNothingToAClientThatHasGone) {
  sink_.reset();
  client_.sendStopped();
  client_.sendStarted({640, 480}, {});
  client_.sendConfiguration(std::make_shared<const Bytes>());
  EXPECT_EQ(client_.admit(1, [] {}), std::nullopt);
}

}  // namespace
}  // namespace quorl::test
