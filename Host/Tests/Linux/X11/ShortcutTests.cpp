// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/Shortcuts.h>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Input/InputPlanner.h>
#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {
namespace {

using namespace eventFlags;
using enum FocusedProgram;
using Kind = InputAction::Kind;
using Actions = std::vector<InputAction>;

constexpr std::uint16_t letterC = 0x08;
constexpr std::uint16_t letterZ = 0x06;

InputAction down(std::uint16_t code) {
  return {.kind = Kind::key, .down = true, .code = code};
}
InputAction up(std::uint16_t code) {
  return {.kind = Kind::key, .down = false, .code = code};
}
KeyboardEvent key(std::uint16_t code, bool isDown, std::uint64_t flags = 0) {
  return {.keyCode = code, .down = isDown, .flags = flags};
}

TEST(Shortcuts, commandMeansControlAndInATerminalControlWithShift) {
  EXPECT_EQ(shortcutFor(letterC, command, ordinary), (Shortcut{letterC, control}));
  EXPECT_EQ(shortcutFor(letterZ, command | shift, ordinary), (Shortcut{letterZ, control | shift}));
  EXPECT_EQ(shortcutFor(letterC, command | option, ordinary), (Shortcut{letterC, control | option}));
  EXPECT_EQ(shortcutFor(letterC, command, terminal), (Shortcut{letterC, control | shift}));
  EXPECT_EQ(shortcutFor(letterC, command | capsLock, terminal),
            (Shortcut{letterC, control | shift | capsLock}));
}

TEST(Shortcuts, controlAndOptionStayWhatTheyAre) {
  for (const auto program : {ordinary, terminal, plainTerminal})
    for (const auto flags : {std::uint64_t{0}, control, option, shift, control | option | shift, function})
      EXPECT_EQ(shortcutFor(letterC, flags, program), (Shortcut{letterC, flags}));
}

TEST(Shortcuts, noCommandReachesAPlainTerminalAsAControlCharacter) {
  for (std::uint16_t code = 0; code < 0x80; ++code) {
    for (const auto more : {std::uint64_t{0}, shift, option, control}) {
      const auto shortcut = shortcutFor(code, command | more, plainTerminal);
      if (!shortcut || shortcut->keyCode != code) continue;
      EXPECT_EQ(shortcut->flags & control, 0U) << code;
    }
  }
  EXPECT_EQ(shortcutFor(letterC, command, plainTerminal), std::nullopt);
  EXPECT_EQ(shortcutFor(keyCode::letterV, command, plainTerminal), (Shortcut{keyCode::insert, shift}));
}

TEST(Shortcuts, noCommandReachesATerminalAsControlWithoutShift) {
  for (std::uint16_t code = 0; code < 0x80; ++code) {
    const auto shortcut = shortcutFor(code, command, terminal);
    ASSERT_TRUE(shortcut);
    EXPECT_NE(shortcut->flags & (control | shift), control) << code;
  }
}

TEST(Shortcuts, editingKeysGoToTheEndsAndByWords) {
  struct {
    std::uint16_t code;
    std::uint64_t flags;
    Shortcut means;
  } const table[]{
      {keyCode::leftArrow, command, {keyCode::home, 0}},
      {keyCode::rightArrow, command, {keyCode::end, 0}},
      {keyCode::leftArrow, command | shift, {keyCode::home, shift}},
      {keyCode::upArrow, command, {keyCode::home, control}},
      {keyCode::downArrow, command | shift, {keyCode::end, control | shift}},
      {keyCode::leftArrow, option, {keyCode::leftArrow, control}},
      {keyCode::rightArrow, option | shift, {keyCode::rightArrow, control | shift}},
      {keyCode::backspace, option, {keyCode::backspace, control}},
      {keyCode::forwardDelete, option, {keyCode::forwardDelete, control}},
      {keyCode::tab, command, {keyCode::tab, option}},
      {keyCode::tab, command | shift, {keyCode::tab, option | shift}},
      // More modifiers are other shortcuts.
      {keyCode::leftArrow, command | option, {keyCode::leftArrow, control | option}},
      {keyCode::leftArrow, option | control, {keyCode::leftArrow, option | control}},
  };
  for (const auto& row : table)
    EXPECT_EQ(shortcutFor(row.code, row.flags, ordinary), row.means) << row.code << " " << row.flags;
  EXPECT_EQ(shortcutFor(keyCode::leftArrow, command, terminal), (Shortcut{keyCode::home, 0}));
  EXPECT_EQ(shortcutFor(keyCode::leftArrow, option, plainTerminal), (Shortcut{keyCode::leftArrow, control}));
  EXPECT_EQ(shortcutFor(keyCode::upArrow, command, terminal), (Shortcut{keyCode::upArrow, control | shift}));
  EXPECT_EQ(shortcutFor(keyCode::backspace, option, terminal), (Shortcut{keyCode::backspace, option}));
}

TEST(Shortcuts, terminalsAreKnownByTheirClassInAnyCase) {
  EXPECT_EQ(terminalOfClass("XTerm"), plainTerminal);
  EXPECT_EQ(terminalOfClass("URxvt"), plainTerminal);
  EXPECT_EQ(terminalOfClass("Gnome-terminal"), terminal);
  EXPECT_EQ(terminalOfClass("konsole"), terminal);
  EXPECT_EQ(terminalOfClass("Xfce4-terminal"), terminal);
  EXPECT_EQ(terminalOfClass("org.wezfurlong.wezterm"), terminal);
  EXPECT_EQ(terminalOfClass("Firefox"), std::nullopt);
  EXPECT_EQ(terminalOfClass(""), std::nullopt);
}

TEST(Shortcuts, aCommandKeyThatIsTappedAloneTapsSuper) {
  for (const auto code : {keyCode::command, keyCode::rightCommand}) {
    InputPlanner planner;
    EXPECT_EQ(planner.plan(key(code, true, command)), Actions{});
    EXPECT_EQ(planner.plan(MouseEvent{.type = MouseEventType::moved, .flags = command}).size(), 1U);
    EXPECT_EQ(planner.plan(key(code, false, 0)), (Actions{down(code), up(code)}));
  }
}

TEST(Shortcuts, controlStaysDownWhileTheCommandKeyIsHeldAndSuperIsNotTapped) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(keyCode::command, true, command)), Actions{});
  EXPECT_EQ(planner.plan(key(letterC, true, command)), (Actions{down(keyCode::control), down(letterC)}));
  EXPECT_EQ(planner.plan(key(letterC, false, command)), (Actions{up(letterC)}));
  EXPECT_EQ(planner.plan(key(keyCode::letterV, true, command)), (Actions{down(keyCode::letterV)}));
  EXPECT_EQ(planner.plan(key(keyCode::letterV, false, command)), (Actions{up(keyCode::letterV)}));
  EXPECT_EQ(planner.plan(key(keyCode::command, false, 0)), (Actions{up(keyCode::control)}));
}

