// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Input/InputPlanner.h>
#include <QuorlHostLinux/X11/Input/SpareKeys.h>
#include <QuorlHostLinux/X11/Input/TextKeysyms.h>
#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {
namespace {

using Kind = InputAction::Kind;
using enum MouseEventType;

constexpr std::uint16_t letterA = 0x00;
constexpr std::uint16_t letterC = 0x08;

InputAction keyDown(std::uint16_t code) {
  return {.kind = Kind::key, .down = true, .code = code};
}
InputAction keyUp(std::uint16_t code) {
  return {.kind = Kind::key, .down = false, .code = code};
}
InputAction press(std::uint16_t number) {
  return {.kind = Kind::button, .down = true, .code = number};
}
InputAction release(std::uint16_t number) {
  return {.kind = Kind::button, .down = false, .code = number};
}
InputAction at(int x, int y) {
  return {.kind = Kind::motion, .x = x, .y = y};
}
InputAction caps(bool on) {
  return {.kind = Kind::capsLock, .down = on};
}

MouseEvent mouse(MouseEventType type, std::uint64_t flags = 0) {
  return {.type = type, .location = {10.9, 20.2}, .flags = flags};
}
KeyboardEvent key(std::uint16_t code, bool down, std::uint64_t flags = 0) {
  return {.keyCode = code, .down = down, .flags = flags};
}
ScrollEvent pixels(double up, double left, std::uint64_t flags = 0) {
  return {.unit = ScrollUnit::pixel,
          .wheel1 = static_cast<std::int32_t>(up),
          .wheel2 = static_cast<std::int32_t>(left),
          .location = {5, 6},
          .flags = flags,
          .isContinuous = true,
          .pointDeltaAxis1 = up,
          .pointDeltaAxis2 = left};
}

using Actions = std::vector<InputAction>;

TEST(InputPlanner, movesToThePixelThatHoldsThePointAndPressesTheButton) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(mouse(moved)), (Actions{at(10, 20)}));
  EXPECT_EQ(planner.plan(mouse(leftDown)), (Actions{at(10, 20), press(1)}));
  EXPECT_EQ(planner.plan(mouse(leftDragged)), (Actions{at(10, 20)}));
  EXPECT_EQ(planner.plan(mouse(leftUp)), (Actions{at(10, 20), release(1)}));
  EXPECT_EQ(planner.plan(mouse(rightDown)), (Actions{at(10, 20), press(3)}));
  EXPECT_EQ(planner.plan(mouse(otherDown)), (Actions{at(10, 20), press(2)}));
  EXPECT_EQ(planner.plan(mouse(otherUp)), (Actions{at(10, 20), release(2)}));
  EXPECT_EQ(planner.plan(mouse(rightUp)), (Actions{at(10, 20), release(3)}));
}

TEST(InputPlanner, doesNotPressAButtonTwiceNorReleaseOneThatIsUp) {
  InputPlanner planner;
  planner.plan(mouse(leftDown));
  EXPECT_EQ(planner.plan(mouse(leftDown)), (Actions{at(10, 20)}));
  planner.plan(mouse(leftUp));
  EXPECT_EQ(planner.plan(mouse(leftUp)), (Actions{at(10, 20)}));
}

TEST(InputPlanner, staysWithinTheProtocolsCoordinates) {
  InputPlanner planner;
  auto event = mouse(moved);
  event.location = {1e30, -1e30};
  EXPECT_EQ(planner.plan(event), (Actions{at(32'767, -32'768)}));
  event.location = {std::nan(""), 3};
  EXPECT_EQ(planner.plan(event), (Actions{}));
}

TEST(InputPlanner, holdsTheFlagsOfAShortcutAroundItsKey) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(letterC, true, eventFlags::command)),
            (Actions{keyDown(keyCode::control), keyDown(letterC)}));
  EXPECT_EQ(planner.plan(key(letterC, false, eventFlags::command)),
            (Actions{keyUp(letterC), keyUp(keyCode::control)}));
}

TEST(InputPlanner, holdsTheFlagsOfAClickUntilTheButtonIsUp) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(mouse(leftDown, eventFlags::shift)),
            (Actions{at(10, 20), keyDown(keyCode::shift), press(1)}));
  EXPECT_EQ(planner.plan(mouse(leftDragged, eventFlags::shift)), (Actions{at(10, 20)}));
  EXPECT_EQ(planner.plan(mouse(leftUp, eventFlags::shift)),
            (Actions{at(10, 20), release(1), keyUp(keyCode::shift)}));
}

