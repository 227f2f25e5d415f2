// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/SpareKeys.h>

#include <algorithm>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

void SpareKeys::setKeycodes(const Keyboard& keyboard) {
  const std::vector<Place> before = std::move(places_);
  setKeycodes(keyboard.spareKeycodes());
  for (auto& place : places_) {
    const auto known = std::ranges::find(before, place.stroke, &Place::stroke);
    if (known == before.end() || known->keysym == 0) continue;
    if (keyboard.symbolOf(place.stroke.keycode, place.stroke.shift ? 1 : 0) == known->keysym) place = *known;
  }
}

void SpareKeys::setKeycodes(const std::vector<std::uint8_t>& keycodes) {
  places_.clear();
  for (const bool shift : {false, true}) {
    for (const auto keycode : keycodes) places_.push_back({.stroke = {keycode, shift}});
  }
}

SpareKeys::Binding SpareKeys::bind(const std::set<std::uint32_t>& keysyms) {
  QUORL_CHECK(keysyms.size() <= capacity(), "more symbols than places");
  std::vector<Place*> free;
  for (auto& place : places_) {
    if (!keysyms.contains(place.keysym)) free.push_back(&place);
  }
  std::ranges::sort(free, {}, [](const Place* place) { return std::pair(place->lastPressed, place); });
  Binding binding;
  std::set<std::uint8_t> changed;
  auto next = free.begin();
  for (const auto keysym : keysyms) {
    if (find(keysym) != nullptr) continue;
    Place& place = **next++;
    if (place.keysym != 0) binding.notBefore = std::max(binding.notBefore, place.lastPressed + lookUpTime);
    place.keysym = keysym;
    changed.insert(place.stroke.keycode);
  }
  for (const auto keycode : changed) binding.changes[keycode] = levelsOf(keycode);
  return binding;
}

KeyLevels SpareKeys::levelsOf(std::uint8_t keycode) const {
  KeyLevels levels{};
  for (const auto& place : places_) {
    if (place.stroke.keycode != keycode) continue;
    (place.stroke.shift ? levels.second : levels.first) = place.keysym;
  }
  return levels;
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

std::map<std::uint8_t, KeyLevels> SpareKeys::blank() const {
  std::map<std::uint8_t, KeyLevels> result;
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
