// SPDX-License-Identifier: GPL-3.0-or-later
#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlKit/Protocol/KeyCodes.h>

#include <quorl-viewer/Keyboard/KeyPlaces.h>
#include <quorl-viewer/Keyboard/KeyboardMachine.h>

namespace quorl::viewer {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Scan codes of a PC keyboard.
constexpr std::uint16_t scanA = 30;
constexpr std::uint16_t scanC = 46;
constexpr std::uint16_t scanE = 18;
constexpr std::uint16_t scanReturn = 28;
constexpr std::uint16_t scanLeft = 105;
constexpr std::uint16_t scanControl = 29;
constexpr std::uint16_t scanShift = 42;
constexpr std::uint16_t scanRightShift = 54;
constexpr std::uint16_t scanAlt = 56;
constexpr std::uint16_t scanAltGr = 100;
constexpr std::uint16_t scanSuper = 125;
constexpr std::uint16_t scanKeypad7 = 71;

constexpr std::uint16_t wireA = 0x00;
constexpr std::uint16_t wireC = 0x08;

KeyboardAction key(std::uint16_t code, bool down, WireModifiers flags = {}) {
  return inputEvent::Key{code, down, flags | WireModifiers::asPressed};
}
KeyboardAction text(const std::string& typed) {
  return TypedText{typed};
}
KeyInput input(std::uint16_t scanCode, std::string typed = {}, WireModifiers modifiers = {}) {
  return {.scanCode = scanCode, .text = std::move(typed), .modifiers = modifiers};
}
KeyInput repeatOf(KeyInput key) {
  key.isRepeat = true;
  return key;
}

class KeyboardMachineTest : public ::testing::Test {
 protected:
  void SetUp() override { EXPECT_THAT(machine.focusGained({}), IsEmpty()); }

