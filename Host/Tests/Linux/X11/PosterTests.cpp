// SPDX-License-Identifier: GPL-3.0-or-later
#include <map>
#include <random>

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <QuorlHostLinux/X11/Connection/X11Permissions.h>
#include <QuorlHostLinux/X11/Connection/XkbRequests.h>
#include <QuorlHostLinux/X11/Input/XTestPoster.h>
#include <QuorlKit/Protocol/KeyCodes.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "AmericanKeysyms.h"
#include "KeyListener.h"
#include "TestClient.h"
#include "TypedTexts.h"

namespace quorl::test {
namespace {

using Kind = KeyListener::Input::Kind;

constexpr unsigned shiftMask = 0x01;
constexpr unsigned lockMask = 0x02;
constexpr unsigned controlMask = 0x04;
constexpr std::uint16_t letterA = 0x00;

class Poster : public testing::Test {
 protected:
  void key(std::uint16_t code, bool down, std::uint64_t flags = 0) {
    poster->post(KeyboardEvent{.keyCode = code, .down = down, .flags = flags});
  }
  void mouse(MouseEventType type, double x, double y, std::uint64_t flags = 0) {
    poster->post(MouseEvent{.type = type, .location = {x, y}, .flags = flags});
  }
  /// A key that ends what a test waits for.
  bool listenToMarker() {
    constexpr std::uint16_t escape = keyCode::escape;
    key(escape, true);
    key(escape, false);
    return listener.listenUntil([](const auto& all) {
      return !all.empty() && all.back().kind == Kind::keyUp && all.back().keysym == XKB_KEY_Escape;
    });
  }

