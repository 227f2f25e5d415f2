// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/InputInjector.h>

#include <array>
#include <atomic>
#include <cmath>
#include <deque>
#include <limits>
#include <map>
#include <set>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/Timer.h>
#include <QuorlHostCore/Input/InputHolds.h>
#include <QuorlHostCore/Input/PasswordKeys.h>
#include <QuorlHostCore/Input/TextChunks.h>
#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostCore/Ports/Permissions.h>

namespace quorl {

namespace {

// Pixels of scrolling for a magnification of 1.
constexpr double pixelsPerMagnification = 60;

// Virtual key code of the Mac's ANSI keyboard.
constexpr std::uint16_t returnKey = 36;

struct ButtonTypes {
  MouseEventType down;
  MouseEventType up;
  MouseEventType dragged;
};

ButtonTypes typesOf(PointerButton button) {
  switch (button) {
    case PointerButton::left:
      return {MouseEventType::leftDown, MouseEventType::leftUp, MouseEventType::leftDragged};
    case PointerButton::right:
      return {MouseEventType::rightDown, MouseEventType::rightUp, MouseEventType::rightDragged};
    case PointerButton::middle:
      return {MouseEventType::otherDown, MouseEventType::otherUp, MouseEventType::otherDragged};
  }
  return {MouseEventType::leftDown, MouseEventType::leftUp, MouseEventType::leftDragged};
}

std::uint64_t eventFlagsOf(WireModifiers modifiers) {
  static constexpr std::array<std::pair<WireModifiers, std::uint64_t>, 7> table{{
      {WireModifiers::capsLock, eventFlags::capsLock},
      {WireModifiers::shift, eventFlags::shift},
      {WireModifiers::control, eventFlags::control},
      {WireModifiers::option, eventFlags::option},
      {WireModifiers::command, eventFlags::command},
      {WireModifiers::function, eventFlags::function},
      {WireModifiers::asPressed, eventFlags::asPressed},
  }};
  std::uint64_t flags = 0;
  for (const auto& [modifier, flag] : table)
    if (modifiers.contains(modifier)) flags |= flag;
  return flags;
}

WaitingInput::Kind kindOf(PointerPhase phase) {
  switch (phase) {
    case PointerPhase::moved:
    case PointerPhase::hover:
      return WaitingInput::Kind::motion;
    case PointerPhase::down:
      return WaitingInput::Kind::pointing;
    case PointerPhase::up:
      return WaitingInput::Kind::buttonUp;
  }
  return WaitingInput::Kind::pointing;
}

std::int32_t saturated(double value) {
  if (!std::isfinite(value)) return 0;
  using Limits = std::numeric_limits<std::int32_t>;
  const double rounded = std::round(value);
  if (rounded >= static_cast<double>(Limits::max())) return Limits::max();
  if (rounded <= static_cast<double>(Limits::min())) return Limits::min();
  return static_cast<std::int32_t>(rounded);
}

}  // namespace

/// The state on the injector's queue. Pending work shares it, so that accepted input is posted.
class InputInjector::State : public std::enable_shared_from_this<State> {
 public:
  State(const Platform& platform, std::function<HostSettings()> currentSettings)
      : queue(*platform.scheduler, "quorl.input", QueueRank::service),
        permissions(platform.permissions),
        source_(platform.events),
        settings_(std::move(currentSettings)) {}

  const SerialQueue queue;
  const std::shared_ptr<Permissions> permissions;
  std::atomic<std::uint64_t> lastTicket{0};  // of holds
  std::atomic<int> waitingPasswords{0};

  void beginHold(InputSource from, std::uint64_t ticket) {
    queue.assertCurrent();
    if (!holds_.begin(from, ticket)) return;
    holdLimits_[from] = queue.after(longestHold, [weak = weak_from_this(), from] {
      if (const auto self = weak.lock()) self->releaseHold(from);
    });
  }

  void endHold(InputSource from, std::uint64_t ticket) {
    queue.assertCurrent();
    if (holds_.end(from, ticket)) releaseHold(from);
  }

  /// Runs `action` now, or when the client's hold ends.
  void unlessHeld(InputSource from, InputHolds::Action action, bool isRelease = false) {
    queue.assertCurrent();
    if (!holds_.isHeld(from)) return action();
    if (!holds_.add(from, std::move(action), isRelease)) releaseHold(from);
  }

  void pointer(PointerPhase phase, MouseEvent event) {
    queue.assertCurrent();
    event.type = mouseType(phase, event.button);
    source_->post(event);
  }

  void magnify(PointXY at, float magnification) {
    queue.assertCurrent();
    if (!settings_().magnifyAsCommandScroll) return;
    const std::int32_t amount = saturated(static_cast<double>(magnification) * pixelsPerMagnification);
    if (amount == 0) return;
    post(ScrollEvent{.unit = ScrollUnit::pixel,
                     .wheel1 = amount,
                     .location = at,
                     .flags = eventFlags::command,
                     .isContinuous = true});
  }

