// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// The kinds of synthetic pointer events, with the numbers of `CGEventType` (Quartz Event Services).
enum class MouseEventType : std::uint32_t {
  leftDown = 1,
  leftUp = 2,
  rightDown = 3,
  rightUp = 4,
  moved = 5,
  leftDragged = 6,
  rightDragged = 7,
  otherDown = 25,
  otherUp = 26,
  otherDragged = 27,
};

/// Modifier bits of a synthetic event, with the values of `CGEventFlags`.
namespace eventFlags {
inline constexpr std::uint64_t capsLock = 0x10000;
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
inline constexpr std::uint64_t function = 0x800000;
/// Not one of `CGEventFlags`, which have 32 bits: no flag is to be translated to another platform's keyboard.
inline constexpr std::uint64_t asPressed = 0x1'0000'0000;
}  // namespace eventFlags

struct MouseEvent {
  MouseEventType type = MouseEventType::moved;
  PointXY location;  // global points
  PointerButton button = PointerButton::left;
  std::uint64_t flags = 0;
  std::optional<std::int64_t> clickState;
  std::optional<double> pressure;

  bool operator==(const MouseEvent&) const = default;
};

enum class ScrollUnit : std::uint8_t { pixel, line };

struct ScrollEvent {
  ScrollUnit unit = ScrollUnit::line;
  std::int32_t wheel1 = 0;             // vertical, positive scrolls up
  std::optional<std::int32_t> wheel2;  // horizontal, positive scrolls left; absent: a one-wheel event
  PointXY location;
  std::uint64_t flags = 0;
  bool isContinuous = false;
  std::optional<double> pointDeltaAxis1;  // vertical, unrounded
  std::optional<double> pointDeltaAxis2;
  std::optional<std::int64_t> momentumPhase;

  bool operator==(const ScrollEvent&) const = default;
};

struct KeyboardEvent {
  std::uint16_t keyCode = 0;  // virtual key code of the Mac's ANSI keyboard
  bool down = false;
  std::uint64_t flags = 0;
  std::u16string unicode;  // when not empty, the event types this text and `keyCode` is ignored

  bool operator==(const KeyboardEvent&) const = default;
};

using SyntheticEvent = std::variant<MouseEvent, ScrollEvent, KeyboardEvent>;

/// Posts synthetic input into the session as if it came from devices. Without a display events are dropped.
///
/// *Queue*: one queue calls both operations, in order. There are no callbacks.
/// *Blocking*: pointer, wheel and key events are sent without waiting for an answer, except while a display
/// is being opened. Text may wait for the display server, so that the caller uses `Scheduler::blocking`; time
/// that the platform needs between pieces of a text is returned, not slept.
/// *Ownership*: events are copied.
/// *Lifetime*: destruction releases keys and buttons that are held and drops the rest of a text.
class EventPoster {
 public:
  virtual ~EventPoster() = default;

  /// Part of an event's text may be left to `finishText`. The next event with text drops that rest.
  virtual void post(const SyntheticEvent& event) = 0;

  /// Continues the text that was posted last. Returns zero when all of it is typed, else the delay after
  /// which the next call can type more. Other events may be posted in between. `following` is the text that
  /// will be posted next, for platforms that can prepare it in advance.
  virtual Duration finishText(std::u16string_view /*following*/) { return Duration::zero(); }
};

}  // namespace quorl
