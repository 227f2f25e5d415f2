// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/Outbox.h>

#include <vector>

#include <QuorlKit/Protocol/Frames.h>
#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using inputEvent::Key;
using inputEvent::Pointer;
using inputEvent::Scroll;

Pointer pointer(PointerPhase phase, float x, std::uint32_t stream = 1) {
  return {.streamID = stream, .phase = phase, .x = x};
}

// The frames in the outbox, as events.
std::vector<InputEvent> drain(Outbox& outbox) {
  std::vector<InputEvent> events;
  while (const auto frame = outbox.pop()) {
    const auto bytes = frame->encoded();
    const auto event = InputEvent::decode(ByteView(bytes).subspan(frameHeaderSize));
    EXPECT_TRUE(event);
    if (event) events.push_back(*event);
  }
  return events;
}

TEST(Outbox, keepsOnlyTheNewestOfMotionsInARow) {
  Outbox outbox;
  for (int step = 1; step <= 100; ++step) outbox.push(pointer(PointerPhase::hover, static_cast<float>(step)));
  EXPECT_EQ(drain(outbox), std::vector<InputEvent>{pointer(PointerPhase::hover, 100)});
}

TEST(Outbox, keepsButtonsAndTheMotionsBetweenThem) {
  Outbox outbox;
  const std::vector<InputEvent> path{pointer(PointerPhase::hover, 1), pointer(PointerPhase::down, 1),
                                     pointer(PointerPhase::moved, 2), pointer(PointerPhase::up, 2),
                                     pointer(PointerPhase::hover, 3), pointer(PointerPhase::down, 3)};
  for (const auto& event : path) {
    outbox.push(event);
    // A second motion of the same kind is merged; a second press is not.
    if (std::get<Pointer>(event.value).phase == PointerPhase::moved) outbox.push(event);
  }
  EXPECT_EQ(drain(outbox), path);
}

TEST(Outbox, mergesNoMotionPastAKeyAScrollOrAnotherStream) {
  Outbox outbox;
  const std::vector<InputEvent> path{pointer(PointerPhase::hover, 1), Key{.keyCode = 36, .down = true},
                                     pointer(PointerPhase::hover, 2), Scroll{.streamID = 1, .deltaY = 3},
                                     pointer(PointerPhase::hover, 3), pointer(PointerPhase::hover, 4, 2),
                                     pointer(PointerPhase::hover, 5)};
  for (const auto& event : path) outbox.push(event);
  EXPECT_EQ(drain(outbox), path);
}

TEST(Outbox, mergesNoScrolling) {
  Outbox outbox;
  const std::vector<InputEvent> path{Scroll{.streamID = 1, .deltaY = 3}, Scroll{.streamID = 1, .deltaY = 3}};
  for (const auto& event : path) outbox.push(event);
  EXPECT_EQ(drain(outbox), path);
}

TEST(Outbox, refusesMoreThanItsLimit) {
  Outbox outbox;
  const auto frame = OutgoingFrame::raw(FrameType::ping, shareBytes(Bytes(1 << 20)));
  std::size_t taken = 0;
  while (outbox.push(frame)) ++taken;
  EXPECT_EQ(taken, Outbox::maxBytes >> 20U);
  EXPECT_FALSE(outbox.push(Key{}));
  EXPECT_TRUE(outbox.pop());
  EXPECT_TRUE(outbox.push(Key{}));
}

}  // namespace
}  // namespace quorl::viewer
