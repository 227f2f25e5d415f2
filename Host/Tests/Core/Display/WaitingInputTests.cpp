// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/WaitingInput.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = WaitingInput::Kind;

class WaitingInputTest : public testing::Test {
 protected:
  bool waits(InputSource source, Kind kind, int number = 0) {
    WaitingInput::Post post = [this, number] { posted_.push_back(number); };
    return waiting_.holdBack(source, kind, post);
  }
  void add(InputSource source, std::string_view text) {
    EXPECT_TRUE(waiting_.addText(source, TextChunks(text)));
  }
  std::u16string typeAPiece() {
    const auto piece = waiting_.nextPiece();
    for (const auto& post : waiting_.pieceTyped()) post();
    return piece.value_or(u"none");
  }

  const InputSource ann_ = &annsPlace_;
  const InputSource bob_ = &bobsPlace_;
  WaitingInput waiting_;
  std::vector<int> posted_;

 private:
  int annsPlace_ = 0;
  int bobsPlace_ = 0;
};

TEST_F(WaitingInputTest, holdsBackTheKeysOfAClientWhoseTextWaitsAndOfNoOther) {
  EXPECT_FALSE(waits(ann_, Kind::key));
  add(ann_, "ab");
  EXPECT_TRUE(waits(ann_, Kind::key, 1));
  EXPECT_FALSE(waits(bob_, Kind::key));
  EXPECT_FALSE(waits(nullptr, Kind::key));
  EXPECT_EQ(typeAPiece(), u"ab");
  EXPECT_THAT(posted_, ElementsAre(1));
  EXPECT_FALSE(waits(ann_, Kind::key));
  EXPECT_TRUE(waiting_.isEmpty());
}

TEST_F(WaitingInputTest, letsMotionOvertakeTextButNotAClick) {
  add(ann_, "ab");
  EXPECT_FALSE(waits(ann_, Kind::motion));
  EXPECT_TRUE(waits(ann_, Kind::pointing, 1));
  EXPECT_TRUE(waits(ann_, Kind::motion, 2));
  typeAPiece();
  EXPECT_THAT(posted_, ElementsAre(1, 2));
}

TEST_F(WaitingInputTest, postsBetweenTwoTextsWhatCameBetweenThem) {
  add(ann_, "ab");
  EXPECT_TRUE(waits(ann_, Kind::key, 1));
  add(ann_, "cd");
  EXPECT_TRUE(waits(ann_, Kind::key, 2));
  EXPECT_EQ(typeAPiece(), u"ab");
  EXPECT_THAT(posted_, ElementsAre(1));
  EXPECT_EQ(typeAPiece(), u"cd");
  EXPECT_THAT(posted_, ElementsAre(1, 2));
}

TEST_F(WaitingInputTest, typesAPieceOfEachClientInTurn) {
  add(ann_, std::string(30, 'a'));
  add(bob_, std::string(30, 'b'));
  EXPECT_EQ(typeAPiece(), std::u16string(20, u'a'));
  EXPECT_EQ(typeAPiece(), std::u16string(20, u'b'));
  EXPECT_EQ(waiting_.nextPiece(), std::u16string(10, u'a'));
  EXPECT_THAT(waiting_.following(), IsEmpty());
}

TEST_F(WaitingInputTest, saysWhatFollowsAPieceInItsText) {
  add(ann_, "abcdefghijklmnopqrstuvw");
  waiting_.nextPiece();
  EXPECT_EQ(waiting_.following(), u"uvw");
}

TEST_F(WaitingInputTest, forgetsEverythingOfAClientThatLeaves) {
  add(ann_, std::string(30, 'a'));
  add(bob_, "b");
  EXPECT_TRUE(waits(ann_, Kind::key, 1));
  waiting_.nextPiece();
  waiting_.drop(ann_);
  EXPECT_FALSE(waiting_.hasPiece());
  EXPECT_THAT(waiting_.pieceTyped(), IsEmpty());
  EXPECT_EQ(typeAPiece(), u"b");
  EXPECT_TRUE(waiting_.isEmpty());
  EXPECT_THAT(posted_, IsEmpty());
  waiting_.drop(ann_);
}

TEST_F(WaitingInputTest, returnsTheReleasesOfAClientThatLeaves) {
  add(ann_, "ab");
  EXPECT_TRUE(waits(ann_, Kind::key, 1));
  EXPECT_TRUE(waits(ann_, Kind::keyUp, 2));
  add(ann_, "c");
  EXPECT_TRUE(waits(ann_, Kind::pointing, 3));
  EXPECT_TRUE(waits(ann_, Kind::buttonUp, 4));
  EXPECT_TRUE(waits(ann_, Kind::motion, 5));
  for (const auto& release : waiting_.drop(ann_)) release();
  EXPECT_THAT(posted_, ElementsAre(2, 4));
  EXPECT_TRUE(waiting_.isEmpty());
}

TEST_F(WaitingInputTest, keepsThePieceOfOneWhenAnotherLeaves) {
  add(ann_, "a");
  add(bob_, "b");
  waiting_.nextPiece();
  waiting_.drop(bob_);
  EXPECT_TRUE(waiting_.hasPiece());
  waiting_.pieceTyped();
  EXPECT_TRUE(waiting_.isEmpty());
}

TEST_F(WaitingInputTest, refusesTextBeyondItsLimitFromThatClientAlone) {
  const std::string most(WaitingInput::maximumUnits, 'x');
  add(ann_, most);
  EXPECT_FALSE(waiting_.addText(ann_, TextChunks("y")));
  EXPECT_TRUE(waiting_.addText(bob_, TextChunks("y")));
}

TEST_F(WaitingInputTest, acceptsTextAgainOnceSomeWasTyped) {
  add(ann_, std::string(WaitingInput::maximumUnits, 'x'));
  EXPECT_EQ(typeAPiece().size(), 20U);
  add(ann_, std::string(20, 'y'));
  EXPECT_FALSE(waiting_.addText(ann_, TextChunks("z")));
}

TEST_F(WaitingInputTest, refusesMoreTextsThanTheLimitOfAnyLength) {
  for (std::size_t i = 0; i < WaitingInput::maximumItems; ++i) add(ann_, "x");
  EXPECT_FALSE(waiting_.addText(ann_, TextChunks("x")));
}

TEST_F(WaitingInputTest, endsTheTextThatTooManyEventsWaitForAndLosesNoEvent) {
  add(ann_, std::string(100, 'x'));
  for (std::size_t i = 0; i < WaitingInput::maximumItems; ++i) EXPECT_TRUE(waits(ann_, Kind::key));
  EXPECT_EQ(typeAPiece(), u"");
  EXPECT_EQ(posted_.size(), WaitingInput::maximumItems);
  EXPECT_TRUE(waiting_.isEmpty());
}

}  // namespace
}  // namespace quorl