  KeyboardMachine machine;
};

class TextMode : public KeyboardMachineTest {
 protected:
  void SetUp() override {
    KeyboardMachineTest::SetUp();
    EXPECT_THAT(machine.setMode(KeyboardMode::text), IsEmpty());
  }
};

TEST_F(KeyboardMachineTest, sendsThePositionOfAKeyWhateverItTypes) {
  EXPECT_FALSE(machine.wantsInputMethod());
  EXPECT_THAT(machine.press(input(scanA, "q")), ElementsAre(key(wireA, true)));
  EXPECT_THAT(machine.release(input(scanA, "q")), ElementsAre(key(wireA, false)));
  EXPECT_THAT(machine.commit("é"), IsEmpty());
}

TEST_F(KeyboardMachineTest, sendsEveryKeyOfTheTableDownAndUp) {
  for (const auto& entry : keyCodeTable()) {
    if (entry.scanCode == 0 || entry.scanCode == scanCode::capsLock || entry.scanCode == scanCode::numLock)
      continue;
    auto press = input(entry.scanCode);
    press.locks.numLock = true;
    const auto flags = modifierOfWireKey(entry.code).value_or(WireModifiers{});
    EXPECT_THAT(machine.press(press), ElementsAre(key(entry.code, true, flags))) << entry.xkbName;
    EXPECT_THAT(machine.release(press), ElementsAre(key(entry.code, false))) << entry.xkbName;
  }
}

TEST_F(KeyboardMachineTest, keepsLeftAndRightModifiersApart) {
  EXPECT_THAT(machine.press(input(scanShift)), ElementsAre(key(keyCode::shift, true, WireModifiers::shift)));
  EXPECT_THAT(machine.press(input(scanRightShift, {}, WireModifiers::shift)),
              ElementsAre(key(keyCode::rightShift, true, WireModifiers::shift)));
  EXPECT_THAT(machine.release(input(scanShift, {}, WireModifiers::shift)),
              ElementsAre(key(keyCode::shift, false, WireModifiers::shift)));
  EXPECT_THAT(machine.release(input(scanRightShift, {}, WireModifiers::shift)),
              ElementsAre(key(keyCode::rightShift, false)));
}

TEST_F(KeyboardMachineTest, forwardsSuperAlone) {
  EXPECT_THAT(machine.press(input(scanSuper)),
              ElementsAre(key(keyCode::command, true, WireModifiers::command)));
  EXPECT_THAT(machine.release(input(scanSuper, {}, WireModifiers::command)),
              ElementsAre(key(keyCode::command, false)));
}

TEST_F(KeyboardMachineTest, sendsAltGrAsTheRightAltKey) {
  auto altGr = input(scanAltGr);
  altGr.isLevelKey = true;
  EXPECT_THAT(machine.press(altGr), ElementsAre(key(keyCode::rightOption, true, WireModifiers::option)));
  // The window system reports AltGr as no Alt. The key still counts as held.
  EXPECT_THAT(machine.press(input(16, "@")), ElementsAre(key(0x0C, true, WireModifiers::option)));
  EXPECT_THAT(machine.release(input(16)), ElementsAre(key(0x0C, false, WireModifiers::option)));
  EXPECT_THAT(machine.release(altGr), ElementsAre(key(keyCode::rightOption, false)));
}

TEST_F(KeyboardMachineTest, typesOnceWhenTheReleaseIsLate) {
  EXPECT_THAT(machine.press(input(scanA)), ElementsAre(key(wireA, true)));
  // However long it takes: without a repeat of this computer nothing is sent.
  EXPECT_THAT(machine.release(input(scanA)), ElementsAre(key(wireA, false)));
}

TEST_F(KeyboardMachineTest, pressesOnceMoreForEachRepeatHere) {
  machine.press(input(scanA));
  EXPECT_THAT(machine.press(repeatOf(input(scanA))), ElementsAre(key(wireA, true)));
  EXPECT_THAT(machine.press(repeatOf(input(scanA))), ElementsAre(key(wireA, true)));
  EXPECT_THAT(machine.release(input(scanA)), ElementsAre(key(wireA, false)));
}

TEST_F(KeyboardMachineTest, sendsNoRepeatsWhileTheHostDoesNotAnswer) {
  machine.press(input(scanA));
  machine.setRepeating(false);
  EXPECT_THAT(machine.press(repeatOf(input(scanA))), IsEmpty());
  machine.setRepeating(true);
  EXPECT_THAT(machine.press(repeatOf(input(scanA))), ElementsAre(key(wireA, true)));
}

TEST_F(KeyboardMachineTest, ignoresRepeatsOfAKeyThatWentDownElsewhere) {
  EXPECT_THAT(machine.press(repeatOf(input(scanReturn, "\r"))), IsEmpty());
  EXPECT_THAT(machine.release(input(scanReturn)), IsEmpty());
}

TEST_F(KeyboardMachineTest, releasesAllThatIsHeldWhenTheFocusGoesModifiersLast) {
  machine.press(input(scanControl));
  machine.press(input(scanC, "\x03", WireModifiers::control));
  EXPECT_THAT(machine.focusLost(),
              ElementsAre(key(wireC, false, WireModifiers::control), key(keyCode::control, false)));
  EXPECT_THAT(machine.focusLost(), IsEmpty());
}

TEST_F(KeyboardMachineTest, releasesAllThatIsHeldOnRequestAndForgetsIt) {
  machine.press(input(scanAlt));
  machine.press(input(scanLeft, {}, WireModifiers::option));
  EXPECT_THAT(machine.releaseAll(), ElementsAre(key(keyCode::leftArrow, false, WireModifiers::option),
                                                key(keyCode::option, false)));
  EXPECT_THAT(machine.release(input(scanLeft)), IsEmpty());
  EXPECT_THAT(machine.press(repeatOf(input(scanLeft))), IsEmpty());
}

TEST_F(KeyboardMachineTest, holdsNothingAfterAReleaseThatTheWindowDidNotGet) {
  machine.press(input(scanControl));
  machine.focusLost();
  machine.focusGained({});
  EXPECT_THAT(machine.press(input(scanC, "c")), ElementsAre(key(wireC, true)));
}

TEST_F(KeyboardMachineTest, releasesAModifierThatTheWindowSystemNoLongerReports) {
  machine.press(input(scanControl));
  machine.press(input(scanC, "\x03", WireModifiers::control));
  machine.release(input(scanC));
  EXPECT_THAT(machine.press(input(scanA, "a")), ElementsAre(key(keyCode::control, false), key(wireA, true)));
  machine.release(input(scanA));
  machine.press(input(scanControl));
  EXPECT_THAT(machine.modifiersSeen(WireModifiers::control), IsEmpty());
  EXPECT_THAT(machine.modifiersSeen({}), ElementsAre(key(keyCode::control, false)));
}

TEST_F(KeyboardMachineTest, keepsAModifierThatTheLayoutHereHasMovedElsewhere) {
  // This computer's layout makes Super of the Alt key.
  machine.press(input(scanAlt));
  EXPECT_THAT(machine.press(input(scanA, "a", WireModifiers::command)),
              ElementsAre(key(wireA, true, WireModifiers::option)));
}

TEST_F(KeyboardMachineTest, knowsModifiersHeldSinceBeforeTheFocusCame) {
  EXPECT_THAT(machine.press(input(scanC, "\x03", WireModifiers::control)),
              ElementsAre(key(wireC, true, WireModifiers::control)));
  EXPECT_THAT(machine.release(input(scanC)), ElementsAre(key(wireC, false, WireModifiers::control)));
  EXPECT_THAT(machine.release(input(scanControl)), IsEmpty());
  EXPECT_THAT(machine.press(input(scanA, "a")), ElementsAre(key(wireA, true)));
}

TEST_F(KeyboardMachineTest, bringsCapsLockInStepWhenTheFocusComesBack) {
  machine.focusLost();
  EXPECT_THAT(machine.focusGained({.capsLock = true}),
              ElementsAre(key(keyCode::capsLock, true, WireModifiers::capsLock),
                          key(keyCode::capsLock, false, WireModifiers::capsLock)));
  machine.focusLost();
  EXPECT_THAT(machine.focusGained({.capsLock = true}), IsEmpty());
  machine.focusLost();
  EXPECT_THAT(machine.focusGained({.capsLock = false}), ElementsAre(key(keyCode::capsLock, false)));
}

TEST_F(KeyboardMachineTest, sendsTheLockAgainToANewConnection) {
  machine.locksChanged({.capsLock = true});
  machine.press(input(scanA));
  machine.connected();
  EXPECT_THAT(machine.focusGained({.capsLock = true}),
              ElementsAre(key(keyCode::capsLock, true, WireModifiers::capsLock),
                          key(keyCode::capsLock, false, WireModifiers::capsLock)));
  EXPECT_THAT(machine.release(input(scanA)), IsEmpty());
}

TEST_F(KeyboardMachineTest, followsTheCapsLockKey) {
  auto caps = input(scanCode::capsLock);
  EXPECT_THAT(machine.press(caps), ElementsAre(key(keyCode::capsLock, true, WireModifiers::capsLock),
                                               key(keyCode::capsLock, false, WireModifiers::capsLock)));
  caps.locks.capsLock = true;
  EXPECT_THAT(machine.release(caps), IsEmpty());
  auto letter = input(scanA, "A");
  letter.locks.capsLock = true;
  EXPECT_THAT(machine.press(letter), ElementsAre(key(wireA, true, WireModifiers::capsLock)));
  machine.release(letter);
  EXPECT_THAT(machine.press(caps), IsEmpty());
  EXPECT_THAT(machine.release(caps), ElementsAre(key(keyCode::capsLock, false)));
}

TEST_F(KeyboardMachineTest, correctsALockThatTheCapsLockKeyDidNotSet) {
  // This computer's layout has made another key of it.
  machine.press(input(scanCode::capsLock));
  EXPECT_THAT(machine.press(input(scanA, "a")), ElementsAre(key(keyCode::capsLock, false), key(wireA, true)));
}

TEST_F(KeyboardMachineTest, makesCursorKeysOfTheKeypadWithoutNumLock) {
  auto seven = input(scanKeypad7, "7");
  seven.locks.numLock = true;
  EXPECT_THAT(machine.press(seven), ElementsAre(key(0x59, true)));
  seven.locks.numLock = false;
  EXPECT_THAT(machine.release(seven), ElementsAre(key(0x59, false)));
  EXPECT_THAT(machine.press(seven), ElementsAre(key(keyCode::home, true)));
  EXPECT_THAT(machine.release(seven), ElementsAre(key(keyCode::home, false)));
  EXPECT_THAT(machine.press(input(scanCode::numLock)), IsEmpty());
}

TEST_F(KeyboardMachineTest, ignoresKeysWithoutTheFocusAndKeysThatTheWireLacks) {
  EXPECT_THAT(machine.press(input(700)), IsEmpty());
  EXPECT_THAT(machine.release(input(700)), IsEmpty());
  machine.focusLost();
  EXPECT_THAT(machine.press(input(scanA)), IsEmpty());
}

TEST_F(TextMode, sendsTheTextOfAKeyOnce) {
  EXPECT_TRUE(machine.wantsInputMethod());
  EXPECT_THAT(machine.press(input(scanA, "q")), ElementsAre(text("q")));
  EXPECT_THAT(machine.release(input(scanA, "q")), IsEmpty());
  EXPECT_THAT(machine.press(input(12, "ß")), ElementsAre(text("ß")));
  EXPECT_THAT(machine.release(input(12)), IsEmpty());
}

TEST_F(TextMode, sendsWhatTheInputMethodComposesOnce) {
  // The input method has taken the presses of the dead key and of the letter; the releases arrive.
  EXPECT_THAT(machine.release(input(13)), IsEmpty());
  EXPECT_THAT(machine.commit("é"), ElementsAre(text("é")));
  EXPECT_THAT(machine.release(input(scanE)), IsEmpty());
  EXPECT_THAT(machine.commit("漢"), ElementsAre(text("漢")));
}

TEST_F(TextMode, sendsNothingForADeadKeyAlone) {
  EXPECT_THAT(machine.press(input(13)), IsEmpty());
  EXPECT_THAT(machine.release(input(13)), IsEmpty());
  EXPECT_THAT(machine.press(input(scanE, "é")), ElementsAre(text("é")));
}

TEST_F(TextMode, keepsControlAltAndSuperWithALetterKeys) {
  for (const auto& [scan, wire, flag] : {std::tuple(scanControl, keyCode::control, WireModifiers::control),
                                         std::tuple(scanAlt, keyCode::option, WireModifiers::option),
                                         std::tuple(scanSuper, keyCode::command, WireModifiers::command)}) {
    EXPECT_THAT(machine.press(input(scan)), ElementsAre(key(wire, true, flag)));
    EXPECT_THAT(machine.press(input(scanC, "c", flag)), ElementsAre(key(wireC, true, flag)));
    EXPECT_THAT(machine.release(input(scanC, {}, flag)), ElementsAre(key(wireC, false, flag)));
    EXPECT_THAT(machine.release(input(scan, {}, flag)), ElementsAre(key(wire, false)));
  }
}

TEST_F(TextMode, leavesShiftAndAltGrToTheText) {
  EXPECT_THAT(machine.press(input(scanShift)), IsEmpty());
  EXPECT_THAT(machine.press(input(scanA, "A", WireModifiers::shift)), ElementsAre(text("A")));
  EXPECT_THAT(machine.release(input(scanA)), IsEmpty());
  EXPECT_THAT(machine.release(input(scanShift, {}, WireModifiers::shift)), IsEmpty());
  auto altGr = input(scanAltGr);
  altGr.isLevelKey = true;
  EXPECT_THAT(machine.press(altGr), IsEmpty());
  EXPECT_THAT(machine.press(input(16, "@")), ElementsAre(text("@")));
}

TEST_F(TextMode, keepsShiftBesideAFunctionOrCursorKey) {
  machine.press(input(scanShift));
  EXPECT_THAT(machine.press(input(scanLeft, {}, WireModifiers::shift)),
              ElementsAre(key(keyCode::leftArrow, true, WireModifiers::shift)));
  EXPECT_THAT(machine.release(input(scanLeft, {}, WireModifiers::shift)),
              ElementsAre(key(keyCode::leftArrow, false, WireModifiers::shift)));
  machine.release(input(scanShift, {}, WireModifiers::shift));
  EXPECT_THAT(machine.press(input(scanReturn, "\r")), ElementsAre(key(keyCode::returnKey, true)));
  EXPECT_THAT(machine.press(input(14, "\b")), ElementsAre(key(keyCode::backspace, true)));
}

TEST_F(TextMode, typesDigitsOfTheKeypadAsTextAndItsCursorKeysAsKeys) {
  auto seven = input(scanKeypad7, "7");
  seven.locks.numLock = true;
  EXPECT_THAT(machine.press(seven), ElementsAre(text("7")));
  EXPECT_THAT(machine.release(seven), IsEmpty());
  EXPECT_THAT(machine.press(input(scanKeypad7)), ElementsAre(key(keyCode::home, true)));
}

TEST_F(TextMode, releasesWhatIsHeldWhenTheModeChanges) {
  machine.press(input(scanControl));
  EXPECT_THAT(machine.setMode(KeyboardMode::keys), ElementsAre(key(keyCode::control, false)));
  EXPECT_THAT(machine.setMode(KeyboardMode::keys), IsEmpty());
}

/// What a host holds after the events.
class HeldKeys {
 public:
  void take(const KeyboardActions& actions) {
    for (const auto& action : actions) {
      const auto* event = std::get_if<inputEvent::Key>(&action);
      if (event == nullptr) continue;
      if (event->down) {
        held_.insert(event->keyCode);
      } else {
        held_.erase(event->keyCode);
      }
    }
  }
  bool isEmpty() const { return held_.empty(); }