  void post(const SyntheticEvent& event) {
    queue.assertCurrent();
    source_->post(event);
  }

  /// Runs `post` now, or after the waiting text of the same client.
  void inOrder(InputSource from, WaitingInput::Kind kind, WaitingInput::Post post) {
    queue.assertCurrent();
    if (!waiting_.holdBack(from, kind, post)) post();
  }

  void insertText(TextChunks text, InputSource from) {
    queue.assertCurrent();
    if (!waiting_.addText(from, std::move(text)))
      Log::app.error("a text was not typed: too much text of its client is waiting");
    if (!isScheduled_ && !pause_.isPending()) typeOn();
  }

  void typePassword(PasswordKeys password) {
    queue.assertCurrent();
    passwords_.push_back(std::move(password));
    if (!isScheduled_ && !pause_.isPending()) typeOn();
  }

  void finish(const std::shared_ptr<const void>& from) {
    queue.assertCurrent();
    if (waiting_.waitingUnits(from.get()) > maximumFarewell) return drop(from.get());
    inOrder(from.get(), WaitingInput::Kind::key, [from] {});
  }

  void drop(InputSource from) {
    queue.assertCurrent();
    const bool hadPiece = waiting_.hasPiece();
    const auto waiting = waiting_.drop(from);
    auto held = holds_.drop(from);
    holdLimits_.erase(from);
    for (const auto& release : waiting) release();
    for (auto& release : held) release();
    // Other clients need not wait for the pause of a dropped text.
    if (hadPiece && !waiting_.hasPiece() && pause_.isPending()) {
      pause_.cancel();
      typeOn();
    }
  }

 private:
  void releaseHold(InputSource from) {
    queue.assertCurrent();
    holdLimits_.erase(from);
    for (auto& action : holds_.release(from)) action();
  }

  // Types one piece at a time until the platform needs a pause. Between pieces the input of other clients is
  // posted.
  void typeOn() {
    queue.assertCurrent();
    if (!waiting_.hasPiece() && !isPasswordPiece_ && !beginPiece()) return;
    Duration wait = Duration::zero();
    queue.scheduler().blocking([&] {
      queue.assertCurrent();
      wait = source_->finishText(isPasswordPiece_ ? std::u16string_view() : waiting_.following());
    });
    if (wait > Duration::zero()) {
      pause_ = queue.after(wait, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->typeOn();
      });
      return;
    }
    if (!std::exchange(isPasswordPiece_, false))
      for (const auto& post : waiting_.pieceTyped()) post();
    if (waiting_.isEmpty() && passwords_.empty()) return;
    isScheduled_ = true;
    queue.async([self = shared_from_this()] {
      self->queue.assertCurrent();
      self->isScheduled_ = false;
      self->typeOn();
    });
  }

  // Passwords first, so that no other text comes between their characters. False if nothing is left to type.
  bool beginPiece() {
    queue.assertCurrent();
    for (; !passwords_.empty(); passwords_.pop_front(), --waitingPasswords) {
      if (const auto unit = passwords_.front().next()) {
        postText({*unit});
        isPasswordPiece_ = true;
        return true;
      }
      for (const bool down : {true, false}) post(KeyboardEvent{.keyCode = returnKey, .down = down});
    }
    const auto piece = waiting_.nextPiece();
    if (piece) postText(*piece);
    return piece.has_value();
  }

  void postText(const std::u16string& piece) {
    // An event without text would be a key event.
    if (piece.empty()) return;
    queue.scheduler().blocking([&] {
      source_->post(KeyboardEvent{.keyCode = 0, .down = true, .unicode = piece});
      source_->post(KeyboardEvent{.keyCode = 0, .down = false, .unicode = piece});
    });
  }

  MouseEventType mouseType(PointerPhase phase, PointerButton button) {
    queue.assertCurrent();
    switch (phase) {
      case PointerPhase::down:
        buttonsDown_.insert(button);
        return typesOf(button).down;
      case PointerPhase::up:
        buttonsDown_.erase(button);
        return typesOf(button).up;
      case PointerPhase::moved:
        if (buttonsDown_.contains(button)) return typesOf(button).dragged;
        if (!buttonsDown_.empty()) return typesOf(*buttonsDown_.begin()).dragged;
        return MouseEventType::moved;
      case PointerPhase::hover:
        return MouseEventType::moved;
    }
    return MouseEventType::moved;
  }

