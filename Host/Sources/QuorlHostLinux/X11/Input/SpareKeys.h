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

/// Which symbols the spare keycodes have: eight places on each, without and with Shift in each of the four
/// groups. The least recently used places are given away first; a place just pressed is not, because the
/// programs that got its key events may look its symbol up late.
///
/// *Queue*: pure; one thread at a time.
class SpareKeys {
 public:
  using Time = std::chrono::steady_clock::time_point;
  /// A program that reads a key event later than this after it was sent may see a wrong symbol. A quarter of
  /// it is enough for common toolkits on a quiet machine.
  static constexpr std::chrono::milliseconds lookUpTime{210};
  static constexpr std::size_t placesPerKey = std::tuple_size_v<KeySymbols>;

  /// Takes over a list of spare keycodes. Places of codes that were there before keep their symbols where
  /// `keyboard` still has them.
  void setKeycodes(const Keyboard& keyboard);
  void setKeycodes(const std::vector<std::uint8_t>& keycodes);

  /// How many symbols have room at a time.
  std::size_t capacity() const { return places_.size(); }

  /// When this many places may be given new symbols. No more than `capacity()`.
  Time whenFree(std::size_t count) const;

  /// Gives these symbols, all different, places that are free by then; symbols that have one keep it. The
  /// changes are for `setKeySyms`; empty: all are there already.
  std::map<std::uint8_t, KeySymbols> bind(std::span<const std::uint32_t> keysyms);

  std::optional<KeyStroke> strokeFor(std::uint32_t keysym) const;
  void pressed(std::uint32_t keysym, Time now);

  /// What makes all of them blank again.
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