  XServer server{{.width = 640, .height = 480}};
  TestClient client{server.display()};
  KeyListener listener{server.display()};
  std::unique_ptr<XTestPoster> poster =
      std::make_unique<XTestPoster>([name = server.display()] { return name; });
};

TEST_F(Poster, sendsEachOfTheHundredAndTwentyKeysWithItsSymbol) {
  ASSERT_EQ(americanKeysyms().size(), 120U);
  for (const auto& [code, keysym] : americanKeysyms()) {
    const bool isCommand = code == keyCode::command || code == keyCode::rightCommand;
    key(code, true);
    // Alone it is pressed by its release.
    if (isCommand) key(code, false);
    // If the layout has no key for the underscore alone, the character needs Shift.
    const auto seen = listener.nextKeyDown(code == 0x5E ? XKB_KEY_Shift_L : 0);
    if (!isCommand) key(code, false);
    ASSERT_TRUE(seen) << std::hex << code;
    EXPECT_EQ(seen->keysym, keysym) << std::hex << code;
    if (code == keyCode::capsLock || code == 0x47) {
      key(code, true);
      key(code, false);
      ASSERT_TRUE(listener.nextKeyDown());
    }
  }
  EXPECT_TRUE(listenToMarker());
  EXPECT_FALSE(listener.isAnythingDown());
  EXPECT_EQ(listener.lockedModifiers(), 0U);
}

TEST_F(Poster, sendsButtonsAndWheelStepsAtTheirPositions) {
  mouse(MouseEventType::leftDown, 100, 50);
  mouse(MouseEventType::leftUp, 100, 50);
  mouse(MouseEventType::rightDown, 100, 50);
  mouse(MouseEventType::rightUp, 100, 50);
  mouse(MouseEventType::otherDown, 100, 50);
  mouse(MouseEventType::otherUp, 100, 50);
  poster->post(ScrollEvent{.unit = ScrollUnit::line, .wheel1 = 1, .wheel2 = -1, .location = {120, 60}});
  ASSERT_TRUE(listenToMarker());
  std::vector<unsigned> pressed;
  for (const auto& input : listener.inputs) {
    if (input.kind == Kind::buttonDown) pressed.push_back(input.detail);
  }
  EXPECT_EQ(pressed, (std::vector<unsigned>{1, 3, 2, 4, 7}));
  EXPECT_FALSE(listener.isAnythingDown());
}

TEST_F(Poster, countsPositionsFromTheCornerOfTheMainDisplay) {
  const auto isAt = [&](int x, int y) {
    return eventually([&] { return client.pointer() == std::pair(x, y); });
  };
  mouse(MouseEventType::moved, 30, 40);
  EXPECT_TRUE(isAt(30, 40));
  client.setMonitor("LEFT", {0, 0, 320, 480});
  client.setMonitor("RIGHT", {320, 0, 320, 480}, true);
  mouse(MouseEventType::moved, 30, 40);
  EXPECT_TRUE(isAt(350, 40));
  mouse(MouseEventType::moved, -300, 40);
  EXPECT_TRUE(isAt(20, 40));
}

TEST_F(Poster, holdsTheFlagsOfAKeyAroundIt) {
  key(letterA, true, eventFlags::shift | eventFlags::command);
  key(letterA, false, eventFlags::shift | eventFlags::command);
  ASSERT_TRUE(listenToMarker());
  const auto letter = std::ranges::find_if(
      listener.inputs, [](const auto& input) { return input.isKeyDown() && input.keysym == 'A'; });
  ASSERT_NE(letter, listener.inputs.end());
  EXPECT_EQ(letter->modifiers, shiftMask | controlMask);
  EXPECT_FALSE(listener.isAnythingDown());
}

TEST_F(Poster, tapsSuperForACommandKeyThatIsUsedAlone) {
  key(keyCode::command, true, eventFlags::command);
  key(keyCode::command, false, 0);
  key(keyCode::command, true, eventFlags::command);
  key(letterA, true, eventFlags::command);
  key(letterA, false, eventFlags::command);
  key(keyCode::command, false, 0);
  ASSERT_TRUE(listenToMarker());
  std::vector<std::pair<std::uint32_t, unsigned>> downs;
  for (const auto& input : listener.inputs)
    if (input.isKeyDown()) downs.emplace_back(input.keysym, input.modifiers);
  EXPECT_EQ(
      downs,
      (std::vector<std::pair<std::uint32_t, unsigned>>{
          {XKB_KEY_Super_L, 0}, {XKB_KEY_Control_L, 0}, {XKB_KEY_a, controlMask}, {XKB_KEY_Escape, 0}}));
  EXPECT_FALSE(listener.isAnythingDown());
}

TEST_F(Poster, zoomsWithControlAndTheWheel) {
  poster->post(ScrollEvent{.unit = ScrollUnit::pixel,
                           .wheel1 = 30,
                           .location = {50, 50},
                           .flags = eventFlags::command,
                           .isContinuous = true});
  ASSERT_TRUE(listenToMarker());
  const auto wheel =
      std::ranges::find_if(listener.inputs, [](const auto& input) { return input.kind == Kind::buttonDown; });
  ASSERT_NE(wheel, listener.inputs.end());
  EXPECT_EQ(wheel->detail, 4U);
  EXPECT_EQ(wheel->modifiers, controlMask);
  EXPECT_FALSE(listener.isAnythingDown());
}

TEST_F(Poster, typesAHeldKeyOnceWhileOtherKeysKeepRepeating) {
  server.run({"xset", "r", "rate", "60", "100"});
  const std::string before = server.run({"xset", "q"});
  server.run({"xdotool", "keydown", "b"});
  const auto countOf = [](const auto& all, std::uint32_t keysym) {
    return std::ranges::count_if(
        all, [keysym](const auto& input) { return input.isKeyDown() && input.keysym == keysym; });
  };
  ASSERT_TRUE(listener.listenUntil([&](const auto& all) { return countOf(all, 'b') >= 3; }));
  key(letterA, true);
  ASSERT_TRUE(listener.listenUntil([&](const auto& all) { return countOf(all, 'a') >= 1; }));
  listener.inputs.clear();
  ASSERT_TRUE(listener.listenUntil(
      [&](const auto& all) { return countOf(all, 'b') >= 20 || countOf(all, 'a') > 0; }));
  EXPECT_EQ(countOf(listener.inputs, 'a'), 0);
  EXPECT_EQ(server.run({"xset", "q"}), before);
  server.run({"xdotool", "keyup", "b"});
}

TEST_F(Poster, pressesAHeldKeyAsOftenAsTheClientSendsIt) {
  for (int i = 0; i < 5; ++i) key(letterA, true);
  ASSERT_TRUE(listenToMarker());
  EXPECT_EQ(std::ranges::count_if(listener.inputs,
                                  [](const auto& input) { return input.isKeyDown() && input.keysym == 'a'; }),
            5);
  key(letterA, false);
  EXPECT_TRUE(eventually([&] { return !listener.isAnythingDown(); }));
}

TEST_F(Poster, releasesEverythingAtItsEnd) {
  mouse(MouseEventType::leftDown, 100, 50, eventFlags::option);
  key(keyCode::rightShift, true, eventFlags::shift | eventFlags::option);
  key(letterA, true, eventFlags::shift | eventFlags::option | eventFlags::capsLock);
  ASSERT_TRUE(listener.listenUntil([](const auto& all) {
    return std::ranges::any_of(all,
                               [](const auto& input) { return input.isKeyDown() && input.keysym == 'a'; });
  })) << "Caps Lock and Shift cancel each other";
  EXPECT_TRUE(listener.isAnythingDown());
  poster.reset();
  EXPECT_TRUE(eventually([&] { return !listener.isAnythingDown() && listener.lockedModifiers() == 0; }));
}

TEST_F(Poster, leavesTheCapsLockOfThePersonAtTheComputerAlone) {
  key(keyCode::capsLock, true);
  key(keyCode::capsLock, false);
  key(letterA, true, eventFlags::capsLock);
  key(letterA, false, eventFlags::capsLock);
  key(letterA, true, 0);
  key(letterA, false, 0);
  ASSERT_TRUE(listenToMarker());
  EXPECT_EQ(listener.lockedModifiers(), lockMask);
}

TEST_F(Poster, typesCharactersThatTheKeyboardHasAndThoseItLacks) {
  type(*poster, u"aB~\u00E9 \u20AC\u4E16\U0001F600a\n");
  ASSERT_TRUE(listenToMarker());
  std::vector<std::uint32_t> typed;
  for (const auto& input : listener.inputs) {
    if (input.isKeyDown() && input.keysym != XKB_KEY_Shift_L) typed.push_back(input.keysym);
  }
  EXPECT_EQ(typed, (std::vector<std::uint32_t>{'a', 'B', '~', 0xE9, ' ', 0x10020AC, 0x1004E16, 0x101F600, 'a',
                                               XKB_KEY_Return, XKB_KEY_Escape}));
}

TEST_F(Poster, typesWithoutCapsLockAndHeldModifiersAndRestoresThem) {
  key(keyCode::capsLock, true);
  key(keyCode::capsLock, false);
  key(keyCode::shift, true, eventFlags::shift);
  type(*poster, u"ab\u00E9\u0416");
  ASSERT_TRUE(listener.listenUntil([](const auto& all) {
    return std::ranges::count_if(all, [](const auto& input) {
             return input.isKeyDown() && input.keysym != XKB_KEY_Shift_L && input.keysym != XKB_KEY_Caps_Lock;
           }) == 4;
  }));
  std::vector<std::uint32_t> typed;
  for (const auto& input : listener.inputs) {
    if (!input.isKeyDown() || input.keysym == XKB_KEY_Shift_L || input.keysym == XKB_KEY_Caps_Lock) continue;
    typed.push_back(input.keysym);
    EXPECT_EQ(input.modifiers & lockMask, 0U);
  }
  EXPECT_EQ(typed, (std::vector<std::uint32_t>{'a', 'b', 0xE9, 0x1000416}));
  EXPECT_TRUE(eventually([&] { return listener.lockedModifiers() == (lockMask | shiftMask); }));
  key(keyCode::shift, false, 0);
  ASSERT_TRUE(listenToMarker());
  EXPECT_FALSE(listener.isAnythingDown());
}

TEST_F(Poster, leavesTheKeyboardMapAsItWas) {
  const std::string before = server.run({"xmodmap", "-pke"});
  ASSERT_FALSE(before.empty());
  type(*poster, u"\u4E16\u754C\u0416");
  ASSERT_TRUE(listenToMarker());
  EXPECT_NE(server.run({"xmodmap", "-pke"}), before);
  poster.reset();
  EXPECT_EQ(server.run({"xmodmap", "-pke"}), before);
}

TEST_F(Poster, findsItsSpareKeysAgainAfterOneThatWasKilled) {
  const std::string before = server.run({"xmodmap", "-pke"});
  // The remains of a killed host: symbols on a spare keycode, and the list of its keycodes.
  server.run({"xmodmap", "-e", "keycode 93 = U4E16 U754C"});
  server.run({"xprop", "-root", "-f", "_QUORL_SPARE_KEYCODES", "8c", "-set", "_QUORL_SPARE_KEYCODES", "93"});
  std::u16string all;
  for (char16_t c = 0x4E00; c < 0x4E00 + 64; ++c) all.push_back(c);
  type(*poster, all);
  ASSERT_TRUE(listenToMarker());
  poster.reset();
  EXPECT_EQ(server.run({"xmodmap", "-pke"}), before);
}

TEST_F(Poster, followsAChangeOfTheLayout) {
  type(*poster, u"z");
  const auto american = listener.nextKeyDown();
  ASSERT_TRUE(american);
  EXPECT_EQ(american->keysym, std::uint32_t{'z'});
  listener.inputs.clear();
  server.run({"setxkbmap", "de"});
  type(*poster, u"z\u00FC");
  ASSERT_TRUE(listenToMarker());
  std::vector<std::uint32_t> typed;
  for (const auto& input : listener.inputs) {
    if (input.isKeyDown()) typed.push_back(input.keysym);
  }
  EXPECT_EQ(typed, (std::vector<std::uint32_t>{'z', 0xFC, XKB_KEY_Escape}));
}

TEST_F(Poster, typesInTheSecondLayoutAndLeavesItInEffect) {
  server.run({"setxkbmap", "us,ru"});
  ASSERT_TRUE(useXkb(client.xcb()).present);
  lockXkbGroup(client.xcb(), 1);
  client.sync();
  std::u16string text = u"\u0436x";
  std::vector<std::uint32_t> expected{XKB_KEY_Cyrillic_zhe, 'x'};
  // More than two groups of the spare keycodes can hold.
  for (char16_t c = 0x4E00; c < 0x4E00 + 90; ++c) {
    text.push_back(c);
    expected.push_back(0x1000000U + c);
  }
  expected.push_back(XKB_KEY_Escape);
  type(*poster, text);
  ASSERT_TRUE(listenToMarker());
  std::vector<std::uint32_t> typed;
  for (const auto& input : listener.inputs) {
    if (input.isKeyDown() && input.keysym != XKB_KEY_Shift_L) typed.push_back(input.keysym);
  }
  EXPECT_EQ(typed, expected);
  EXPECT_EQ(listener.group(), 1U);
}

TEST_F(Poster, dropsEventsWhenTheServerHasGoneAndTheProcessLives) {
  key(letterA, true);
  server.kill();
  for (int i = 0; i < 3; ++i) {
    key(letterA, false);
    mouse(MouseEventType::moved, 1, 1);
    type(*poster, u"\u4E16");
  }
  poster.reset();
  X11Permissions permissions([name = server.display()] { return name; });
  EXPECT_FALSE(permissions.mayPostInput());
  EXPECT_FALSE(permissions.mayCaptureScreen());
}

TEST(PosterAppearance, findsADisplayThatAppearsAfterTheStart) {
  auto name = std::make_shared<std::optional<std::string>>();
  XTestPoster poster([name] { return *name; });
  poster.post(KeyboardEvent{.keyCode = letterA, .down = true});
  const XServer server{{.width = 320, .height = 240}};
  *name = server.display();
  KeyListener listener(server.display());
  poster.post(KeyboardEvent{.keyCode = letterA, .down = true});
  const auto seen = listener.nextKeyDown();
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->keysym, std::uint32_t{'a'});
}

}  // namespace
}  // namespace quorl::test