TEST(InputPlanner, pressesNoModifierForMotionAlone) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(mouse(moved, eventFlags::option)), (Actions{at(10, 20)}));
  EXPECT_EQ(planner.plan(mouse(leftDragged, eventFlags::option)), (Actions{at(10, 20)}));
}

TEST(InputPlanner, keepsAModifierThatCameAsAKeyUntilItsRelease) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(keyCode::rightShift, true, eventFlags::shift)),
            (Actions{keyDown(keyCode::rightShift)}));
  EXPECT_EQ(planner.plan(key(letterA, true, eventFlags::shift)), (Actions{keyDown(letterA)}));
  EXPECT_EQ(planner.plan(key(letterA, false, eventFlags::shift)), (Actions{keyUp(letterA)}));
  EXPECT_EQ(planner.plan(key(keyCode::rightShift, false, 0)), (Actions{keyUp(keyCode::rightShift)}));
}

TEST(InputPlanner, takesAModifierKeysOwnFlagInEitherOrder) {
  for (const auto flagDown : {eventFlags::control, std::uint64_t{0}}) {
    for (const auto flagUp : {eventFlags::control, std::uint64_t{0}}) {
      InputPlanner planner;
      EXPECT_EQ(planner.plan(key(keyCode::control, true, flagDown)), (Actions{keyDown(keyCode::control)}));
      EXPECT_EQ(planner.plan(key(keyCode::control, false, flagUp)), (Actions{keyUp(keyCode::control)}));
      EXPECT_TRUE(planner.releaseAll().empty());
    }
  }
}

TEST(InputPlanner, releasesAModifierKeyWhoseReleaseWasLost) {
  InputPlanner planner;
  planner.plan(key(keyCode::control, true, eventFlags::control));
  EXPECT_EQ(planner.plan(mouse(moved, 0)), (Actions{at(10, 20), keyUp(keyCode::control)}));
  EXPECT_TRUE(planner.heldModifierKeys().empty());
}

TEST(InputPlanner, hasNoKeyForTheFunctionFlag) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(letterA, true, eventFlags::function)), (Actions{keyDown(letterA)}));
}

TEST(InputPlanner, pressesAKeyOnceMoreForEachRepeatOfTheClient) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(letterA, true)), (Actions{keyDown(letterA)}));
  for (int repeat = 0; repeat < 4; ++repeat)
    EXPECT_EQ(planner.plan(key(letterA, true)), (Actions{keyUp(letterA), keyDown(letterA)}));
  EXPECT_EQ(planner.plan(key(letterA, false)), (Actions{keyUp(letterA)}));
}

TEST(InputPlanner, repeatsNeitherModifiersNorCapsLock) {
  InputPlanner planner;
  planner.plan(key(keyCode::shift, true, eventFlags::shift));
  EXPECT_EQ(planner.plan(key(keyCode::shift, true, eventFlags::shift)), (Actions{}));
  planner.plan(key(keyCode::shift, false));
  planner.plan(key(keyCode::capsLock, true));
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, true)), (Actions{}));
}

TEST(InputPlanner, followsTheCapsLockStateInTheFlags) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, true, eventFlags::capsLock)), (Actions{caps(true)}));
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, false, eventFlags::capsLock)), (Actions{}));
  EXPECT_EQ(planner.plan(key(letterA, true, eventFlags::capsLock)), (Actions{keyDown(letterA)}));
  EXPECT_EQ(planner.plan(key(letterA, false, eventFlags::capsLock)), (Actions{keyUp(letterA)}));
  EXPECT_EQ(planner.plan(key(letterA, true, 0)), (Actions{caps(false), keyDown(letterA)}));
}

TEST(InputPlanner, unlocksCapsLockOnAReleaseOfItsKeyWithoutTheFlag) {
  InputPlanner planner;
  planner.plan(key(letterA, true, eventFlags::capsLock));
  planner.plan(key(letterA, false, eventFlags::capsLock));
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, false, 0)), (Actions{caps(false)}));
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, false, 0)), (Actions{}));
}

TEST(InputPlanner, sendsCapsLockAsAKeyForAClientWithoutItsFlag) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, true)), (Actions{keyDown(keyCode::capsLock)}));
  EXPECT_EQ(planner.plan(key(keyCode::capsLock, false)), (Actions{keyUp(keyCode::capsLock)}));
}

