// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-viewer/Keyboard/GrabMachine.h>
#include <quorl-viewer/Keyboard/SpecialKeys.h>

namespace quorl::viewer {
namespace {

using namespace std::chrono_literals;
using namespace grabAction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class GrabMachineTest : public ::testing::Test {
 protected:
  void holdInFullScreen() {
    machine.setPolicy(GrabPolicy::inFullScreen, now);
    machine.focusGained(now);
    machine.setFullScreen(true, now);
    machine.taken(now);
    ASSERT_TRUE(machine.isHeld());
  }

  GrabMachine machine;
  GrabMachine::Time now{1h};
};

TEST_F(GrabMachineTest, takesTheKeyboardWithTheFocusIfWanted) {
  EXPECT_THAT(machine.focusGained(now), IsEmpty());
  machine.focusLost(now);
  machine.setPolicy(GrabPolicy::whenFocused, now);
  EXPECT_THAT(machine.focusGained(now), ElementsAre(Take{}));
  EXPECT_THAT(machine.taken(now), ElementsAre(ShowChord{}));
  EXPECT_TRUE(machine.isHeld());
  EXPECT_THAT(machine.focusLost(now), ElementsAre(LetGo{}, ReleaseInput{}, HideChord{}));
  EXPECT_FALSE(machine.isHeld());
}

TEST_F(GrabMachineTest, showsTheChordForThreeSecondsAtEachGrab) {
  for (int i = 0; i < 2; ++i) {
    machine.setPolicy(GrabPolicy::whenFocused, now);
    machine.focusGained(now);
    EXPECT_THAT(machine.taken(now), ElementsAre(ShowChord{}));
    EXPECT_EQ(machine.nextTick(), now + 3s);
    now += 2999ms;
    EXPECT_THAT(machine.tick(now), IsEmpty());
    now += 1ms;
    EXPECT_THAT(machine.tick(now), ElementsAre(HideChord{}));
    EXPECT_EQ(machine.nextTick(), std::nullopt);
    machine.focusLost(now);
  }
}

TEST_F(GrabMachineTest, alwaysReleasesByTheChordAndTakesAgainByIt) {
  holdInFullScreen();
  EXPECT_THAT(machine.toggle(now), ElementsAre(LetGo{}, ReleaseInput{}, HideChord{}));
  EXPECT_THAT(machine.tick(now + 10s), IsEmpty());
  EXPECT_THAT(machine.toggle(now), ElementsAre(Take{}));
  EXPECT_THAT(machine.taken(now), ElementsAre(ShowChord{}));
}

TEST_F(GrabMachineTest, takesTheKeyboardAgainWhenTheFocusComesBack) {
  holdInFullScreen();
  machine.toggle(now);
  EXPECT_THAT(machine.focusLost(now), IsEmpty());
  EXPECT_THAT(machine.focusGained(now), ElementsAre(Take{}));
}

TEST_F(GrabMachineTest, takesByTheChordWithoutAPolicyUntilTheFocusGoes) {
  machine.focusGained(now);
  EXPECT_THAT(machine.toggle(now), ElementsAre(Take{}));
  machine.taken(now);
  machine.focusLost(now);
  EXPECT_THAT(machine.focusGained(now), IsEmpty());
}

TEST_F(GrabMachineTest, releasesInputAtEveryChangeOfTheScreenMode) {
  machine.focusGained(now);
  EXPECT_THAT(machine.setFullScreen(true, now), ElementsAre(ReleaseInput{}));
  EXPECT_THAT(machine.setFullScreen(true, now), IsEmpty());
  machine.setPolicy(GrabPolicy::inFullScreen, now);
  machine.taken(now);
  EXPECT_THAT(machine.setFullScreen(false, now), ElementsAre(LetGo{}, ReleaseInput{}, HideChord{}));
  EXPECT_THAT(machine.setFullScreen(true, now), ElementsAre(Take{}, ReleaseInput{}));
}

TEST_F(GrabMachineTest, asksAgainWhileAWindowManagerHoldsTheKeyboard) {
  machine.setPolicy(GrabPolicy::whenFocused, now);
  machine.focusGained(now);
  EXPECT_THAT(machine.refused(GrabRefusal::busy, "another program has it", now), IsEmpty());
  EXPECT_EQ(machine.nextTick(), now + 100ms);
  EXPECT_THAT(machine.tick(now + 99ms), IsEmpty());
  EXPECT_THAT(machine.tick(now + 100ms), ElementsAre(Take{}));
  EXPECT_THAT(machine.taken(now + 100ms), ElementsAre(ShowChord{}));
}

TEST_F(GrabMachineTest, showsARefusalAfterTwoSecondsOfAsking) {
  machine.setPolicy(GrabPolicy::whenFocused, now);
  machine.focusGained(now);
  int asked = 1;
  GrabActions last;
  while ((last = machine.refused(GrabRefusal::busy, "another program has it", now)).empty()) {
    now = *machine.nextTick();
    EXPECT_THAT(machine.tick(now), ElementsAre(Take{}));
    ++asked;
    ASSERT_LT(asked, 100);
  }
  EXPECT_EQ(asked, 21);
  EXPECT_THAT(last, ElementsAre(ShowRefusal{"another program has it"}));
  EXPECT_EQ(machine.nextTick(), std::nullopt);
  EXPECT_THAT(machine.toggle(now), ElementsAre(Take{}));
}

TEST_F(GrabMachineTest, showsARefusalThatIsFinalAtOnce) {
  machine.setPolicy(GrabPolicy::whenFocused, now);
  machine.focusGained(now);
  EXPECT_THAT(machine.refused(GrabRefusal::refused, "not viewable", now),
              ElementsAre(ShowRefusal{"not viewable"}));
  machine.focusLost(now);
  EXPECT_THAT(machine.focusGained(now), ElementsAre(Take{}));
}

TEST_F(GrabMachineTest, stopsAskingWhenTheFocusGoes) {
  machine.setPolicy(GrabPolicy::whenFocused, now);
  machine.focusGained(now);
  machine.refused(GrabRefusal::busy, "another program has it", now);
  machine.focusLost(now);
  EXPECT_EQ(machine.nextTick(), std::nullopt);
  EXPECT_THAT(machine.tick(now + 1s), IsEmpty());
}

TEST_F(GrabMachineTest, releasesInputWhenTheWindowSystemEndsTheGrab) {
  holdInFullScreen();
  EXPECT_THAT(machine.lost(now), ElementsAre(ReleaseInput{}, HideChord{}));
  EXPECT_FALSE(machine.isHeld());
}

KeyInput space(WireModifiers modifiers) {
  return {.scanCode = 57, .text = " ", .modifiers = modifiers};
}

TEST(ReleaseChord, isControlAltShiftSpaceAndNothingElse) {
  constexpr auto all = WireModifiers::control | WireModifiers::option | WireModifiers::shift;
  EXPECT_TRUE(isReleaseChord(space(all), {}));
  // AltGr is an Alt by what is held.
  EXPECT_TRUE(isReleaseChord(space(WireModifiers::control | WireModifiers::shift), WireModifiers::option));
  EXPECT_FALSE(isReleaseChord(space(WireModifiers::control | WireModifiers::option), {}));
  EXPECT_FALSE(isReleaseChord(space(all | WireModifiers::command), {}));
  auto repeat = space(all);
  repeat.isRepeat = true;
  EXPECT_FALSE(isReleaseChord(repeat, {}));
  auto other = space(all);
  other.scanCode = 30;
  EXPECT_FALSE(isReleaseChord(other, {}));
}

TEST(SpecialKeys, pressInOrderAndReleaseInReverse) {
  const auto* special = findSpecialKey("Ctrl+Alt+Delete");
  ASSERT_NE(special, nullptr);
  constexpr auto pressed = WireModifiers::asPressed;
  constexpr auto control = pressed | WireModifiers::control;
  constexpr auto both = control | WireModifiers::option;
  EXPECT_THAT(eventsOf(*special),
              ElementsAre(inputEvent::Key{0x3B, true, control}, inputEvent::Key{0x3A, true, both},
                          inputEvent::Key{0x75, true, both}, inputEvent::Key{0x75, false, both},
                          inputEvent::Key{0x3A, false, control}, inputEvent::Key{0x3B, false, pressed}));
}

TEST(SpecialKeys, includeTheReleaseChordAndHoldNothingAfterwards) {
  EXPECT_NE(findSpecialKey(releaseChordText), nullptr);
  EXPECT_NE(findSpecialKey("Ctrl+Alt+F12"), nullptr);
  EXPECT_NE(findSpecialKey("Print"), nullptr);
  EXPECT_EQ(findSpecialKey("Any"), nullptr);
  for (const auto& special : specialKeys()) {
    const auto events = eventsOf(special);
    ASSERT_EQ(events.size(), 2 * special.keys.size()) << special.name;
    EXPECT_EQ(events.back().keyCode, special.keys.front());
    EXPECT_EQ(events.back().modifiers, WireModifiers::asPressed);
  }
}

}  // namespace
}  // namespace quorl::viewer
