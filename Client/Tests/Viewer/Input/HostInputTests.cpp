// SPDX-License-Identifier: GPL-3.0-or-later
// What the viewer decides, sent to the real host, and what a program on the host's display receives.
#include <algorithm>
#include <memory>

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>
#include <quorl-viewer/Keyboard/KeyboardMachine.h>
#include <quorl-viewer/Keyboard/SpecialKeys.h>

#include "KeyListener.h"

namespace quorl::viewer {
namespace {

constexpr std::uint16_t scanA = 30;
constexpr std::uint16_t scanL = 38;
constexpr std::uint16_t scanSuper = 125;
constexpr std::uint16_t scanShift = 42;

class HostInput : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host.listens()) << host.program().output();
    client = std::make_unique<test::RawClient>(port);
    ASSERT_TRUE(client->pair("314159"));
    send(machine.focusGained({}));
  }

  void send(const InputEvent& event) {
    client->peer().write(Frame{FrameType::input, event.encoded()}.encoded());
  }
  void send(const KeyboardActions& actions) {
    for (const auto& action : actions) {
      if (const auto* key = std::get_if<inputEvent::Key>(&action)) send(InputEvent(*key));
      if (const auto* typed = std::get_if<TypedText>(&action)) client->send(message::InsertText{typed->text});
    }
  }
  long countOf(std::uint32_t keysym) const {
    return std::ranges::count_if(
        listener.inputs, [keysym](const auto& input) { return input.isKeyDown() && input.keysym == keysym; });
  }
  bool hears(std::uint32_t keysym, long count = 1) {
    return listener.listenUntil([&](const auto&) { return countOf(keysym) >= count; });
  }

  KeyboardMachine machine;
  test::TemporaryFolder home;
  const std::uint16_t port = test::freePort();
  test::XServer server{{.width = 640, .height = 480}};
  test::KeyListener listener{server.display()};
  test::HostProcess host{{.port = port,
                          .home = home.path(),
                          .options = {"--pin", "314159"},
                          .environment = {"DISPLAY=" + server.display()}}};
  std::unique_ptr<test::RawClient> client;
};

TEST_F(HostInput, typesOneCharacterThoughTheReleaseStallsForHalfASecond) {
  send(machine.press({.scanCode = scanA, .text = "a"}));
  ASSERT_TRUE(hears(XKB_KEY_a));
  // Another key that repeats on the host's own display is the clock: 60 repeats at 100 a second.
  server.run({"xset", "r", "rate", "60", "100"});
  server.run({"xdotool", "keydown", "b"});
  ASSERT_TRUE(hears(XKB_KEY_b, 60));
  server.run({"xdotool", "keyup", "b"});
  EXPECT_EQ(countOf(XKB_KEY_a), 1);
  send(machine.release({.scanCode = scanA}));
  EXPECT_TRUE(test::eventually([&] { return !listener.isAnythingDown(); }));
  EXPECT_EQ(countOf(XKB_KEY_a), 1);
}

TEST_F(HostInput, bringsSuperAndALetterToTheHostAsTheyAre) {
  send(machine.press({.scanCode = scanSuper}));
  send(machine.press({.scanCode = scanL, .modifiers = WireModifiers::command}));
  ASSERT_TRUE(hears(XKB_KEY_l));
  EXPECT_EQ(countOf(XKB_KEY_Super_L), 1);
  EXPECT_EQ(countOf(XKB_KEY_Control_L), 0);
  send(machine.focusLost());
  EXPECT_TRUE(test::eventually([&] { return !listener.isAnythingDown(); }));
}

TEST_F(HostInput, typesComposedTextOnceThoughShiftIsHeld) {
  send(machine.setMode(KeyboardMode::text));
  send(machine.press({.scanCode = scanShift}));
  send(machine.commit("é漢"));
  send(machine.press({.scanCode = scanA, .text = "A", .modifiers = WireModifiers::shift}));
  ASSERT_TRUE(hears(XKB_KEY_A));
  EXPECT_EQ(countOf(XKB_KEY_eacute) + countOf(0x1000000 + 0xE9), 1);
  EXPECT_EQ(countOf(0x1000000 + 0x6F22), 1);
  EXPECT_EQ(countOf(XKB_KEY_A), 1);
}

TEST_F(HostInput, followsCapsLock) {
  constexpr unsigned lock = 0x02;
  send(machine.locksChanged({.capsLock = true}));
  EXPECT_TRUE(test::eventually([&] { return (listener.lockedModifiers() & lock) != 0; }));
  send(machine.focusLost());
  send(machine.focusGained({.capsLock = false}));
  EXPECT_TRUE(test::eventually([&] { return (listener.lockedModifiers() & lock) == 0; }));
  send(machine.locksChanged({.capsLock = true}));
  EXPECT_TRUE(test::eventually([&] { return (listener.lockedModifiers() & lock) != 0; }));
  client.reset();
  EXPECT_TRUE(test::eventually([&] { return (listener.lockedModifiers() & lock) == 0; }));
}

TEST_F(HostInput, pressesAKeyThatNoMacHas) {
  for (const auto& event : eventsOf(*findSpecialKey("Print"))) send(InputEvent(event));
  EXPECT_TRUE(hears(XKB_KEY_Print));
}

}  // namespace
}  // namespace quorl::viewer
