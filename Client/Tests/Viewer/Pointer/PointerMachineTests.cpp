// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-viewer/Pointer/PointerMachine.h>

namespace quorl::viewer {
namespace {

using namespace std::chrono_literals;
using ::testing::IsEmpty;

class PointerMachineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    machine.setStream(7);
    machine.setViewport(Viewport({.picture = {200, 100}, .view = {200, 200}}));  // a letterbox of 50
  }
  static inputEvent::Pointer pointer(const PointerMachine::Events& events, std::size_t index = 0) {
    EXPECT_LT(index, events.size());
    if (index >= events.size()) return {};
    const auto* event = std::get_if<inputEvent::Pointer>(&events[index].value);
    EXPECT_NE(event, nullptr);
    return event == nullptr ? inputEvent::Pointer{} : *event;
  }
  static inputEvent::Scroll scroll(const PointerMachine::Events& events) {
    EXPECT_EQ(events.size(), 1U);
    const auto* event = events.empty() ? nullptr : std::get_if<inputEvent::Scroll>(&events[0].value);
    EXPECT_NE(event, nullptr);
    return event == nullptr ? inputEvent::Scroll{} : *event;
  }
  PointerMachine::Events turn(int unitsX, int unitsY) {
    return machine.wheel({.position = {100, 100}, .unitsX = unitsX, .unitsY = unitsY}, {});
  }

  PointerMachine machine;
  PointerMachine::Time now{1h};
};

TEST_F(PointerMachineTest, hoversOverThePictureAndNotInTheLetterbox) {
  const auto event = pointer(machine.move({100, 100}, WireModifiers::shift));
  EXPECT_EQ(event, (inputEvent::Pointer{.streamID = 7,
                                        .phase = PointerPhase::hover,
                                        .x = 100.5F / 200,
                                        .y = 50.5F / 100,
                                        .modifiers = WireModifiers::shift}));
  EXPECT_THAT(machine.move({100, 100}, {}), IsEmpty());
  EXPECT_THAT(machine.move({100, 10}, {}), IsEmpty());
  EXPECT_THAT(machine.press(PointerButton::left, {100, 10}, {}, now), IsEmpty());
  EXPECT_THAT(machine.release(PointerButton::left, {100, 100}, {}), IsEmpty());
}

TEST_F(PointerMachineTest, followsAPictureThatMovesUnderThePointer) {
  EXPECT_THAT(machine.stay({}), IsEmpty()) << "no position is known yet";
  Viewport viewport({.picture = {400, 400}, .view = {200, 200}, .mode = ScaleMode::exact});
  machine.setViewport(viewport);
  const auto before = pointer(machine.move({100, 100}, {}));
  EXPECT_THAT(machine.stay({}), IsEmpty());
  ASSERT_TRUE(viewport.pan(-40, 0));
  machine.setViewport(viewport);
  const auto after = pointer(machine.stay({}));
  EXPECT_EQ(after.phase, PointerPhase::hover);
  EXPECT_FLOAT_EQ(after.x, before.x + 40.F / 400);
  EXPECT_FLOAT_EQ(after.y, before.y);
}

TEST_F(PointerMachineTest, continuesADragOutsideThePictureAtItsEdge) {
  machine.press(PointerButton::right, {100, 100}, {}, now);
  EXPECT_TRUE(machine.isDragging());
  const auto moved = pointer(machine.move({500, -40}, {}));
  EXPECT_EQ(moved.phase, PointerPhase::moved);
  EXPECT_EQ(moved.button, PointerButton::right);
  EXPECT_FLOAT_EQ(moved.x, 199.5F / 200);
  EXPECT_FLOAT_EQ(moved.y, 0.5F / 100);
  const auto released = pointer(machine.release(PointerButton::right, {500, 500}, {}));
  EXPECT_EQ(released.phase, PointerPhase::up);
  EXPECT_FLOAT_EQ(released.y, 99.5F / 100);
  EXPECT_FALSE(machine.isDragging());
}

TEST_F(PointerMachineTest, countsClicksThatAreCloseInTimeAndPlace) {
  const auto click = [&](PointXY at, PointerButton button = PointerButton::left) {
    const auto down = pointer(machine.press(button, at, {}, now));
    const auto up = pointer(machine.release(button, at, {}));
    EXPECT_EQ(down.clickCount, up.clickCount);
    return int{down.clickCount};
  };
  EXPECT_EQ(click({100, 100}), 1);
  now += 400ms;
  EXPECT_EQ(click({102, 101}), 2);
  now += 100ms;
  EXPECT_EQ(click({102, 101}), 3);
  EXPECT_EQ(click({120, 101}), 1);
  EXPECT_EQ(click({120, 101}, PointerButton::right), 1);
  now += 401ms;
  EXPECT_EQ(click({120, 101}, PointerButton::right), 1);
}

TEST_F(PointerMachineTest, releasesHeldButtonsWhereThePointerIs) {
  machine.press(PointerButton::left, {100, 100}, {}, now);
  machine.press(PointerButton::middle, {100, 100}, {}, now);
  machine.move({150, 100}, {});
  const auto events = machine.releaseAll({});
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(pointer(events, 0).button, PointerButton::left);
  EXPECT_EQ(pointer(events, 1).button, PointerButton::middle);
  EXPECT_EQ(pointer(events, 1).phase, PointerPhase::up);
  EXPECT_FLOAT_EQ(pointer(events, 1).x, 150.5F / 200);
  EXPECT_THAT(machine.releaseAll({}), IsEmpty());
  EXPECT_THAT(machine.release(PointerButton::left, {100, 100}, {}), IsEmpty());
}