TEST(InputPlanner, makesWheelStepsOfLines) {
  InputPlanner planner;
  const ScrollEvent event{.unit = ScrollUnit::line, .wheel1 = 2, .wheel2 = -1, .location = {5, 6}};
  EXPECT_EQ(planner.plan(event),
            (Actions{at(5, 6), press(4), release(4), press(4), release(4), press(7), release(7)}));
  const ScrollEvent back{.unit = ScrollUnit::line, .wheel1 = -1, .wheel2 = 1, .location = {5, 6}};
  EXPECT_EQ(planner.plan(back), (Actions{at(5, 6), press(5), release(5), press(6), release(6)}));
}

TEST(InputPlanner, boundsTheStepsOfAHostileScroll) {
  InputPlanner planner;
  const ScrollEvent lines{.unit = ScrollUnit::line, .wheel1 = 2'147'483'647, .wheel2 = -2'147'483'647 - 1};
  EXPECT_EQ(planner.plan(lines).size(), 1U + 4U * ScrollAccumulator::mostSteps);
  EXPECT_EQ(planner.plan(pixels(2'147'483'647.0, 0)).size(), 1U + 2U * ScrollAccumulator::mostSteps);
}

TEST(InputPlanner, gathersFineScrollsIntoSteps) {
  InputPlanner planner;
  int steps = 0;
  for (int i = 0; i < 30; ++i) steps += static_cast<int>(planner.plan(pixels(7.5, 0)).size() - 1) / 2;
  EXPECT_EQ(steps, 7);  // 225 points at 30 a step, 15 left over
  EXPECT_EQ(planner.plan(pixels(-20, 0)), (Actions{at(5, 6)}));
  EXPECT_EQ(planner.plan(pixels(-10, 0)), (Actions{at(5, 6), press(5), release(5)}));
}

TEST(InputPlanner, zoomsWithControlInsteadOfCommand) {
  InputPlanner planner;
  const ScrollEvent pinch{.unit = ScrollUnit::pixel,
                          .wheel1 = 12,
                          .location = {5, 6},
                          .flags = eventFlags::command,
                          .isContinuous = true};
  EXPECT_EQ(planner.plan(pinch),
            (Actions{at(5, 6), keyDown(keyCode::control), press(4), release(4), keyUp(keyCode::control)}));
}

TEST(InputPlanner, pressesNoModifierForAScrollThatMakesNoStep) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(pixels(1, 1, eventFlags::shift)), (Actions{at(5, 6)}));
}

TEST(InputPlanner, releasesEverythingThatIsHeld) {
  InputPlanner planner;
  planner.plan(mouse(leftDown, eventFlags::option));
  planner.plan(key(keyCode::rightShift, true, eventFlags::shift | eventFlags::option));
  planner.plan(key(letterA, true, eventFlags::shift | eventFlags::option | eventFlags::capsLock));
  const auto released = planner.releaseAll();
  EXPECT_EQ(released, (Actions{release(1), keyUp(letterA), keyUp(keyCode::rightShift), keyUp(keyCode::option),
                               caps(false)}));
  EXPECT_TRUE(planner.releaseAll().empty());
}

/// Follows actions as an X server would.
struct Devices {
  std::map<std::uint16_t, bool> keys;
  std::map<std::uint16_t, bool> buttons;

  void apply(const Actions& actions) {
    for (const auto& action : actions) {
      if (action.kind != Kind::key && action.kind != Kind::button) continue;
      auto& down = (action.kind == Kind::key ? keys : buttons)[action.code];
      EXPECT_NE(down, action.down) << "code " << action.code << " again";
      down = action.down;
    }
  }
  bool isAnythingDown() const {
    const auto isDown = [](const auto& entry) { return entry.second; };
    return std::ranges::any_of(keys, isDown) || std::ranges::any_of(buttons, isDown);
  }
};

TEST(InputPlanner, leavesNothingDownAfterAnySequence) {
  constexpr std::array codes{letterA,          letterC,         keyCode::shift,    keyCode::rightShift,
                             keyCode::control, keyCode::option, keyCode::command,  keyCode::rightCommand,
                             keyCode::tab,     keyCode::home,   keyCode::leftArrow};
  constexpr std::array flags{eventFlags::shift, eventFlags::control, eventFlags::option, eventFlags::command,
                             eventFlags::function};
  constexpr std::array types{leftDown, leftUp, rightDown, rightUp, moved, leftDragged, otherDown, otherUp};
  for (unsigned seed = 0; seed < 500; ++seed) {
    std::mt19937 random(seed);
    InputPlanner planner;
    Devices devices;
    for (int i = 0; i < 60; ++i) {
      std::uint64_t some = 0;
      for (const auto flag : flags) some |= random() % 3 == 0 ? flag : 0;
      switch (random() % 3) {
        case 0:
          devices.apply(planner.plan(key(codes[random() % codes.size()], random() % 2 == 0, some),
                                     static_cast<FocusedProgram>(random() % 3)));
          break;
        case 1:
          devices.apply(planner.plan(mouse(types[random() % types.size()], some)));
          break;
        default:
          devices.apply(planner.plan(pixels(double(random() % 90) - 45, double(random() % 90) - 45, some)));
      }
    }
    if (seed % 2 == 0) {
      // The client releases everything it held: nothing may stay down.
      for (const auto code : codes) devices.apply(planner.plan(key(code, false, 0)));
      for (const auto type : {leftUp, rightUp, otherUp}) devices.apply(planner.plan(mouse(type, 0)));
    } else {
      devices.apply(planner.releaseAll());
    }
    EXPECT_FALSE(devices.isAnythingDown()) << "seed " << seed;
  }
}

TEST(InputPlanner, pressesSuperAtOnceForAPCKeyboard) {
  InputPlanner planner;
  constexpr auto super = eventFlags::command | eventFlags::asPressed;
  EXPECT_EQ(planner.plan(key(keyCode::command, true, super)), (Actions{keyDown(keyCode::command)}));
  EXPECT_EQ(planner.plan(key(letterC, true, super)), (Actions{keyDown(letterC)}));
  EXPECT_EQ(planner.plan(key(letterC, false, super)), (Actions{keyUp(letterC)}));
  EXPECT_EQ(planner.plan(key(keyCode::command, false, eventFlags::asPressed)),
            (Actions{keyUp(keyCode::command)}));
}

TEST(InputPlanner, translatesNoShortcutOfAPCKeyboard) {
  InputPlanner planner;
  constexpr auto alt = eventFlags::option | eventFlags::asPressed;
  EXPECT_EQ(planner.plan(key(keyCode::leftArrow, true, alt)),
            (Actions{keyDown(keyCode::option), keyDown(keyCode::leftArrow)}));
  EXPECT_EQ(planner.plan(key(keyCode::leftArrow, false, eventFlags::asPressed)),
            (Actions{keyUp(keyCode::leftArrow), keyUp(keyCode::option)}));
  constexpr auto super = eventFlags::command | eventFlags::asPressed;
  EXPECT_EQ(planner.plan(mouse(leftDown, super)), (Actions{at(10, 20), keyDown(keyCode::command), press(1)}));
  EXPECT_EQ(planner.plan(mouse(leftUp, super)), (Actions{at(10, 20), release(1), keyUp(keyCode::command)}));
  EXPECT_FALSE(InputPlanner::dependsOnProgram(key(letterC, true, super)));
}

TEST(InputPlanner, releasesSuperOfAPCKeyboardForAClientThatLeft) {
  InputPlanner planner;
  planner.plan(key(keyCode::command, true, eventFlags::command | eventFlags::asPressed));
  EXPECT_EQ(planner.plan(key(keyCode::command, false)), (Actions{keyUp(keyCode::command)}));
}

TEST(ScrollAccumulator, keepsTheRemainderUntilTheDirectionChanges) {
  ScrollAccumulator accumulator(30);
  EXPECT_EQ(accumulator.add(29), 0);
  EXPECT_EQ(accumulator.add(2), 1);
  EXPECT_EQ(accumulator.add(29), 1);
  EXPECT_EQ(accumulator.add(29), 0);
  EXPECT_EQ(accumulator.add(-29), 0);
  EXPECT_EQ(accumulator.add(-1), -1);
  EXPECT_EQ(accumulator.add(90), 3);
}

TEST(ScrollAccumulator, ignoresDistancesThatAreNotNumbers) {
  ScrollAccumulator accumulator(30);
  EXPECT_EQ(accumulator.add(std::nan("")), 0);
  EXPECT_EQ(accumulator.add(std::numeric_limits<double>::infinity()), 0);
  EXPECT_EQ(accumulator.add(30), 1);
}

TEST(TextKeysyms, namesCharactersAndTheKeysOfControlCharacters) {
  // Keysyms: X11 protocol, appendix A; Unicode ones are 0x1000000 and the code point.
  EXPECT_EQ(keysymsOf(u"a\u00E9\u4E16\U0001F600"),
            (std::vector<std::uint32_t>{0x61, 0xE9, 0x1004E16, 0x101F600}));
  EXPECT_EQ(keysymsOf(u"\r\n\t\n\b"), (std::vector<std::uint32_t>{0xFF0D, 0xFF09, 0xFF0D, 0xFF08}));
  EXPECT_EQ(keysymsOf(u"\x01\x85"), (std::vector<std::uint32_t>{}));
}

TEST(TextKeysyms, bindsCharactersByTheirCodePoints) {
  EXPECT_EQ(unicodeKeysymOf(0x0BC2), 0x10022A4U);  // "downtack"
  EXPECT_EQ(unicodeKeysymOf(0xE9), 0xE9U);
  EXPECT_EQ(unicodeKeysymOf(0xFF0D), 0xFF0DU);
}

TEST(TextKeysyms, replacesUnpairedSurrogates) {
  const std::u16string broken{0xD83D, u'a', 0xDE00};
  EXPECT_EQ(keysymsOf(broken), (std::vector<std::uint32_t>{0x100FFFD, 0x61, 0x100FFFD}));
}

using namespace std::chrono_literals;

class SpareKeysTest : public testing::Test {
 protected:
  using Symbols = std::vector<std::uint32_t>;

  std::map<std::uint8_t, KeySymbols> bind(const Symbols& symbols) { return spares.bind(symbols); }
  /// As many symbols as there are places, all different.
  Symbols all() const {
    Symbols symbols(spares.capacity());
    std::iota(symbols.begin(), symbols.end(), 11U);
    return symbols;
  }

  SpareKeys spares;
  const SpareKeys::Time start{1h};
};

TEST_F(SpareKeysTest, putsEightSymbolsOnEachKeyInOneChange) {
  spares.setKeycodes(std::vector<std::uint8_t>{93, 97});
  EXPECT_EQ(spares.capacity(), 16U);
  EXPECT_EQ(bind({11, 12, 13, 14, 15}),
            (std::map<std::uint8_t, KeySymbols>{{93, {11, 13, 15}}, {97, {12, 14}}}));
  EXPECT_EQ(spares.strokeFor(13), (KeyStroke{93, true, 0}));
  EXPECT_EQ(spares.strokeFor(15), (KeyStroke{93, false, 1}));
  EXPECT_TRUE(bind({11, 13}).empty());
  EXPECT_EQ(bind(all()).at(97), (KeySymbols{12, 14, 16, 18, 20, 22, 24, 26}));
}

TEST_F(SpareKeysTest, reusesTheLeastRecentPlacesAndNotTooSoon) {
  spares.setKeycodes(std::vector<std::uint8_t>{93});
  EXPECT_EQ(spares.whenFree(8), SpareKeys::Time{});
  bind(all());
  for (const std::uint32_t symbol : all()) spares.pressed(symbol, start + symbol * 1ms);
  spares.pressed(11, start + 1s);
  EXPECT_EQ(spares.whenFree(1), start + 12ms + SpareKeys::lookUpTime);
  EXPECT_EQ(spares.whenFree(2), start + 13ms + SpareKeys::lookUpTime);
  EXPECT_EQ(spares.whenFree(8), start + 1s + SpareKeys::lookUpTime);
  EXPECT_EQ(bind({30}), (std::map<std::uint8_t, KeySymbols>{{93, {11, 30, 13, 14, 15, 16, 17, 18}}}));
  EXPECT_FALSE(spares.strokeFor(12).has_value());
}

TEST_F(SpareKeysTest, keepsASymbolThatTheSameTextNeeds) {
  spares.setKeycodes(std::vector<std::uint8_t>{93});
  bind(all());
  bind({18, 30, 31, 32, 33, 34, 35, 36});
  EXPECT_EQ(spares.strokeFor(18), (KeyStroke{93, true, 3}));
  EXPECT_EQ(spares.strokeFor(30), (KeyStroke{93, false, 0}));
  EXPECT_EQ(spares.blank(), (std::map<std::uint8_t, KeySymbols>{{93, {}}}));
}

}  // namespace
}  // namespace quorl
