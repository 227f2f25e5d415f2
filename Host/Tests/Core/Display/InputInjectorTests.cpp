// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/InputInjector.h>

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeEventPoster.h>

namespace quorl {
namespace {

using test::FakeEventPoster;
using testing::ElementsAre;

class InputInjectorTest : public testing::Test {
 protected:
  InputInjectorTest() {
    platform_.scheduler = &scheduler_;
    platform_.events = poster_;
    injector_ = std::make_unique<InputInjector>(platform_, [this] {
      HostSettings settings;
      settings.magnifyAsCommandScroll = magnifies_;
      return settings;
    });
  }

  std::vector<SyntheticEvent> posted() {
    scheduler_.runReady();
    return std::exchange(poster_->posted, {});
  }
  std::vector<MouseEventType> postedTypes() {
    std::vector<MouseEventType> types;
    for (const SyntheticEvent& event : posted()) types.push_back(std::get<MouseEvent>(event).type);
    return types;
  }
  void pointer(PointerPhase phase, PointerButton button) {
    injector_->pointer(phase, button, {1, 2}, 0, 0, {});
  }

  SimulatedScheduler scheduler_;
  Platform platform_;
  std::shared_ptr<FakeEventPoster> poster_ = std::make_shared<FakeEventPoster>();
  bool magnifies_ = true;
  std::unique_ptr<InputInjector> injector_;
};

TEST_F(InputInjectorTest, postsOnItsOwnQueue) {
  EXPECT_EQ(injector_->queue().label(), "quorl.input");
  injector_->key(0, true, {});
  EXPECT_TRUE(poster_->posted.empty());
  EXPECT_EQ(posted().size(), 1U);
}

TEST_F(InputInjectorTest, pressesWithClickCountPressureAndFlags) {
  injector_->pointer(PointerPhase::down, PointerButton::right, {10.5, 20.25}, 2, 0.5F,
                     WireModifiers::shift | WireModifiers::command);
  EXPECT_THAT(posted(), ElementsAre(MouseEvent{.type = MouseEventType::rightDown,
                                               .location = {10.5, 20.25},
                                               .button = PointerButton::right,
                                               .flags = 0x120000,
                                               .clickState = 2,
                                               .pressure = 0.5}));
}

TEST_F(InputInjectorTest, leavesClickCountAndPressureOutWhenTheyAreZero) {
  injector_->pointer(PointerPhase::down, PointerButton::left, {1, 2}, 0, 0, {});
  injector_->pointer(PointerPhase::up, PointerButton::left, {1, 2}, 0, -1, {});
  const auto events = posted();
  for (const SyntheticEvent& event : events) {
    EXPECT_FALSE(std::get<MouseEvent>(event).clickState);
    EXPECT_FALSE(std::get<MouseEvent>(event).pressure);
  }
}

TEST_F(InputInjectorTest, choosesTheTypeByButtonAndPhase) {
  struct Row {
    PointerButton button;
    std::uint32_t down, up, dragged;
  };
  const Row rows[] = {
      {PointerButton::left, 1, 2, 6}, {PointerButton::right, 3, 4, 7}, {PointerButton::middle, 25, 26, 27}};
  for (const Row& row : rows) {
    pointer(PointerPhase::moved, row.button);
    pointer(PointerPhase::down, row.button);
    pointer(PointerPhase::moved, row.button);
    pointer(PointerPhase::up, row.button);
    pointer(PointerPhase::moved, row.button);
    const auto type = [](std::uint32_t number) { return static_cast<MouseEventType>(number); };
    EXPECT_THAT(postedTypes(),
                ElementsAre(type(5), type(row.down), type(row.dragged), type(row.up), type(5)));
  }
}

TEST_F(InputInjectorTest, dragsTheHeldButtonButReportsTheMovedOne) {
  pointer(PointerPhase::down, PointerButton::right);
  pointer(PointerPhase::moved, PointerButton::left);
  const auto events = posted();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(static_cast<std::uint32_t>(std::get<MouseEvent>(events[1]).type), 7U);
  EXPECT_EQ(std::get<MouseEvent>(events[1]).button, PointerButton::left);
}

TEST_F(InputInjectorTest, holdsNothingAfterDownAndUpAndStillPostsASecondUp) {
  pointer(PointerPhase::down, PointerButton::left);
  pointer(PointerPhase::up, PointerButton::left);
  pointer(PointerPhase::up, PointerButton::left);
  pointer(PointerPhase::moved, PointerButton::left);
  EXPECT_THAT(postedTypes(), ElementsAre(MouseEventType::leftDown, MouseEventType::leftUp,
                                         MouseEventType::leftUp, MouseEventType::moved));
}

TEST_F(InputInjectorTest, hoversPlainlyWhateverIsHeld) {
  pointer(PointerPhase::down, PointerButton::left);
  pointer(PointerPhase::hover, PointerButton::left);
  EXPECT_THAT(postedTypes(), ElementsAre(MouseEventType::leftDown, MouseEventType::moved));
}

TEST_F(InputInjectorTest, mapsEveryModifierAndDropsUnknownOnes) {
  const std::pair<std::uint32_t, std::uint64_t> rows[] = {{0x01, 0x10000}, {0x02, 0x20000},  {0x04, 0x40000},
                                                          {0x08, 0x80000}, {0x10, 0x100000}, {0x20, 0x800000},
                                                          {0x40, 0},       {0x3F, 0x9F0000}};
  for (const auto& [wire, flags] : rows) {
    injector_->key(7, false, {wire});
    EXPECT_THAT(posted(), ElementsAre(KeyboardEvent{.keyCode = 7, .down = false, .flags = flags})) << wire;
  }
}

TEST_F(InputInjectorTest, scrollsPreciselyInPixelsWithTheUnroundedDeltas) {
  injector_->scroll({3, 4}, 1.5F, -2.25F, true, 3, WireModifiers::option);
  EXPECT_THAT(posted(), ElementsAre(ScrollEvent{.unit = ScrollUnit::pixel,
                                                .wheel1 = -2,
                                                .wheel2 = 2,
                                                .location = {3, 4},
                                                .flags = 0x80000,
                                                .isContinuous = true,
                                                .pointDeltaAxis1 = -2.25,
                                                .pointDeltaAxis2 = 1.5,
                                                .momentumPhase = 3}));
}

TEST_F(InputInjectorTest, scrollsByLinesWithoutTheFieldsOfPreciseScrolling) {
  injector_->scroll({3, 4}, 0, 5, false, 0, {});
  EXPECT_THAT(posted(), ElementsAre(ScrollEvent{
                            .unit = ScrollUnit::line, .wheel1 = 5, .wheel2 = 0, .location = {3, 4}}));
}

TEST_F(InputInjectorTest, saturatesAScrollDeltaAndTreatsANonFiniteOneAsZero) {
  const std::pair<float, std::int32_t> rows[] = {
      {3e10F, 2'147'483'647},
      {-3e10F, std::numeric_limits<std::int32_t>::min()},
      {std::numeric_limits<float>::infinity(), 0},
      {-std::numeric_limits<float>::infinity(), 0},
      {std::numeric_limits<float>::quiet_NaN(), 0},
      {2'147'483'648.0F, 2'147'483'647},
  };
  for (const auto& [delta, expected] : rows) {
    injector_->scroll({0, 0}, 0, delta, false, 0, {});
    EXPECT_EQ(std::get<ScrollEvent>(posted().at(0)).wheel1, expected) << delta;
  }
}

TEST_F(InputInjectorTest, magnifiesByACommandScroll) {
  injector_->magnify({8, 9}, 0.1F, 2);
  EXPECT_THAT(posted(), ElementsAre(ScrollEvent{.unit = ScrollUnit::pixel,
                                                .wheel1 = 6,
                                                .location = {8, 9},
                                                .flags = 0x100000,
                                                .isContinuous = true}));
}

TEST_F(InputInjectorTest, postsNothingForAMagnificationThatRoundsToZero) {
  injector_->magnify({0, 0}, 0.005F, 0);
  injector_->magnify({0, 0}, -0.008F, 0);
  injector_->magnify({0, 0}, std::numeric_limits<float>::quiet_NaN(), 0);
  injector_->magnify({0, 0}, std::numeric_limits<float>::infinity(), 0);
  EXPECT_TRUE(posted().empty());
}

TEST_F(InputInjectorTest, postsNoMagnificationWithTheSettingOff) {
  magnifies_ = false;
  injector_->magnify({0, 0}, 1, 0);
  EXPECT_TRUE(posted().empty());
  magnifies_ = true;
  injector_->magnify({0, 0}, -1, 0);
  EXPECT_EQ(std::get<ScrollEvent>(posted().at(0)).wheel1, -60);
}

TEST_F(InputInjectorTest, passesKeysOnAsTheyAre) {
  injector_->key(0x37, true, WireModifiers::command);
  EXPECT_THAT(posted(), ElementsAre(KeyboardEvent{.keyCode = 0x37, .down = true, .flags = 0x100000}));
}

TEST_F(InputInjectorTest, passesOnThatAKeyboardIsAPCs) {
  injector_->key(0x37, true, WireModifiers::command | WireModifiers::asPressed);
  EXPECT_THAT(posted(), ElementsAre(KeyboardEvent{.keyCode = 0x37, .down = true, .flags = 0x1'0010'0000}));
}

TEST_F(InputInjectorTest, typesFortyFiveLettersInThreeChunks) {
  const std::string text(45, 'x');
  injector_->insertText(text);
  const auto events = posted();
  ASSERT_EQ(events.size(), 6U);
  const std::size_t sizes[] = {20, 20, 5};
  for (std::size_t index = 0; index < 6; ++index) {
    const auto& event = std::get<KeyboardEvent>(events[index]);
    EXPECT_EQ(event.down, index % 2 == 0);
    EXPECT_EQ(event.keyCode, 0);
    EXPECT_EQ(event.flags, 0U);
    EXPECT_EQ(event.unicode, std::u16string(sizes[index / 2], u'x'));
  }
}

TEST_F(InputInjectorTest, postsWhatItAcceptedBeforeItsRelease) {
  injector_->key(1, true, {});
  injector_.reset();
  EXPECT_EQ(posted().size(), 1U);
}

TEST_F(InputInjectorTest, keepsTheOrderOfCalls) {
  injector_->key(1, true, {});
  injector_->insertText("a");
  injector_->scroll({0, 0}, 0, 1, false, 0, {});
  const auto events = posted();
  ASSERT_EQ(events.size(), 4U);
  EXPECT_EQ(std::get<KeyboardEvent>(events[0]).keyCode, 1);
  EXPECT_EQ(std::get<KeyboardEvent>(events[1]).unicode, u"a");
  EXPECT_TRUE(std::holds_alternative<ScrollEvent>(events[3]));
}

/// A platform that takes 100 ms for each piece of text.
class SlowTypingTest : public InputInjectorTest {
 protected:
  SlowTypingTest() {
    poster_->finishing = [this](std::u16string_view following) -> Duration {
      followings_.emplace_back(following);
      return isReady_ = !isReady_, isReady_ ? Duration::zero() : Duration(milliseconds(100));
    };
  }
  /// Keys by their codes, texts as -1, everything else as -2.
  std::vector<int> postedKinds() {
    std::vector<int> kinds;
    for (const SyntheticEvent& event : posted()) {
      const auto* key = std::get_if<KeyboardEvent>(&event);
      if (key && !key->unicode.empty() && !key->down) continue;
      kinds.push_back(!key ? -2 : key->unicode.empty() ? key->keyCode : -1);
    }
    return kinds;
  }

  using milliseconds = std::chrono::milliseconds;
  const InputSource ann_ = this;
  const InputSource bob_ = &followings_;
  std::vector<std::u16string> followings_;
  bool isReady_ = true;
};

TEST_F(SlowTypingTest, postsTheInputOfOtherClientsAtOnceWhileALongTextIsTyped) {
  injector_->insertText(std::string(5'000, 'x'), ann_);
  EXPECT_THAT(postedKinds(), ElementsAre(-1));
  injector_->pointer(PointerPhase::hover, PointerButton::left, {1, 2}, 0, 0, {}, bob_);
  injector_->key(3, true, {}, bob_);
  EXPECT_THAT(postedKinds(), ElementsAre(-2, 3));
  scheduler_.advance(milliseconds(100));
  EXPECT_THAT(postedKinds(), ElementsAre(-1));
}

TEST_F(SlowTypingTest, postsTheKeysOfTheSenderAfterItsText) {
  injector_->insertText(std::string(45, 'x'), ann_);
  injector_->key(3, true, {}, ann_);
  injector_->pointer(PointerPhase::moved, PointerButton::left, {1, 2}, 0, 0, {}, ann_);
  injector_->pointer(PointerPhase::down, PointerButton::left, {1, 2}, 0, 0, {}, ann_);
  EXPECT_THAT(postedKinds(), ElementsAre(-1, -2));
  scheduler_.advance(milliseconds(300));
  EXPECT_THAT(postedKinds(), ElementsAre(-1, -1, 3, -2));
}

TEST_F(SlowTypingTest, stopsTypingWhenTheSenderLeavesAndContinuesWithOthers) {
  injector_->insertText(std::string(5'000, 'x'), ann_);
  injector_->insertText("y", bob_);
  EXPECT_THAT(postedKinds(), ElementsAre(-1));
  isReady_ = true;
  injector_->drop(ann_);
  scheduler_.runReady();
  const auto events = posted();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(std::get<KeyboardEvent>(events[0]).unicode, u"y");
  scheduler_.advance(milliseconds(1'000));
  EXPECT_TRUE(posted().empty());
}

TEST_F(SlowTypingTest, releasesTheKeysOfASenderThatLeavesWhileItsTextIsTyped) {
  injector_->key(3, true, {}, ann_);
  injector_->insertText(std::string(45, 'x'), ann_);
  injector_->key(4, true, {}, ann_);
  injector_->key(3, false, {}, ann_);
  EXPECT_THAT(postedKinds(), ElementsAre(3, -1));
  injector_->drop(ann_);
  scheduler_.runReady();
  EXPECT_THAT(posted(), ElementsAre(SyntheticEvent(KeyboardEvent{.keyCode = 3})));
}

TEST_F(SlowTypingTest, releasesTheKeysOfASenderThatLeavesInOrderWithTooMuchText) {
  auto client = std::make_shared<int>();
  injector_->key(3, true, {}, client.get());
  injector_->insertText(std::string(InputInjector::maximumFarewell + 100, 'x'), client.get());
  injector_->key(3, false, {}, client.get());
  injector_->finish(std::exchange(client, nullptr));
  EXPECT_THAT(postedKinds(), ElementsAre(3, -1, 3));
}

TEST_F(SlowTypingTest, announcesWhatFollowsInTheText) {
  injector_->insertText("abcdefghijklmnopqrstuvw", ann_);
  scheduler_.runReady();
  ASSERT_EQ(followings_.size(), 1U);
  EXPECT_EQ(followings_[0], u"uvw");
}

TEST_F(SlowTypingTest, endsWithItsInjectorEvenIfTextWaits) {
  injector_->insertText(std::string(5'000, 'x'), ann_);
  EXPECT_THAT(postedKinds(), ElementsAre(-1));
  injector_.reset();
  scheduler_.advance(std::chrono::seconds(10));
  EXPECT_TRUE(posted().empty());
}

TEST_F(InputInjectorTest, postsWhatOthersSentBetweenThePiecesOfAText) {
  injector_->insertText(std::string(60, 'x'), this);
  injector_->key(3, true, {});
  const auto events = posted();
  ASSERT_EQ(events.size(), 7U);
  EXPECT_EQ(events[2], SyntheticEvent(KeyboardEvent{.keyCode = 3, .down = true}));
}

}  // namespace
}  // namespace quorl
