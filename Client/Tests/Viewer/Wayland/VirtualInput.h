// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

namespace quorl::viewer::test {

/// A keyboard with the layout "us" and a pointer, plugged into a compositor.
///
/// *Queue*: one thread. *Blocking*: each call waits until the compositor has handled it.
/// *Lifetime*: unplugged by destruction.
class VirtualInput {
 public:
  /// Keys by evdev's codes (linux/input-event-codes.h).
  static constexpr std::uint32_t leftButton = 0x110;

  explicit VirtualInput(const std::string& display);
  ~VirtualInput();
  VirtualInput(const VirtualInput&) = delete;
  VirtualInput& operator=(const VirtualInput&) = delete;

  void key(std::uint32_t code, bool isDown);
  /// Presses the keys in this order and releases them in the reverse order.
  void press(std::initializer_list<std::uint32_t> codes);
  /// A point of the whole layout of outputs, whose size is `width` by `height`.
  void move(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height);
  void button(std::uint32_t code, bool isDown);
  void click();

 private:
  struct Parts;
  void settle();

  std::unique_ptr<Parts> parts_;
};

}  // namespace quorl::viewer::test
