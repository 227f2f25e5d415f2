// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/XTestPoster.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <span>
#include <string_view>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QuorlHostLinux/X11/Connection/SigpipeBlock.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlHostLinux/X11/Connection/XkbRequests.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlHostLinux/X11/Input/FakeKeys.h>
#include <QuorlHostLinux/X11/Input/InputPlanner.h>
#include <QuorlHostLinux/X11/Input/Keyboard.h>
#include <QuorlHostLinux/X11/Input/ProgramFocus.h>
#include <QuorlHostLinux/X11/Input/TextKeysyms.h>
#include <QuorlHostLinux/X11/Input/TextTyper.h>
#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {

namespace {

/// The characters of Japanese keys to which the layout gives no symbol.
std::u16string_view meaningOfBlankKey(std::uint16_t wireCode) {
  constexpr std::uint16_t yen = 0x5D;
  constexpr std::uint16_t underscore = 0x5E;
  if (wireCode == yen) return u"\u00A5";
  if (wireCode == underscore) return u"_";
  return {};
}

}  // namespace

/// The state for one connection to a server.
class XTestPoster::Session {
 public:
  explicit Session(std::unique_ptr<X11Connection> connection)
      : connection_(std::move(connection)), typer_(*connection_), focus_(*connection_) {
    selectMonitorEvents(*connection_);
    if (connection_->extensions().xkb.present) selectXkbMapEvents(connection_->xcb());
  }

