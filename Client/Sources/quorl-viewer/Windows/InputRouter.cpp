// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/InputRouter.h>

#include <chrono>

#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QStyleHints>
#include <QWheelEvent>

#include <quorl-viewer/Windows/QtInput.h>

namespace quorl::viewer {

namespace {

using Time = std::chrono::steady_clock;

constexpr auto commandModifiers = WireModifiers::control | WireModifiers::option | WireModifiers::shift;

// By evdev's codes (linux/input-event-codes.h), so that a command is in the same place in every layout.
struct CommandKey {
  std::uint16_t scanCode;
  WindowCommand command;
};
constexpr std::array commandKeys{CommandKey{33, WindowCommand::fullScreen},  // F
                                 CommandKey{50, WindowCommand::controls},    // M
                                 CommandKey{20, WindowCommand::targets},     // T
                                 CommandKey{30, WindowCommand::nextAgent},   // A
                                 CommandKey{31, WindowCommand::statistics},  // S
                                 CommandKey{105, WindowCommand::showLeft},   // the arrows
                                 CommandKey{106, WindowCommand::showRight},
                                 CommandKey{103, WindowCommand::showTop},
                                 CommandKey{108, WindowCommand::showBottom}};

PointerMachine::Clicks clicksOfDesktop() {
  const auto* hints = QGuiApplication::styleHints();
  return {std::chrono::milliseconds(hints->mouseDoubleClickInterval()),
          static_cast<double>(hints->mouseDoubleClickDistance())};
}

}  // namespace

InputRouter::InputRouter(Handlers handlers) : handlers_(std::move(handlers)), pointer_(clicksOfDesktop()) {
  grabTimer_.setSingleShot(true);
  QObject::connect(&grabTimer_, &QTimer::timeout, [this] { perform(grab_.tick(Time::now())); });
}

bool InputRouter::handle(QEvent& event) {
  const auto modifiers = keyboard_.modifiers();
  switch (event.type()) {
    case QEvent::FocusIn:
      gainFocus();
      return true;
    case QEvent::FocusOut:
      // A menu of the window itself also takes the focus; the host's keys must not stay held under it.
      loseFocus();
      return true;
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
      return handleKey(static_cast<const QKeyEvent&>(event));
    case QEvent::InputMethod:
      perform(keyboard_.commit(static_cast<const QInputMethodEvent&>(event).commitString().toStdString()));
      return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
      const auto& mouse = static_cast<const QMouseEvent&>(event);
      perform(keyboard_.modifiersSeen(modifiersOf(mouse.modifiers())));
      if (const auto button = buttonOf(mouse.button()))
        perform(pointer_.press(*button, pointOf(mouse), keyboard_.modifiers(), Time::now()));
      return true;
    }
    case QEvent::MouseButtonRelease: {
      const auto& mouse = static_cast<const QMouseEvent&>(event);
      if (const auto button = buttonOf(mouse.button()))
        perform(pointer_.release(*button, pointOf(mouse), modifiers));
      return true;
    }
    case QEvent::MouseMove:
      perform(pointer_.move(pointOf(static_cast<const QMouseEvent&>(event)), modifiers));
      return true;
    case QEvent::Wheel: {
      const auto& wheel = static_cast<const QWheelEvent&>(event);
      auto input = wheelInputOf(wheel);
      input.position = pointOf(wheel);
      perform(pointer_.wheel(input, modifiers));
      return true;
    }
    case QEvent::NativeGesture: {
      const auto& gesture = static_cast<const QNativeGestureEvent&>(event);
      const auto type = gesture.gestureType();
      if (type != Qt::ZoomNativeGesture && type != Qt::BeginNativeGesture && type != Qt::EndNativeGesture)
        return false;
      const double step = type == Qt::ZoomNativeGesture ? gesture.value() : 0;
      perform(pointer_.pinch(pointOf(gesture), step, pinchPhaseOf(type)));
      return true;
    }
    default:
      return false;
  }
}

// The toolkit makes a widget's position from the window's place on the display, which it rounds to points.
PointXY InputRouter::pointOf(const QSinglePointEvent& event) const {
  const QPointF point = event.scenePosition() - handlers_.viewOrigin();
  return {point.x(), point.y()};
}

