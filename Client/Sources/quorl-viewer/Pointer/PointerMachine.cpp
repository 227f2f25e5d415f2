// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Pointer/PointerMachine.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace quorl::viewer {
namespace {

// Values of a Mac's scroll events (CGMomentumScrollPhase).
constexpr std::uint8_t momentumBegins = 1;
constexpr std::uint8_t momentumContinues = 2;
constexpr std::uint8_t momentumEnds = 3;

float finite(double value) {
  return std::isfinite(value) ? static_cast<float>(value) : 0;
}

}  // namespace

void PointerMachine::setStream(std::uint32_t streamID) {
  streamID_ = streamID;
  held_.clear();
  place_.reset();
  lastPress_.reset();
  hadMomentum_ = false;
  horizontal_.reset();
  vertical_.reset();
}

inputEvent::Pointer PointerMachine::eventAt(Viewport::Place place, PointerPhase phase,
                                            WireModifiers modifiers) const {
  inputEvent::Pointer event;
  event.streamID = streamID_;
  event.phase = phase;
  event.x = place.x;
  event.y = place.y;
  event.modifiers = modifiers;
  return event;
}

PointerMachine::Events PointerMachine::stay(WireModifiers modifiers) {
  return position_ ? move(*position_, modifiers) : Events{};
}

PointerMachine::Events PointerMachine::move(PointXY position, WireModifiers modifiers) {
  position_ = position;
  const auto place = held_.empty() ? viewport_.placeAt(position) : viewport_.nearestPlace(position);
  if (!place || place == place_) return {};
  place_ = place;
  auto event = eventAt(*place, held_.empty() ? PointerPhase::hover : PointerPhase::moved, modifiers);
  if (!held_.empty()) event.button = held_.front();
  return {InputEvent(event)};
}

PointerMachine::Events PointerMachine::press(PointerButton button, PointXY position, WireModifiers modifiers,
                                             Time now) {
  const auto place = held_.empty() ? viewport_.placeAt(position) : viewport_.nearestPlace(position);
  if (!place || std::ranges::find(held_, button) != held_.end()) return {};
  held_.push_back(button);
  place_ = place;
  auto event = eventAt(*place, PointerPhase::down, modifiers);
  event.button = button;
  event.clickCount = countClick(button, position, now);
  return {InputEvent(event)};
}

std::uint8_t PointerMachine::countClick(PointerButton button, PointXY position, Time now) {
  std::uint8_t count = 1;
  if (lastPress_ && lastPress_->button == button && now - lastPress_->time <= clicks_.longestPause &&
      std::hypot(position.x - lastPress_->position.x, position.y - lastPress_->position.y) <=
          clicks_.largestDistance)
    count = static_cast<std::uint8_t>(std::min(lastPress_->count + 1, 255));
  lastPress_ = LastPress{button, position, now, count};
  return count;
}

PointerMachine::Events PointerMachine::release(PointerButton button, PointXY position,
                                               WireModifiers modifiers) {
  if (std::erase(held_, button) == 0) return {};
  const auto place = viewport_.nearestPlace(position);
  if (place) place_ = place;
  if (!place_) return {};
  auto event = eventAt(*place_, PointerPhase::up, modifiers);
  event.button = button;
  event.clickCount = lastPress_ && lastPress_->button == button ? lastPress_->count : 1;
  return {InputEvent(event)};
}

PointerMachine::Events PointerMachine::releaseAll(WireModifiers modifiers) {
  Events events;
  for (const auto button : std::exchange(held_, {})) {
    auto event = eventAt(place_.value_or(Viewport::Place{}), PointerPhase::up, modifiers);
    event.button = button;
    event.clickCount = 1;
    events.emplace_back(event);
  }
  lastPress_.reset();
  horizontal_.reset();
  vertical_.reset();
  return events;
}

PointerMachine::Events PointerMachine::wheel(const WheelInput& given, WireModifiers modifiers) {
  const auto place =
      held_.empty() ? viewport_.placeAt(given.position) : viewport_.nearestPlace(given.position);
  if (!place) return {};
  WheelInput wheel = given;
  if (wheel.isTransposed) {
    std::swap(wheel.unitsX, wheel.unitsY);
    std::swap(wheel.pixelsX, wheel.pixelsY);
  }
  inputEvent::Scroll event;
  event.streamID = streamID_;
  event.x = place->x;
  event.y = place->y;
  event.modifiers = modifiers;
  if (wheel.phase == ScrollPhase::begin) hadMomentum_ = false;
  if (wheel.phase == ScrollPhase::momentum)
    event.momentumPhase = std::exchange(hadMomentum_, true) ? momentumContinues : momentumBegins;
  if (wheel.phase == ScrollPhase::end && std::exchange(hadMomentum_, false))
    event.momentumPhase = momentumEnds;
  if (finite(wheel.pixelsX) != 0 || finite(wheel.pixelsY) != 0) {
    event.precise = true;
    event.deltaX = finite(wheel.pixelsX);
    event.deltaY = finite(wheel.pixelsY);
  } else {
    // Each axis by itself: what is left of one never moves the other.
    event.deltaX = static_cast<float>(horizontal_.add(wheel.unitsX));
    event.deltaY = static_cast<float>(vertical_.add(wheel.unitsY));
    event.precise = event.momentumPhase == momentumEnds;
  }
  if (event.deltaX == 0 && event.deltaY == 0 && event.momentumPhase == 0) return {};
  return {InputEvent(event)};
}

PointerMachine::Events PointerMachine::pinch(PointXY position, double magnification, ScrollPhase phase) {
  const auto place = viewport_.placeAt(position);
  if (!place || !std::isfinite(magnification) || magnification == 0) return {};
  inputEvent::Magnify event;
  event.streamID = streamID_;
  event.x = place->x;
  event.y = place->y;
  event.magnification = finite(magnification);
  event.phase = static_cast<std::uint8_t>(phase);
  return {InputEvent(event)};
}

}  // namespace quorl::viewer