TEST_F(PointerMachineTest, holdsNoButtonInAnotherStream) {
  machine.press(PointerButton::left, {100, 100}, {}, now);
  machine.setStream(8);
  EXPECT_THAT(machine.releaseAll({}), IsEmpty());
  EXPECT_EQ(pointer(machine.move({100, 100}, {})).streamID, 8U);
}

TEST_F(PointerMachineTest, makesOneNotchOf120UnitsForEachAxis) {
  const auto down = scroll(turn(0, -120));
  EXPECT_EQ(down.deltaY, -1);
  EXPECT_EQ(down.deltaX, 0);
  EXPECT_FALSE(down.precise);
  EXPECT_EQ(scroll(turn(240, 0)).deltaX, 2);
  EXPECT_THAT(turn(0, 40), IsEmpty());
  EXPECT_THAT(turn(119, 40), IsEmpty());
  const auto last = scroll(turn(0, 40));
  EXPECT_EQ(last.deltaY, 1);
  EXPECT_EQ(last.deltaX, 0);
  EXPECT_EQ(scroll(turn(1, 0)).deltaX, 1);
}

TEST_F(PointerMachineTest, losesNoUnitsHoweverTheyAreDividedAndLeaksNoneSideways) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    machine.setStream(1);
    const int signX = random() % 2 == 0 ? 1 : -1;
    const int signY = random() % 2 == 0 ? 1 : -1;
    long unitsX = 0;
    long unitsY = 0;
    double notchesX = 0;
    double notchesY = 0;
    for (int step = 0; step < 100; ++step) {
      const int x = signX * static_cast<int>(random() % 300);
      const int y = signY * static_cast<int>(random() % 50);
      unitsX += x;
      unitsY += y;
      for (const auto& event : turn(x, y)) {
        notchesX += std::get<inputEvent::Scroll>(event.value).deltaX;
        notchesY += std::get<inputEvent::Scroll>(event.value).deltaY;
      }
    }
    EXPECT_EQ(notchesX, unitsX / 120) << seed;
    EXPECT_EQ(notchesY, unitsY / 120) << seed;
  }
}

TEST_F(PointerMachineTest, beginsANotchAnewInTheOtherDirection) {
  turn(0, 100);
  EXPECT_EQ(scroll(turn(0, -120)).deltaY, -1);
  EXPECT_EQ(scroll(turn(0, 120)).deltaY, 1);
}

TEST_F(PointerMachineTest, undoesTheExchangeOfTheAxesByTheToolkit) {
  const auto events =
      machine.wheel({.position = {100, 100}, .unitsX = 120, .isTransposed = true}, WireModifiers::option);
  EXPECT_EQ(scroll(events).deltaY, 1);
  EXPECT_EQ(scroll(events).deltaX, 0);
}

TEST_F(PointerMachineTest, sendsPixelsOfATouchpadAsTheyAreWithTheirMomentum) {
  const auto pixels = [&](double x, double y, ScrollPhase phase) {
    return machine.wheel({.position = {100, 100}, .unitsY = 30, .pixelsX = x, .pixelsY = y, .phase = phase},
                         {});
  };
  const auto first = scroll(pixels(0.5, -3.25, ScrollPhase::begin));
  EXPECT_TRUE(first.precise);
  EXPECT_EQ(first.deltaX, 0.5F);
  EXPECT_EQ(first.deltaY, -3.25F);
  EXPECT_EQ(first.momentumPhase, 0);
  EXPECT_EQ(scroll(pixels(0, 2, ScrollPhase::momentum)).momentumPhase, 1);
  EXPECT_EQ(scroll(pixels(0, 1, ScrollPhase::momentum)).momentumPhase, 2);
  const auto end = scroll(machine.wheel({.position = {100, 100}, .phase = ScrollPhase::end}, {}));
  EXPECT_EQ(end.momentumPhase, 3);
  EXPECT_EQ(end.deltaY, 0);
  EXPECT_THAT(machine.wheel({.position = {100, 100}, .phase = ScrollPhase::end}, {}), IsEmpty());
}

TEST_F(PointerMachineTest, sendsAPinchAsMagnification) {
  const auto events = machine.pinch({100, 100}, 0.25, ScrollPhase::update);
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(std::get<inputEvent::Magnify>(events[0].value),
            (inputEvent::Magnify{
                .streamID = 7, .x = 100.5F / 200, .y = 50.5F / 100, .magnification = 0.25F, .phase = 2}));
  EXPECT_THAT(machine.pinch({100, 10}, 0.25, ScrollPhase::update), IsEmpty());
  EXPECT_THAT(machine.pinch({100, 100}, 0, ScrollPhase::end), IsEmpty());
}

TEST(PointerDrawing, showsExactlyOnePointer) {
  for (const auto drawing : {PointerDrawing::here, PointerDrawing::atHost})
    EXPECT_NE(streamShowsPointer(drawing), !viewHidesPointer(drawing));
}

}  // namespace
}  // namespace quorl::viewer