TEST(Shortcuts, theSwitcherOfWindowsStaysOpenUntilTheCommandKeyIsUp) {
  InputPlanner planner;
  planner.plan(key(keyCode::command, true, command));
  EXPECT_EQ(planner.plan(key(keyCode::tab, true, command)),
            (Actions{down(keyCode::option), down(keyCode::tab)}));
  EXPECT_EQ(planner.plan(key(keyCode::tab, false, command)), (Actions{up(keyCode::tab)}));
  EXPECT_EQ(planner.plan(key(keyCode::tab, true, command)), (Actions{down(keyCode::tab)}));
  EXPECT_EQ(planner.plan(key(keyCode::tab, false, command)), (Actions{up(keyCode::tab)}));
  EXPECT_EQ(planner.plan(key(keyCode::command, false, 0)), (Actions{up(keyCode::option)}));
}

TEST(Shortcuts, anotherShortcutUnderTheSameCommandKeyChangesTheModifier) {
  InputPlanner planner;
  planner.plan(key(keyCode::command, true, command));
  planner.plan(key(letterC, true, command));
  planner.plan(key(letterC, false, command));
  EXPECT_EQ(planner.plan(key(keyCode::leftArrow, true, command)),
            (Actions{up(keyCode::control), down(keyCode::home)}));
  EXPECT_EQ(planner.plan(key(keyCode::leftArrow, false, command)), (Actions{up(keyCode::home)}));
  EXPECT_EQ(planner.plan(key(keyCode::command, false, 0)), Actions{});
}

