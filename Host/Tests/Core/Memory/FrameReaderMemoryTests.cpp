// SPDX-License-Identifier: GPL-3.0-or-later
// Passwords in the memory of the frames that wait.
#include <optional>

#include <gtest/gtest.h>

#include <QuorlHostCore/Session/FrameReader.h>
#include <QuorlKit/Foundation/SecretText.h>

#include "CountedAllocations.h"

namespace quorl::test {
namespace {

constexpr std::string_view mark = "a password that is on its way";

/// A session that overwrites what it is given, and may dispatch one frame less than it is sent.
class FrameReaderMemory : public testing::Test {
 protected:
  FrameReaderMemory() {
    const Bytes one = Frame{FrameType::control, bytesOf(mark)}.encoded();
    for (int count = 0; count < 3; ++count) bytes_.insert(bytes_.end(), one.begin(), one.end());
    reader_.emplace(FrameReader::Session{.mayDispatch = [this] { return dispatched_ < allowed_; },
                                         .dispatch =
                                             [this](Frame& frame) {
                                               ++dispatched_;
                                               overwrite({reinterpret_cast<char*>(frame.payload.data()),
                                                          frame.payload.size()});
                                             }});
  }

  int allowed_ = 1;
  int dispatched_ = 0;
  Bytes bytes_;
  std::optional<FrameReader> reader_;
};

TEST_F(FrameReaderMemory, searchesWhatIsReleased) {
  const ReleasedText released(mark);
  {
    const std::string copy(mark);
  }
  EXPECT_EQ(released.count(), 1U);
}

TEST_F(FrameReaderMemory, releasesNoPasswordThatHasWaited) {
  const ReleasedText released(mark);
  ASSERT_EQ(reader_->read(bytes_, FrameReader::Read::more), FrameReader::Next::wait);
  EXPECT_TRUE(reader_->mayHoldSecret());
  allowed_ = 2;
  ASSERT_EQ(reader_->resume(), FrameReader::Next::wait);
  allowed_ = 100;
  ASSERT_EQ(reader_->resume(), FrameReader::Next::receive);
  EXPECT_EQ(dispatched_, 3);
  EXPECT_FALSE(reader_->mayHoldSecret());
  EXPECT_EQ(released.count(), 0U);
}

TEST_F(FrameReaderMemory, releasesNoPasswordThatIsDropped) {
  const ReleasedText released(mark);
  ASSERT_EQ(reader_->read(bytes_, FrameReader::Read::more), FrameReader::Next::wait);
  reader_->clear();
  EXPECT_EQ(released.count(), 0U);
}

TEST_F(FrameReaderMemory, releasesNoPasswordThatWaitsAtTheEnd) {
  const ReleasedText released(mark);
  ASSERT_EQ(reader_->read(bytes_, FrameReader::Read::more), FrameReader::Next::wait);
  reader_.reset();
  EXPECT_EQ(released.count(), 0U);
}

TEST_F(FrameReaderMemory, saysThatAPartOfAFrameMayHoldAPassword) {
  allowed_ = 100;
  reader_->read(ByteView(bytes_).first(20), FrameReader::Read::more);
  EXPECT_TRUE(reader_->mayHoldSecret());
  reader_->read(ByteView(bytes_).subspan(20), FrameReader::Read::more);
  EXPECT_FALSE(reader_->mayHoldSecret());
}

TEST_F(FrameReaderMemory, takesNoLargeFileForAPassword) {
  const Bytes file = Frame{FrameType::file, Bytes(1'048'576, 1)}.encoded();
  reader_->read(ByteView(file).first(1'000'000), FrameReader::Read::more);
  EXPECT_FALSE(reader_->mayHoldSecret());
}

}  // namespace
}  // namespace quorl::test
