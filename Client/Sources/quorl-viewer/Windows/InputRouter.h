// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <QEvent>
#include <QKeyEvent>
#include <QPointF>
#include <QTimer>

#include <quorl-viewer/Keyboard/GrabMachine.h>
#include <quorl-viewer/Keyboard/KeyboardMachine.h>
#include <quorl-viewer/Keyboard/SpecialKeys.h>
#include <quorl-viewer/Pointer/PointerMachine.h>
#include <quorl-viewer/Windows/KeyboardHold.h>

namespace quorl::viewer {

/// The window's own keys: Ctrl+Alt+Shift and another.
enum class WindowCommand : std::uint8_t {
  fullScreen,
  controls,
  targets,
  nextAgent,
  statistics,
  showLeft,
  showRight,
  showTop,
  showBottom,
};

/// Takes the events of the view through the machines that decide, and carries out what they say.
///
/// *Queue*: the GUI thread. *Ownership*: the window's. *Lifetime*: handlers must outlive it.
class InputRouter {
 public:
  struct Handlers {
    /// The upper left corner of the view in the window, in points.
    std::function<QPointF()> viewOrigin;
    std::function<void(InputEvent)> send;
    std::function<void(const std::string& text)> type;
    /// Takes the keyboard from the desktop; answered by `grabTaken` or `grabRefused`.
    std::function<void()> takeKeyboard;
    std::function<void()> letKeyboardGo;
    std::function<void(bool isShown)> showChord;
    std::function<void(const std::string& reason)> showRefusal;
    std::function<void(bool isHeld)> grabChanged;
    std::function<void(WindowCommand)> command;
    std::function<void(bool hasFocus)> focusChanged;
  };

  explicit InputRouter(Handlers handlers);

  /// True if the event is used up.
  bool handle(QEvent& event);

  void setViewport(const Viewport& viewport) { pointer_.setViewport(viewport); }
  /// The picture has moved under the pointer.
  void pictureMoved() { perform(pointer_.stay(keyboard_.modifiers())); }
  void setStream(std::uint32_t stream) { pointer_.setStream(stream); }
  void setMode(KeyboardMode mode);
  KeyboardMode mode() const { return keyboard_.mode(); }
  void setGrabPolicy(GrabPolicy policy);
  GrabPolicy grabPolicy() const { return grab_.policy(); }
  void setFullScreen(bool isFullScreen);
  void toggleGrab();
  void grabTaken();
  void grabRefused(const KeyboardHold::Refusal& refusal);
  /// The window system has ended the grab.
  void grabLost();
  void press(const SpecialKey& special);
  void connected();
  /// Repeats of keys are not sent meanwhile.
  void setStalled(bool isStalled) { keyboard_.setRepeating(!isStalled); }
  void releaseAll();

 private:
  bool handleKey(const QKeyEvent& event);
  PointXY pointOf(const QSinglePointEvent& event) const;
  std::optional<WindowCommand> commandOf(const KeyInput& key) const;
  void gainFocus();
  void loseFocus();
  void perform(const KeyboardActions& actions);
  void perform(const PointerMachine::Events& events);
  void perform(const GrabActions& actions);
  void armGrabTimer();

  const Handlers handlers_;
  KeyboardMachine keyboard_;
  PointerMachine pointer_;
  GrabMachine grab_;
  QTimer grabTimer_;
  bool hasFocus_ = false;
};

}  // namespace quorl::viewer
