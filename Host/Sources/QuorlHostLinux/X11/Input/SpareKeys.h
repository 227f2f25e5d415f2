// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include <QuorlHostLinux/X11/Connection/XkbRequests.h>
#include <QuorlHostLinux/X11/Input/Keyboard.h>

namespace quorl {

/// The symbols of the spare keycodes: eight places on each keycode, without and with Shift in each of the
/// four groups. The least recently used places are reused first. A place just pressed is not reused, because
/// programs that received its key events may look up the symbol late.
///
/// *Queue*: pure; one thread at a time.
class SpareKeys {
 public:
  using Time = std::chrono::steady_clock::time_point;
  /// A program that reads a key event later than this after it was sent may see a wrong symbol. A quarter of
  /// it is enough for common toolkits on a quiet machine.
  static constexpr std::chrono::milliseconds lookUpTime{210};
  static constexpr std::size_t placesPerKey = std::tuple_size_v<KeySymbols>;

  /// Sets the spare keycodes. Places of codes that were in the list keep the symbols that `keyboard` still
  /// has.
  void setKeycodes(const Keyboard& keyboard);
  void setKeycodes(const std::vector<std::uint8_t>& keycodes);

  /// The number of places.
  std::size_t capacity() const { return places_.size(); }

  /// The time from which this many places may be reused. `count` is at most `capacity()`.
  Time whenFree(std::size_t count) const;

  /// Assigns places that are free at that time to these symbols, which are all different. Symbols that have a
  /// place keep it. Returns the changes for `setKeySyms`; empty when all symbols are bound already.
  std::map<std::uint8_t, KeySymbols> bind(std::span<const std::uint32_t> keysyms);

  std::optional<KeyStroke> strokeFor(std::uint32_t keysym) const;
  void pressed(std::uint32_t keysym, Time now);

  /// The changes that clear all places.
  std::map<std::uint8_t, KeySymbols> blank() const;
  std::set<std::uint8_t> keycodes() const;

 private:
  struct Place {
    KeyStroke stroke;
    std::uint32_t keysym = 0;
    Time lastPressed{};
  };
  Place* find(std::uint32_t keysym);
  KeySymbols symbolsOf(std::uint8_t keycode) const;

  std::vector<Place> places_;
};

}  // namespace quorl
