// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/SpareKeys.h>

#include <algorithm>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

void SpareKeys::setKeycodes(const Keyboard& keyboard) {
  const std::vector<Place> before = std::move(places_);
  setKeycodes(keyboard.spareKeycodes());
  for (auto& place : places_) {
    const auto known = std::ranges::find(before, place.stroke, &Place::stroke);
    if (known == before.end() || known->keysym == 0) continue;
    const auto& stroke = place.stroke;
    if (keyboard.symbolOf(stroke.keycode, *stroke.group, stroke.shift ? 1 : 0) == known->keysym)
      place = *known;
  }
}

// A text fills the places in this order: neighbours share a group, so the group seldom changes.
void SpareKeys::setKeycodes(const std::vector<std::uint8_t>& keycodes) {
  places_.clear();
  for (std::uint8_t group = 0; group < placesPerKey / 2; ++group) {
    for (const bool shift : {false, true}) {
      for (const auto keycode : keycodes)
        places_.push_back({.stroke = {.keycode = keycode, .shift = shift, .group = group}});
    }
  }
}

SpareKeys::Time SpareKeys::whenFree(std::size_t count) const {
  QUORL_CHECK(count <= capacity(), "more symbols than places");
  if (count == 0) return {};
  std::vector<Time> times;
  for (const auto& place : places_)
    times.push_back(place.keysym == 0 ? Time{} : place.lastPressed + lookUpTime);
  const auto last = times.begin() + static_cast<std::ptrdiff_t>(count - 1);
  std::ranges::nth_element(times, last);
  return *last;
}

std::map<std::uint8_t, KeySymbols> SpareKeys::bind(std::span<const std::uint32_t> keysyms) {
  QUORL_CHECK(keysyms.size() <= capacity(), "more symbols than places");
  std::vector<Place*> free;
  for (auto& place : places_) {
    if (place.keysym == 0 || std::ranges::find(keysyms, place.keysym) == keysyms.end())
      free.push_back(&place);
  }
  std::ranges::sort(free, {}, [](const Place* place) { return std::pair(place->lastPressed, place); });
  std::set<std::uint8_t> changed;
  auto next = free.begin();
  for (const auto keysym : keysyms) {
    if (find(keysym) != nullptr) continue;
    Place& place = **next++;
    place.keysym = keysym;
    changed.insert(place.stroke.keycode);
  }
  std::map<std::uint8_t, KeySymbols> changes;
  for (const auto keycode : changed) changes[keycode] = symbolsOf(keycode);
  return changes;
}

KeySymbols SpareKeys::symbolsOf(std::uint8_t keycode) const {
  KeySymbols symbols{};
  for (const auto& place : places_) {
    if (place.stroke.keycode != keycode) continue;
    symbols[*place.stroke.group * 2U + (place.stroke.shift ? 1 : 0)] = place.keysym;
  }
  return symbols;
}

SpareKeys::Place* SpareKeys::find(std::uint32_t keysym) {
  const auto found = std::ranges::find(places_, keysym, &Place::keysym);
  return found == places_.end() ? nullptr : &*found;
}

std::optional<KeyStroke> SpareKeys::strokeFor(std::uint32_t keysym) const {
  const auto found = std::ranges::find(places_, keysym, &Place::keysym);
  if (found == places_.end()) return std::nullopt;
  return found->stroke;
}

void SpareKeys::pressed(std::uint32_t keysym, Time now) {
  if (Place* place = find(keysym)) place->lastPressed = now;
}

std::map<std::uint8_t, KeySymbols> SpareKeys::blank() const {
  std::map<std::uint8_t, KeySymbols> result;
  for (const auto& place : places_) {
    if (place.keysym != 0) result[place.stroke.keycode] = {};
  }
  return result;
}

std::set<std::uint8_t> SpareKeys::keycodes() const {
  std::set<std::uint8_t> result;
  for (const auto& place : places_) result.insert(place.stroke.keycode);
  return result;
}

}  // namespace quorl
