// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;

namespace quorl::test {

/// A window with the keyboard focus that records its input. It reads keys as toolkits do: with the server's
/// map at the time the event is read.
class KeyListener {
 public:
  explicit KeyListener(const std::string& display);
  ~KeyListener();
  KeyListener(const KeyListener&) = delete;
  KeyListener& operator=(const KeyListener&) = delete;

  struct Input {
    enum class Kind : std::uint8_t { keyDown, keyUp, buttonDown, buttonUp };
    Kind kind;
    unsigned detail;     // keycode or button
    unsigned modifiers;  // the event's state, without buttons and group
    std::uint32_t keysym = 0;

    bool isKeyDown() const { return kind == Kind::keyDown; }
  };

  /// Reads events until `done` returns true. False at the deadline.
  bool listenUntil(const std::function<bool(const std::vector<Input>&)>& done);
  /// The next key that goes down, except `ignored`.
  std::optional<Input> nextKeyDown(std::uint32_t ignored = 0);

  std::vector<Input> inputs;

  /// The keys and buttons that the server holds now.
  bool isAnythingDown();
  unsigned lockedModifiers();
  unsigned group();

 private:
  void take(const void* event);
  void readMap();

  xcb_connection_t* xcb_;
  std::uint32_t root_ = 0;
  xkb_context* context_;
  xkb_keymap* map_ = nullptr;
  std::uint8_t xkbEvent_ = 0;
};

}  // namespace quorl::test