std::optional<WindowCommand> InputRouter::commandOf(const KeyInput& key) const {
  const auto held = key.modifiers | keyboard_.modifiers();
  if (key.isRepeat || !held.contains(commandModifiers) || held.contains(WireModifiers::command))
    return std::nullopt;
  for (const auto& [scanCode, command] : commandKeys)
    if (scanCode == key.scanCode) return command;
  return std::nullopt;
}

bool InputRouter::handleKey(const QKeyEvent& event) {
  const auto key = keyInputOf(event);
  if (!key) return false;
  if (event.type() == QEvent::KeyRelease) {
    // The X server reports a repeat as release and press; only the last release is real.
    if (!event.isAutoRepeat()) perform(keyboard_.release(*key));
    return true;
  }
  if (isReleaseChord(*key, keyboard_.modifiers())) {
    perform(keyboard_.releaseAll());
    toggleGrab();
    return true;
  }
  if (const auto command = commandOf(*key)) {
    perform(keyboard_.releaseAll());
    handlers_.command(*command);
    return true;
  }
  perform(keyboard_.press(*key));
  return true;
}

void InputRouter::gainFocus() {
  if (std::exchange(hasFocus_, true)) return;
  perform(keyboard_.focusGained(currentLocks()));
  perform(grab_.focusGained(Time::now()));
  handlers_.focusChanged(true);
}

void InputRouter::loseFocus() {
  if (!std::exchange(hasFocus_, false)) return;
  perform(pointer_.releaseAll(keyboard_.modifiers()));
  perform(keyboard_.focusLost());
  perform(grab_.focusLost(Time::now()));
  handlers_.focusChanged(false);
}

void InputRouter::releaseAll() {
  perform(pointer_.releaseAll(keyboard_.modifiers()));
  perform(keyboard_.releaseAll());
}

void InputRouter::setMode(KeyboardMode mode) {
  perform(keyboard_.setMode(mode));
}

void InputRouter::setGrabPolicy(GrabPolicy policy) {
  perform(grab_.setPolicy(policy, Time::now()));
}

void InputRouter::setFullScreen(bool isFullScreen) {
  releaseAll();
  perform(grab_.setFullScreen(isFullScreen, Time::now()));
}

void InputRouter::toggleGrab() {
  perform(grab_.toggle(Time::now()));
}

void InputRouter::grabTaken() {
  perform(grab_.taken(Time::now()));
}

void InputRouter::grabRefused(const KeyboardHold::Refusal& refusal) {
  perform(grab_.refused(refusal.kind, refusal.reason, Time::now()));
}

void InputRouter::grabLost() {
  perform(grab_.lost(Time::now()));
}

void InputRouter::press(const SpecialKey& special) {
  releaseAll();
  for (const auto& key : eventsOf(special)) handlers_.send(key);
}

// What was pressed between the connection and its report is released: the host has it down, and the machines
// forget it.
void InputRouter::connected() {
  releaseAll();
  keyboard_.connected();
  if (hasFocus_) perform(keyboard_.focusGained(currentLocks()));
}

void InputRouter::perform(const KeyboardActions& actions) {
  for (const auto& action : actions) {
    if (const auto* key = std::get_if<inputEvent::Key>(&action))
      handlers_.send(*key);
    else
      handlers_.type(std::get<TypedText>(action).text);
  }
}

void InputRouter::perform(const PointerMachine::Events& events) {
  for (const auto& event : events) handlers_.send(event);
}

void InputRouter::perform(const GrabActions& actions) {
  for (const auto& action : actions) {
    if (std::holds_alternative<grabAction::Take>(action)) {
      handlers_.takeKeyboard();
    } else if (std::holds_alternative<grabAction::LetGo>(action)) {
      handlers_.letKeyboardGo();
    } else if (std::holds_alternative<grabAction::ReleaseInput>(action)) {
      releaseAll();
    } else if (std::holds_alternative<grabAction::ShowChord>(action)) {
      handlers_.showChord(true);
    } else if (std::holds_alternative<grabAction::HideChord>(action)) {
      handlers_.showChord(false);
    } else if (const auto* refusal = std::get_if<grabAction::ShowRefusal>(&action)) {
      handlers_.showRefusal(refusal->reason);
    }
  }
  handlers_.grabChanged(grab_.isHeld());
  armGrabTimer();
}

void InputRouter::armGrabTimer() {
  const auto due = grab_.nextTick();
  if (!due) return grabTimer_.stop();
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - Time::now());
  grabTimer_.start(std::max(std::chrono::milliseconds(0), wait));
}

}  // namespace quorl::viewer
