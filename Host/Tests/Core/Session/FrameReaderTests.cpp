// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/FrameReader.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Next = FrameReader::Next;
using Read = FrameReader::Read;

/// A session that may dispatch as many frames as its test allows.
class FrameReaderTest : public testing::Test {
 protected:
  static Bytes framesOf(const std::vector<std::string>& payloads) {
    Bytes bytes;
    for (const std::string& payload : payloads) {
      const Bytes frame = Frame{FrameType::ping, bytesOf(payload)}.encoded();
      bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    return bytes;
  }

  std::size_t allowed_ = 100;
  std::vector<std::string> dispatched_;
  FrameReader reader_{
      {.mayDispatch = [this] { return dispatched_.size() < allowed_; },
       .dispatch = [this](const Frame& frame) { dispatched_.push_back(textOf(frame.payload)); }}};
};

TEST_F(FrameReaderTest, dispatchesEveryFrameOfARead) {
  EXPECT_EQ(reader_.read(framesOf({"a", "b"}), Read::more), Next::receive);
  EXPECT_THAT(dispatched_, ElementsAre("a", "b"));
  EXPECT_FALSE(reader_.isWaiting());
}

TEST_F(FrameReaderTest, joinsAFrameThatIsSplitBetweenTwoReads) {
  const Bytes bytes = framesOf({"abc"});
  EXPECT_EQ(reader_.read(ByteView(bytes).first(6), Read::more), Next::receive);
  EXPECT_THAT(dispatched_, IsEmpty());
  EXPECT_EQ(reader_.read(ByteView(bytes).subspan(6), Read::more), Next::receive);
  EXPECT_THAT(dispatched_, ElementsAre("abc"));
}

TEST_F(FrameReaderTest, pausesBetweenTwoFramesAndResumesInOrder) {
  allowed_ = 1;
  EXPECT_EQ(reader_.read(framesOf({"a", "b", "c"}), Read::more), Next::wait);
  EXPECT_TRUE(reader_.isWaiting());
  allowed_ = 2;
  EXPECT_EQ(reader_.resume(), Next::wait);
  EXPECT_THAT(dispatched_, ElementsAre("a", "b"));
  allowed_ = 100;
  EXPECT_EQ(reader_.resume(), Next::receive);
  EXPECT_THAT(dispatched_, ElementsAre("a", "b", "c"));
}

TEST_F(FrameReaderTest, waitsBeforeTheNextReceiveIfTheLastFrameReachedTheLimit) {
  allowed_ = 1;
  EXPECT_EQ(reader_.read(framesOf({"a"}), Read::more), Next::wait);
  allowed_ = 2;
  EXPECT_EQ(reader_.resume(), Next::receive);
}

TEST_F(FrameReaderTest, endsOnlyAfterTheLastFrameIsDispatched) {
  allowed_ = 1;
  EXPECT_EQ(reader_.read(framesOf({"a", "b"}), Read::last), Next::wait);
  allowed_ = 2;
  EXPECT_EQ(reader_.resume(), Next::end);
  EXPECT_THAT(dispatched_, ElementsAre("a", "b"));
}

TEST_F(FrameReaderTest, dispatchesNothingOfAReadWithAnInvalidHeader) {
  Bytes bytes = framesOf({"a"});
  bytes.insert(bytes.end(), {0x7f, 0, 0, 0, 0});
  EXPECT_EQ(reader_.read(bytes, Read::more), std::unexpected(FrameError::unknownType(0x7f)));
  EXPECT_THAT(dispatched_, IsEmpty());
}

}  // namespace
}  // namespace quorl
