// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <concepts>
#include <cstdint>
#include <expected>
#include <utility>
#include <variant>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/Bytes.h>

namespace quorl {

/// Unknown bits are kept.
struct WireModifiers {
  std::uint32_t rawValue = 0;

  static const WireModifiers capsLock;
  static const WireModifiers shift;
  static const WireModifiers control;
  static const WireModifiers option;
  static const WireModifiers command;
  static const WireModifiers function;
  /// Not a modifier: the others come from a PC keyboard and mean themselves. Command is Super.
  static const WireModifiers asPressed;

  constexpr bool contains(WireModifiers other) const { return (rawValue & other.rawValue) == other.rawValue; }
  constexpr WireModifiers operator|(WireModifiers other) const { return {rawValue | other.rawValue}; }

  bool operator==(const WireModifiers&) const = default;
};
inline constexpr WireModifiers WireModifiers::capsLock{0x01};
inline constexpr WireModifiers WireModifiers::shift{0x02};
inline constexpr WireModifiers WireModifiers::control{0x04};
inline constexpr WireModifiers WireModifiers::option{0x08};
inline constexpr WireModifiers WireModifiers::command{0x10};
inline constexpr WireModifiers WireModifiers::function{0x20};
inline constexpr WireModifiers WireModifiers::asPressed{0x80000000};

enum class PointerButton : std::uint8_t { left = 0, right = 1, middle = 2 };
enum class PointerPhase : std::uint8_t { down = 0, moved = 1, up = 2, hover = 3 };

/// The cases of an InputEvent. On the wire: one tag byte, then the fields in their order without padding,
/// little-endian, floats as IEEE 754 single, Booleans as one byte. `x` and `y` are normalised to the stream's
/// picture, 0 to 1; this is not checked here.
namespace inputEvent {

/// Tag 1, 24 bytes. An unknown phase byte reads as `moved`, an unknown button byte as `left`.
struct Pointer {
  std::uint32_t streamID = 0;
  PointerPhase phase = PointerPhase::moved;
  PointerButton button = PointerButton::left;
  float x = 0;
  float y = 0;
  std::uint8_t clickCount = 0;
  float pressure = 0;
  WireModifiers modifiers;

  bool operator==(const Pointer&) const = default;
};

/// Tag 2, 27 bytes.
struct Scroll {
  std::uint32_t streamID = 0;
  float x = 0;
  float y = 0;
  float deltaX = 0;
  float deltaY = 0;
  bool precise = false;
  std::uint8_t momentumPhase = 0;
  WireModifiers modifiers;

  bool operator==(const Scroll&) const = default;
};

/// Tag 3, 18 bytes.
struct Magnify {
  std::uint32_t streamID = 0;
  float x = 0;
  float y = 0;
  float magnification = 0;
  std::uint8_t phase = 0;

  bool operator==(const Magnify&) const = default;
};

/// Tag 4, 8 bytes. `keyCode` is a virtual key code of the wire's own table; a key has no stream.
struct Key {
  std::uint16_t keyCode = 0;
  bool down = false;
  WireModifiers modifiers;

  bool operator==(const Key&) const = default;
};

}  // namespace inputEvent

struct InputEvent {
  using Value = std::variant<inputEvent::Pointer, inputEvent::Scroll, inputEvent::Magnify, inputEvent::Key>;

  Value value;

  InputEvent() = default;
  template <class Case>
    requires std::constructible_from<Value, Case&&>
  InputEvent(Case&& held) : value(std::forward<Case>(held)) {}

  Bytes encoded() const;
  /// Fails only with `badValue` for a tag other than 1 to 4 and with `underflow` for too few bytes. Bytes
  /// after the last field are ignored.
  static std::expected<InputEvent, ReadError> decode(ByteView bytes);

  bool operator==(const InputEvent&) const = default;
};

}  // namespace quorl
