// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/InputRouter.h>

#include <cmath>

#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Ports/Permissions.h>
#include <QuorlHostCore/Session/HostServices.h>

namespace quorl {

namespace {

// The far edge is not part of the half-open rectangle. At 1 the position is the last one before the edge, so
// that the pointer stays on this display.
double positionIn(double low, double length, float fraction) {
  const double position = low + length * static_cast<double>(fraction);
  return fraction == 1.0F ? std::nextafter(position, low) : position;
}

}  // namespace

void InputRouter::route(const InputEvent& event) {
  if (!isPermitted()) return;
  std::visit([this](const auto& value) { inject(value); }, event.value);
}

void InputRouter::insertText(const std::string& text) {
  if (isPermitted()) services_.injector->insertText(text, source_.get());
}

// Each connection gets this error once. A later grant takes effect with the next event.
bool InputRouter::isPermitted() {
  if (services_.platform.permissions->mayPostInput()) return true;
  if (!sentAccessibilityError_) {
    sentAccessibilityError_ = true;
    reply_(message::Error{WireError{
        "perm.accessibility", "Grant Accessibility to Quorl Host in System Settings > Privacy & Security"}});
  }
  return false;
}

std::optional<InputRouter::Located> InputRouter::locate(std::uint32_t streamID, float x, float y) {
  ClientStream* stream = streams_.find(streamID);
  if (!stream) return std::nullopt;
  const PointRect rect = stream->currentContentRect();
  if (rect.isEmpty()) return std::nullopt;
  lastInputStreamID_ = streamID;
  return Located{stream,
                 {positionIn(rect.minX(), rect.size.width, x), positionIn(rect.minY(), rect.size.height, y)}};
}

void InputRouter::inject(const inputEvent::Pointer& event) {
  const auto located = locate(event.streamID, event.x, event.y);
  if (!located) return;
  if (event.phase == PointerPhase::down) raise(*located->stream);
  held_.pointer(event.phase, event.button, located->point, event.streamID);
  services_.injector->pointer(event.phase, event.button, located->point, event.clickCount, event.pressure,
                              event.modifiers, source_.get());
}

void InputRouter::inject(const inputEvent::Scroll& event) {
  const auto located = locate(event.streamID, event.x, event.y);
  if (!located) return;
  raise(*located->stream);
  services_.injector->scroll(located->point, event.deltaX, event.deltaY, event.precise, event.momentumPhase,
                             event.modifiers, source_.get());
}

void InputRouter::inject(const inputEvent::Magnify& event) {
  const auto located = locate(event.streamID, event.x, event.y);
  if (!located) return;
  raise(*located->stream);
  services_.injector->magnify(located->point, event.magnification, event.phase, source_.get());
}

// The event that follows must not reach the window that is in front now.
void InputRouter::raise(ClientStream& stream) {
  stream.raiseForInput([this] { return services_.injector->hold(source_.get()); });
}

// A key has no coordinates. It belongs to the stream of the last pointer input.
void InputRouter::inject(const inputEvent::Key& event) {
  if (event.down && lastInputStreamID_) {
    if (ClientStream* stream = streams_.find(*lastInputStreamID_)) raise(*stream);
  }
  held_.key(event.keyCode, event.down, event.modifiers);
  services_.injector->key(event.keyCode, event.down, event.modifiers, source_.get());
}

void InputRouter::leave(WaitingText text) {
  if (text == WaitingText::drop) services_.injector->drop(source_.get());
  post(held_.releaseAll());
  if (text == WaitingText::finish) services_.injector->finish(source_);
}

void InputRouter::streamEnds(std::uint32_t streamID) {
  if (!streams_.find(streamID)) return;
  post(lastInputStreamID_ == streamID ? held_.releaseAll() : held_.releaseButtons(streamID));
}

void InputRouter::post(const HeldInput::Release& release) {
  for (const PointerButton button : release.buttons)
    services_.injector->pointer(PointerPhase::up, button, release.location, 0, 0, WireModifiers{},
                                source_.get());
  for (const std::uint16_t keyCode : release.keyCodes)
    services_.injector->key(keyCode, false, WireModifiers{}, source_.get());
}

}  // namespace quorl
