// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/QtInput.h>

#include <QGuiApplication>

#include <xcb/xcb.h>

namespace quorl::viewer {

namespace {

// X11's keycodes are evdev's plus 8, and xkb on Wayland keeps that.
constexpr quint32 firstKeycode = 8;
// The masks of the X protocol in QKeyEvent::nativeModifiers; Mod2 is Num Lock in every layout of
// xkeyboard-config.
constexpr quint32 lockMask = XCB_MOD_MASK_LOCK;
constexpr quint32 numLockMask = XCB_MOD_MASK_2;

LockState locksOf(quint32 nativeModifiers) {
  return {(nativeModifiers & lockMask) != 0, (nativeModifiers & numLockMask) != 0};
}

xcb_connection_t* xcbConnection() {
  const auto* application =
      qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  return application != nullptr ? application->connection() : nullptr;
}

}  // namespace

WireModifiers modifiersOf(Qt::KeyboardModifiers modifiers) {
  WireModifiers result;
  if (modifiers.testFlag(Qt::ShiftModifier)) result = result | WireModifiers::shift;
  if (modifiers.testFlag(Qt::ControlModifier)) result = result | WireModifiers::control;
  if (modifiers.testFlag(Qt::AltModifier)) result = result | WireModifiers::option;
  if (modifiers.testFlag(Qt::MetaModifier)) result = result | WireModifiers::command;
  return result;
}

std::optional<KeyInput> keyInputOf(const QKeyEvent& event) {
  if (event.nativeScanCode() < firstKeycode) return std::nullopt;
  KeyInput input;
  input.scanCode = static_cast<std::uint16_t>(event.nativeScanCode() - firstKeycode);
  input.text = event.text().toStdString();
  input.modifiers = modifiersOf(event.modifiers());
  input.locks = locksOf(event.nativeModifiers());
  input.isLevelKey = event.key() == Qt::Key_AltGr || event.key() == Qt::Key_Mode_switch;
  input.isRepeat = event.isAutoRepeat();
  return input;
}

LockState currentLocks() {
  xcb_connection_t* connection = xcbConnection();
  if (connection == nullptr) return {};
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  auto* reply = xcb_query_pointer_reply(connection, xcb_query_pointer(connection, root), nullptr);
  if (reply == nullptr) return {};
  const auto locks = locksOf(reply->mask);
  std::free(reply);
  return locks;
}

std::optional<PointerButton> buttonOf(Qt::MouseButton button) {
  switch (button) {
    case Qt::LeftButton:
      return PointerButton::left;
    case Qt::RightButton:
      return PointerButton::right;
    case Qt::MiddleButton:
      return PointerButton::middle;
    default:
      return std::nullopt;
  }
}

WheelInput wheelInputOf(const QWheelEvent& event) {
  WheelInput wheel;
  wheel.unitsX = event.angleDelta().x();
  wheel.unitsY = event.angleDelta().y();
  // On X11 Qt's pixel deltas are unreliable (QWheelEvent documents it); a touchpad sends fine units instead.
  if (QGuiApplication::platformName() != QLatin1String("xcb")) {
    wheel.pixelsX = event.pixelDelta().x();
    wheel.pixelsY = event.pixelDelta().y();
  }
  wheel.isTransposed = event.modifiers().testFlag(Qt::AltModifier);
  switch (event.phase()) {
    case Qt::NoScrollPhase:
      wheel.phase = ScrollPhase::none;
      break;
    case Qt::ScrollBegin:
      wheel.phase = ScrollPhase::begin;
      break;
    case Qt::ScrollUpdate:
      wheel.phase = ScrollPhase::update;
      break;
    case Qt::ScrollEnd:
      wheel.phase = ScrollPhase::end;
      break;
    case Qt::ScrollMomentum:
      wheel.phase = ScrollPhase::momentum;
      break;
  }
  return wheel;
}

ScrollPhase pinchPhaseOf(Qt::NativeGestureType type) {
  switch (type) {
    case Qt::BeginNativeGesture:
      return ScrollPhase::begin;
    case Qt::EndNativeGesture:
      return ScrollPhase::end;
    default:
      return ScrollPhase::update;
  }
}

}  // namespace quorl::viewer