  const std::shared_ptr<EventPoster> source_;
  const std::function<HostSettings()> settings_;
  std::set<PointerButton> buttonsDown_ QUORL_GUARDED_BY(queue);
  WaitingInput waiting_ QUORL_GUARDED_BY(queue);
  std::deque<PasswordKeys> passwords_ QUORL_GUARDED_BY(queue);
  bool isPasswordPiece_ QUORL_GUARDED_BY(queue) = false;  // the piece being typed is of a password
  InputHolds holds_ QUORL_GUARDED_BY(queue);
  std::map<InputSource, Timer> holdLimits_ QUORL_GUARDED_BY(queue);
  bool isScheduled_ QUORL_GUARDED_BY(queue) = false;  // a run of `typeOn` is posted
  Timer pause_ QUORL_GUARDED_BY(queue);
};

InputInjector::InputInjector(const Platform& platform, std::function<HostSettings()> settings)
    : state_(std::make_shared<State>(platform, std::move(settings))) {}

InputInjector::~InputInjector() = default;

template <class Event>
void InputInjector::postInOrder(InputSource from, WaitingInput::Kind kind, Event event) {
  state_->queue.async([state = state_, from, kind, event] {
    state->unlessHeld(
        from,
        [state = state.get(), from, kind, event] {
          state->inOrder(from, kind, [state, event] { event(*state); });
        },
        WaitingInput::isRelease(kind));
  });
}

const SerialQueue& InputInjector::queue() const {
  return state_->queue;
}

void InputInjector::pointer(PointerPhase phase, PointerButton button, PointXY at, std::uint8_t clickCount,
                            float pressure, WireModifiers modifiers, InputSource from) {
  MouseEvent event{.location = at, .button = button, .flags = eventFlagsOf(modifiers)};
  if (clickCount != 0) event.clickState = clickCount;
  if (pressure > 0) event.pressure = pressure;
  postInOrder(from, kindOf(phase), [phase, event](State& state) { state.pointer(phase, event); });
}

void InputInjector::scroll(PointXY at, float deltaX, float deltaY, bool precise, std::uint8_t momentumPhase,
                           WireModifiers modifiers, InputSource from) {
  ScrollEvent event{.unit = precise ? ScrollUnit::pixel : ScrollUnit::line,
                    .wheel1 = saturated(deltaY),
                    .wheel2 = saturated(deltaX),
                    .location = at,
                    .flags = eventFlagsOf(modifiers)};
  if (precise) {
    event.isContinuous = true;
    event.pointDeltaAxis1 = deltaY;
    event.pointDeltaAxis2 = deltaX;
  }
  if (momentumPhase != 0) event.momentumPhase = momentumPhase;
  postInOrder(from, WaitingInput::Kind::pointing, [event](State& state) { state.post(event); });
}

void InputInjector::magnify(PointXY at, float magnification, std::uint8_t /*phase*/, InputSource from) {
  postInOrder(from, WaitingInput::Kind::pointing,
              [at, magnification](State& state) { state.magnify(at, magnification); });
}

void InputInjector::key(std::uint16_t keyCode, bool down, WireModifiers modifiers, InputSource from) {
  const KeyboardEvent event{.keyCode = keyCode, .down = down, .flags = eventFlagsOf(modifiers)};
  const auto kind = down ? WaitingInput::Kind::key : WaitingInput::Kind::keyUp;
  postInOrder(from, kind, [event](State& state) { state.post(event); });
}

// The sender's thread converts a long text, so that no other client waits for it.
void InputInjector::insertText(const std::string& text, InputSource from) {
  state_->queue.async([state = state_, chunks = TextChunks(text), from]() mutable {
    state->unlessHeld(from, [state = state.get(), chunks = std::move(chunks), from]() mutable {
      state->insertText(std::move(chunks), from);
    });
  });
}

bool InputInjector::typePassword(SecretText password) {
  if (password.view().size() > longestPassword || state_->waitingPasswords >= mostWaitingPasswords)
    return false;
  ++state_->waitingPasswords;
  state_->queue.async([state = state_, keys = PasswordKeys(std::move(password))]() mutable {
    state->typePassword(std::move(keys));
  });
  return true;
}

void InputInjector::finish(std::shared_ptr<const void> from) {
  state_->queue.async([state = state_, from = std::move(from)] {
    state->unlessHeld(from.get(), [state = state.get(), from] { state->finish(from); });
  });
}

void InputInjector::drop(InputSource from) {
  state_->queue.async([state = state_, from] { state->drop(from); });
}

InputHold InputInjector::hold(InputSource from) {
  const std::uint64_t ticket = ++state_->lastTicket;
  state_->queue.async([state = state_, from, ticket] { state->beginHold(from, ticket); });
  return {nullptr, [weak = std::weak_ptr(state_), from, ticket](std::nullptr_t) {
            const auto state = weak.lock();
            if (state) state->queue.async([state, from, ticket] { state->endHold(from, ticket); });
          }};
}

bool InputInjector::hasAccessibilityPermission() const {
  return state_->permissions->mayPostInput();
}

void InputInjector::requestAccessibilityPermission() {
  state_->permissions->requestInput();
}

}  // namespace quorl