 private:
  std::set<std::uint16_t> held_;
};

TEST(KeyboardMachineRandom, neverLeavesAKeyHeldWhateverIsLost) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](unsigned limit) { return random() % limit; };
    KeyboardMachine machine(below(2) == 0 ? KeyboardMode::keys : KeyboardMode::text);
    HeldKeys host;
    host.take(machine.focusGained({}));
    for (int step = 0; step < 200; ++step) {
      KeyInput event;
      const auto& table = keyCodeTable();
      event.scanCode = table[below(static_cast<unsigned>(table.size()))].scanCode;
      if (below(2) == 0) event.text = "x";
      event.modifiers.rawValue = below(2) == 0 ? 0 : below(32);
      event.locks = {.capsLock = below(2) == 0, .numLock = below(2) == 0};
      event.isLevelKey = below(8) == 0;
      event.isRepeat = below(6) == 0;
      switch (below(12)) {
        case 0:
          host.take(machine.focusLost());
          EXPECT_TRUE(host.isEmpty()) << seed;
          host.take(machine.focusGained(event.locks));
          break;
        case 1:
          host.take(machine.releaseAll());
          EXPECT_TRUE(host.isEmpty()) << seed;
          break;
        case 2:
          host.take(machine.setMode(machine.mode() == KeyboardMode::keys ? KeyboardMode::text
                                                                         : KeyboardMode::keys));
          EXPECT_TRUE(host.isEmpty()) << seed;
          break;
        case 3:
        case 4:
        case 5:
          host.take(machine.release(event));
          break;
        default:
          host.take(machine.press(event));
      }
    }
    host.take(machine.focusLost());
    EXPECT_TRUE(host.isEmpty()) << seed;
  }
}

TEST(KeyPlaces, knowEveryKeyOfPCAndMacKeyboards) {
  // 1 to 83 are the keys of a PC keyboard in rows; 84 is none. Then the Japanese and the international ones.
  for (std::uint16_t scan = 1; scan <= 88; ++scan) {
    if (scan == 84 || scan == 85) continue;
    EXPECT_TRUE(wireKeyOf(scan, {.numLock = true})) << scan;
  }
  for (const std::uint16_t scan :
       {89,  90,  91,  92,  93,  94,  95,  96,  97,  98,  99,  100, 102, 103, 104, 105,
        106, 107, 108, 109, 110, 111, 113, 114, 115, 117, 119, 121, 122, 123, 124, 125,
        126, 127, 161, 163, 164, 165, 183, 184, 185, 186, 187, 188, 189, 190, 224, 225})
    EXPECT_TRUE(wireKeyOf(scan, {.numLock = true})) << scan;
}

}  // namespace
}  // namespace quorl::viewer