TEST(Shortcuts, aClickWithCommandIsAClickWithControl) {
  InputPlanner planner;
  planner.plan(key(keyCode::command, true, command));
  const auto pressed = planner.plan(MouseEvent{.type = MouseEventType::leftDown, .flags = command});
  ASSERT_EQ(pressed.size(), 3U);
  EXPECT_EQ(pressed[1], down(keyCode::control));
  EXPECT_EQ(planner.plan(MouseEvent{.type = MouseEventType::leftDragged, .flags = command}).size(), 1U);
  EXPECT_EQ(planner.plan(MouseEvent{.type = MouseEventType::leftUp, .flags = command}).size(), 2U);
  EXPECT_EQ(planner.plan(key(keyCode::command, false, 0)), (Actions{up(keyCode::control)}));
}

TEST(Shortcuts, anOptionKeyGivesWayToControlForWordsWithoutOpeningAMenu) {
  InputPlanner planner;
  EXPECT_EQ(planner.plan(key(keyCode::option, true, option)), (Actions{down(keyCode::option)}));
  // A menu bar opens when Alt is released with no other key between.
  EXPECT_EQ(planner.plan(key(keyCode::leftArrow, true, option)),
            (Actions{down(keyCode::control), up(keyCode::option), down(keyCode::leftArrow)}));
  EXPECT_EQ(planner.plan(key(keyCode::leftArrow, false, option)),
            (Actions{up(keyCode::leftArrow), up(keyCode::control)}));
  EXPECT_EQ(planner.plan(key(keyCode::option, false, 0)), Actions{});
}

TEST(Shortcuts, aPlainTerminalGetsNoKeyForACommandItDoesNotKnow) {
  InputPlanner planner;
  planner.plan(key(keyCode::command, true, command));
  EXPECT_EQ(planner.plan(key(letterC, true, command), plainTerminal), Actions{});
  EXPECT_EQ(planner.plan(key(letterC, false, command), plainTerminal), Actions{});
  EXPECT_EQ(planner.plan(key(keyCode::letterV, true, command), plainTerminal),
            (Actions{down(keyCode::shift), down(keyCode::insert)}));
  EXPECT_EQ(planner.plan(key(keyCode::letterV, false, command)), (Actions{up(keyCode::insert)}));
  EXPECT_EQ(planner.plan(key(keyCode::command, false, 0)), (Actions{up(keyCode::shift)}));
}

TEST(Shortcuts, aCommandKeyWhoseReleaseWasLostLeavesNothingDown) {
  InputPlanner planner;
  planner.plan(key(keyCode::command, true, command));
  planner.plan(key(letterC, true, command));
  planner.plan(key(letterC, false, command));
  EXPECT_EQ(planner.plan(MouseEvent{.type = MouseEventType::moved}).size(), 2U) << "motion, and Control up";
  EXPECT_EQ(planner.plan(key(keyCode::command, false, 0)), Actions{}) << "no tap either";
  EXPECT_TRUE(planner.releaseAll().empty());
}

TEST(Shortcuts, theProgramIsAskedForOnlyWhenItMatters) {
  EXPECT_TRUE(InputPlanner::dependsOnProgram(key(letterC, true, command)));
  EXPECT_TRUE(InputPlanner::dependsOnProgram(key(keyCode::leftArrow, true, option)));
  EXPECT_FALSE(InputPlanner::dependsOnProgram(key(letterC, true, control | shift)));
  EXPECT_FALSE(InputPlanner::dependsOnProgram(key(letterC, false, command)));
  EXPECT_FALSE(InputPlanner::dependsOnProgram(key(keyCode::command, true, command)));
}

}  // namespace
}  // namespace quorl
