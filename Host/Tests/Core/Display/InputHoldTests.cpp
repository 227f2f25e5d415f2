// SPDX-License-Identifier: GPL-3.0-or-later
// Input that waits for a window to come to the front.
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Input/InputHolds.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <Support/FakeEventPoster.h>

namespace quorl {
namespace {

using std::chrono::milliseconds;
using test::FakeEventPoster;
using testing::ElementsAre;
using testing::IsEmpty;

class InputHoldTest : public testing::Test {
 protected:
  InputHoldTest() {
    platform_.scheduler = &scheduler_;
    platform_.events = poster_;
    injector_ = std::make_unique<InputInjector>(platform_, [] { return HostSettings{}; });
  }

  void press(std::uint16_t keyCode, const int* client) { injector_->key(keyCode, true, {}, client); }
  /// The key codes, -1 for the pointer and -2 for text.
  std::vector<int> posted() {
    scheduler_.runReady();
    std::vector<int> codes;
    for (const SyntheticEvent& event : std::exchange(poster_->posted, {})) {
      const auto* key = std::get_if<KeyboardEvent>(&event);
      if (key == nullptr) {
        codes.push_back(-1);
      } else if (key->unicode.empty()) {
        codes.push_back(key->keyCode);
      } else if (key->down) {
        codes.push_back(-2);
      }
    }
    return codes;
  }

  SimulatedScheduler scheduler_;
  Platform platform_;
  std::shared_ptr<FakeEventPoster> poster_ = std::make_shared<FakeEventPoster>();
  std::unique_ptr<InputInjector> injector_;
  const int one_ = 1;
  const int other_ = 2;
};

TEST_F(InputHoldTest, postsInputAtTheEndOfTheHold) {
  auto hold = injector_->hold(&one_);
  press(5, &one_);
  scheduler_.advance(milliseconds(100));
  EXPECT_THAT(posted(), IsEmpty());
  hold.reset();
  EXPECT_THAT(posted(), ElementsAre(5));
  press(6, &one_);
  EXPECT_THAT(posted(), ElementsAre(6));
}

TEST_F(InputHoldTest, holdsInputForThreeHundredMillisecondsAtMost) {
  const auto hold = injector_->hold(&one_);
  press(5, &one_);
  scheduler_.advance(milliseconds(299));
  EXPECT_THAT(posted(), IsEmpty());
  scheduler_.advance(milliseconds(1));
  EXPECT_THAT(posted(), ElementsAre(5));
  press(6, &one_);
  EXPECT_THAT(posted(), ElementsAre(6)) << "the hang holds no further input";
}

TEST_F(InputHoldTest, aSecondHoldDoesNotExtendTheLimit) {
  auto first = injector_->hold(&one_);
  scheduler_.advance(milliseconds(200));
  const auto second = injector_->hold(&one_);
  press(5, &one_);
  first.reset();
  EXPECT_THAT(posted(), IsEmpty());
  scheduler_.advance(milliseconds(100));
  EXPECT_THAT(posted(), ElementsAre(5));
}

TEST_F(InputHoldTest, theLimitOfAnEndedHoldDoesNotEndTheNext) {
  auto first = injector_->hold(&one_);
  scheduler_.advance(milliseconds(200));
  first.reset();
  scheduler_.runReady();
  const auto second = injector_->hold(&one_);
  press(5, &one_);
  scheduler_.advance(milliseconds(200));
  EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(InputHoldTest, doesNotHoldTheInputOfOtherClients) {
  const auto hold = injector_->hold(&one_);
  press(5, &one_);
  press(6, &other_);
  press(7, nullptr);
  EXPECT_THAT(posted(), ElementsAre(6, 7));
}

TEST_F(InputHoldTest, keepsTheOrderOfOneClientsInput) {
  auto hold = injector_->hold(&one_);
  injector_->pointer(PointerPhase::down, PointerButton::left, {1, 2}, 1, 0, {}, &one_);
  press(5, &one_);
  injector_->insertText("a", &one_);
  press(6, &one_);
  injector_->pointer(PointerPhase::moved, PointerButton::left, {1, 2}, 1, 0, {}, &one_);
  hold.reset();
  press(7, &one_);
  EXPECT_THAT(posted(), ElementsAre(-1, 5, -2, 6, -1, 7));
}

TEST_F(InputHoldTest, dropsTheInputOfAClientThatIsGone) {
  auto hold = injector_->hold(&one_);
  press(5, &one_);
  injector_->drop(&one_);
  press(6, &one_);
  EXPECT_THAT(posted(), ElementsAre(6));
  hold.reset();
  EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(InputHoldTest, releasesWhatAClientThatIsGoneHadReleased) {
  press(5, &one_);
  injector_->pointer(PointerPhase::down, PointerButton::left, {1, 2}, 1, 0, {}, &one_);
  EXPECT_THAT(posted(), ElementsAre(5, -1));
  auto hold = injector_->hold(&one_);
  press(6, &one_);
  injector_->key(5, false, {}, &one_);
  injector_->pointer(PointerPhase::up, PointerButton::left, {1, 2}, 0, 0, {}, &one_);
  scheduler_.runReady();
  injector_->drop(&one_);
  scheduler_.runReady();
  EXPECT_THAT(poster_->posted,
              ElementsAre(SyntheticEvent(KeyboardEvent{.keyCode = 5}),
                          SyntheticEvent(MouseEvent{.type = MouseEventType::leftUp, .location = {1, 2}})));
}

TEST_F(InputHoldTest, typesTheTextOfAClientThatLeavesInOrder) {
  auto client = std::make_shared<int>();
  const std::weak_ptr<int> exists = client;
  auto hold = injector_->hold(client.get());
  injector_->insertText("a", client.get());
  injector_->finish(std::exchange(client, nullptr));
  EXPECT_THAT(posted(), IsEmpty());
  EXPECT_FALSE(exists.expired()) << "no other client gets its address";
  hold.reset();
  EXPECT_THAT(posted(), ElementsAre(-2));
  EXPECT_TRUE(exists.expired());
}

TEST_F(InputHoldTest, endsWhenTooMuchInputWaits) {
  const auto hold = injector_->hold(&one_);
  for (std::size_t i = 0; i < InputHolds::maximumActions; ++i) press(5, &one_);
  EXPECT_EQ(posted().size(), InputHolds::maximumActions);
}

TEST_F(InputHoldTest, mayBeReleasedAfterTheInjectorIsGone) {
  auto hold = injector_->hold(&one_);
  press(5, &one_);
  scheduler_.runReady();
  injector_.reset();
  hold.reset();
  scheduler_.runReady();
  EXPECT_THAT(poster_->posted, IsEmpty());
}

}  // namespace
}  // namespace quorl
