// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

struct xkb_keymap;

namespace quorl {

/// How one key types a character.
struct KeyStroke {
  std::uint8_t keycode = 0;
  bool shift = false;
  std::optional<std::uint8_t> group;  // nothing: the one in effect

  bool operator==(const KeyStroke&) const = default;
};

/// A snapshot of a display's keyboard map: the keycode of a wire key, the stroke for a symbol, the free
/// keycodes.
///
/// *Queue*: one thread at a time; no call but `read` waits for the server.
class Keyboard {
 public:
  /// `ours`: keycodes that are free except for the symbols we bound to them.
  static std::expected<std::unique_ptr<Keyboard>, PortError> read(X11Connection& connection,
                                                                  const std::set<std::uint8_t>& ours);
  ~Keyboard();
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;

  /// The keycode of a wire key. Nothing for a key that this keyboard lacks.
  std::optional<std::uint8_t> keycodeOf(std::uint16_t wireCode) const;
  /// True when the layout gives this key no symbol at all.
  bool isBlank(std::uint8_t keycode) const;

  /// The stroke for a keysym in a layout (group), with no modifier but Shift.
  std::optional<KeyStroke> strokeFor(std::uint32_t keysym, std::uint8_t group) const;

  /// Keycodes without a symbol, which may be bound temporarily.
  const std::vector<std::uint8_t>& spareKeycodes() const { return spares_; }
  std::uint32_t symbolOf(std::uint8_t keycode, std::uint32_t group, std::uint32_t level) const;

  /// The real modifiers of Caps Lock and Num Lock.
  static constexpr std::uint8_t lockMask = 0x02;
  std::uint8_t numLockMask() const { return numLockMask_; }

 private:
  explicit Keyboard(xkb_keymap* map) : map_(map) {}
  void findKeycodes();
  void findSpares(const std::set<std::uint8_t>& ours);
  void findNumLock(X11Connection& connection);
  std::map<std::uint32_t, KeyStroke> strokesOf(std::uint8_t group) const;

  xkb_keymap* map_;
  std::map<std::uint16_t, std::uint8_t> keycodes_;
  std::vector<std::uint8_t> spares_;
  std::uint8_t numLockMask_ = 0;
  mutable std::map<std::uint8_t, std::map<std::uint32_t, KeyStroke>>
      strokes_;  // by group, made when asked for
};

}  // namespace quorl