  ~Session() { releaseAll(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool isUsable() const { return connection_->isAlive() && connection_->extensions().xtest.present; }

  /// Handles pending events of the server, and notices its end.
  void readEvents() {
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_->xcb())}) {
      if (isXkbMapEvent(event.get(), connection_->extensions().xkb)) isMapStale_ = true;
      if (isMonitorEvent(event.get(), *connection_)) origin_.reset();
      typer_.take(event.get());
      focus_.take(event.get());
    }
  }

  void post(const MouseEvent& event) { carryOut(planner_.plan(event)); }
  void post(const ScrollEvent& event) { carryOut(planner_.plan(event)); }
  void post(const KeyboardEvent& event) {
    if (event.unicode.empty()) {
      const auto program =
          InputPlanner::dependsOnProgram(event) ? focus_.current() : FocusedProgram::ordinary;
      return carryOut(planner_.plan(event, program));
    }
    // A text arrives with a press and with its release. The press types it.
    if (event.down) untyped_ = keysymsOf(event.unicode);
  }

  Duration finishText(std::u16string_view following) {
    if (untyped_.empty()) return Duration::zero();
    // One step takes no more than this.
    constexpr std::size_t lookAhead = 256;
    const auto next = typeSome(untyped_, keysymsOf(following.substr(0, lookAhead)));
    if (!next) return Duration::zero();
    constexpr Duration soon = std::chrono::milliseconds(1);
    return std::max(soon, std::chrono::ceil<Duration>(*next - std::chrono::steady_clock::now()));
  }

  void releaseAll() {
    const SigpipeBlock noSignal;
    carryOut(planner_.releaseAll());
  }

 private:
  const Keyboard* keyboard() {
    if (keyboard_ && !isMapStale_) return keyboard_.get();
    auto read = Keyboard::read(*connection_, typer_.ownKeycodes());
    if (!read) return nullptr;
    keyboard_ = std::move(*read);
    typer_.setKeyboard(*keyboard_);
    isMapStale_ = false;
    return keyboard_.get();
  }

  void carryOut(const std::vector<InputAction>& actions) {
    for (const auto& action : actions) carryOut(action);
    xcb_flush(connection_->xcb());
  }

  void carryOut(const InputAction& action) {
    switch (action.kind) {
      case InputAction::Kind::motion:
        return movePointer(action.x, action.y);
      case InputAction::Kind::button:
        xcb_test_fake_input(connection_->xcb(), action.down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE,
                            static_cast<std::uint8_t>(action.code), XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        return;
      case InputAction::Kind::key:
        return pressKey(action.code, action.down);
      case InputAction::Kind::capsLock:
        return lockCaps(action.down);
    }
  }

  /// The position counts from the corner of the main display.
  void movePointer(int x, int y) {
    if (!origin_) origin_ = originOf(readMonitors(*connection_));
    const auto coordinate = [](int value) {
      return static_cast<std::int16_t>(std::clamp(value, -32'768, 32'767));
    };
    // Detail 0: the position is absolute (X Test Extension Protocol 2.2).
    xcb_test_fake_input(connection_->xcb(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, connection_->root(),
                        coordinate(x + origin_->x), coordinate(y + origin_->y), 0);
  }

  void pressKey(std::uint16_t wireCode, bool down) {
    const Keyboard* map = keyboard();
    const auto keycode = map == nullptr ? std::nullopt : map->keycodeOf(wireCode);
    if (!keycode) return;
    if (map->isBlank(*keycode) && !meaningOfBlankKey(wireCode).empty()) {
      auto meaning = keysymsOf(meaningOfBlankKey(wireCode));
      if (down) typeSome(meaning, {});
      return;
    }
    const std::uint8_t numLock = down && isKeypadCharacter(wireCode) ? map->numLockMask() : 0;
    const bool isLent = numLock != 0 && lockIfUnlocked(numLock);
    if (down) {
      pressWithoutRepeat(connection_->xcb(), *keycode);
    } else {
      fakeKey(connection_->xcb(), *keycode, false);
    }
    if (isLent) lockXkbModifiers(connection_->xcb(), numLock, 0);
  }

  /// False when it was locked already.
  bool lockIfUnlocked(std::uint8_t mask) {
    const auto state = readXkbState(connection_->xcb());
    if (!state || (state->lockedModifiers & mask) != 0) return false;
    lockXkbModifiers(connection_->xcb(), mask, mask);
    return true;
  }

  void lockCaps(bool on) {
    if (on) {
      // A lock that the person at the computer has set stays set.
      isCapsLockOurs_ = lockIfUnlocked(Keyboard::lockMask);
    } else if (std::exchange(isCapsLockOurs_, false)) {
      lockXkbModifiers(connection_->xcb(), Keyboard::lockMask, 0);
    }
  }

  /// Types from the start of `keysyms` and removes the keysyms it typed. Returns when to continue with the
  /// rest, if any.
  std::optional<SpareKeys::Time> typeSome(std::vector<std::uint32_t>& keysyms,
                                          const std::vector<std::uint32_t>& following) {
    const Keyboard* map = keyboard();
    const auto state = readXkbState(connection_->xcb());
    while (map != nullptr && state && !keysyms.empty()) {
      const auto ready = typer_.makeReady(keysyms, following, *map, state->group);
      if (ready.changedMap) forgetOwnMapEvents();
      if (ready.count == 0) return ready.next;
      typeNow(std::span(keysyms).first(ready.count), *map, *state);
      keysyms.erase(keysyms.begin(), keysyms.begin() + static_cast<std::ptrdiff_t>(ready.count));
    }
    keysyms.clear();
    return std::nullopt;
  }

  void typeNow(std::span<const std::uint32_t> keysyms, const Keyboard& map, const XkbState& state) {
    const bool isCapsLocked = (state.lockedModifiers & Keyboard::lockMask) != 0;
    const auto held = planner_.heldModifierKeys();
    const auto setModifiers = [&](bool down) {
      for (const auto code : held) {
        if (const auto keycode = map.keycodeOf(code)) fakeKey(connection_->xcb(), *keycode, down);
      }
    };
    setModifiers(false);
    if (isCapsLocked) lockXkbModifiers(connection_->xcb(), Keyboard::lockMask, 0);
    typer_.type(keysyms, map, state);
    if (isCapsLocked) lockXkbModifiers(connection_->xcb(), Keyboard::lockMask, Keyboard::lockMask);
    setModifiers(true);
    xcb_flush(connection_->xcb());
  }

  /// Drops the events of our own changes of the map.
  void forgetOwnMapEvents() {
    const bool wasStale = isMapStale_;
    readEvents();
    isMapStale_ = wasStale;
  }

  std::unique_ptr<X11Connection> connection_;
  TextTyper typer_;
  ProgramFocus focus_;
  InputPlanner planner_;
  std::unique_ptr<Keyboard> keyboard_;
  std::vector<std::uint32_t> untyped_;  // keysyms of the text posted last
  bool isMapStale_ = false;
  std::optional<RootPosition> origin_;  // of global points; nothing: to be read
  bool isCapsLockOurs_ = false;
};

XTestPoster::XTestPoster(X11DisplayName displayName) : displayName_(std::move(displayName)) {}

XTestPoster::~XTestPoster() {
  const SigpipeBlock noSignal;
  session_.reset();
}

bool XTestPoster::connect() {
  if (session_) session_->readEvents();
  if (session_ && !session_->isUsable()) session_.reset();
  if (session_) return true;
  auto connection = X11Connection::open(displayName_);
  if (!connection) return false;
  session_ = std::make_unique<Session>(std::move(*connection));
  return session_->isUsable();
}

void XTestPoster::post(const SyntheticEvent& event) {
  const SigpipeBlock noSignal;
  if (!connect()) return;
  std::visit([this](const auto& each) { session_->post(each); }, event);
}

Duration XTestPoster::finishText(std::u16string_view following) {
  const SigpipeBlock noSignal;
  return session_ && connect() ? session_->finishText(following) : Duration::zero();
}

void XTestPoster::releaseAll() {
  if (session_) session_->releaseAll();
}

}  // namespace quorl
