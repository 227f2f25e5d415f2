// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QKeyEvent>
#include <QWheelEvent>

#include <quorl-viewer/Keyboard/KeyInput.h>
#include <quorl-viewer/Pointer/PointerMachine.h>

/// Events of the toolkit as the deciding rooms understand them. GUI thread.
namespace quorl::viewer {

WireModifiers modifiersOf(Qt::KeyboardModifiers modifiers);
/// Nothing for an event without a position on the keyboard, such as one of an input method.
std::optional<KeyInput> keyInputOf(const QKeyEvent& event);
/// The state of the locks now, as the display server reports it.
LockState currentLocks();
std::optional<PointerButton> buttonOf(Qt::MouseButton button);
/// Without a position.
WheelInput wheelInputOf(const QWheelEvent& event);
ScrollPhase pinchPhaseOf(Qt::NativeGestureType type);

}  // namespace quorl::viewer
