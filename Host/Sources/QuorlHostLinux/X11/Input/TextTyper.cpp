// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/TextTyper.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlHostLinux/X11/Input/FakeKeys.h>
#include <QuorlHostLinux/X11/Input/TextKeysyms.h>
#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {

namespace {

/// The layout may name a character either way.
std::optional<KeyStroke> ownStroke(const Keyboard& keyboard, std::uint32_t keysym, std::uint8_t group) {
  if (const auto stroke = keyboard.strokeFor(keysym, group)) return stroke;
  return keyboard.strokeFor(unicodeKeysymOf(keysym), group);
}

/// A property of the root: the spare keycodes in use. A host that is killed leaves its symbols in the map;
/// without this list the next one would find fewer blank keycodes.
constexpr const char* claimProperty = "_QUORL_SPARE_KEYCODES";

}  // namespace

TextTyper::TextTyper(X11Connection& connection) : connection_(connection), probe_(connection) {
  const XcbReply<xcb_get_property_reply_t> reply(
      xcb_get_property_reply(connection.xcb(),
                             xcb_get_property(connection.xcb(), 0, connection.root(),
                                              connection.atom(claimProperty), XCB_ATOM_CARDINAL, 0, 64),
                             nullptr));
  if (!reply || reply->format != 8) return;
  const auto* codes = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
  leftBehind_.insert(codes, codes + xcb_get_property_value_length(reply.get()));
}

TextTyper::~TextTyper() {
  if (!isClaimed_ || !connection_.isAlive()) return;
  setKeySyms(connection_.xcb(), spares_.blank());
  xcb_delete_property(connection_.xcb(), connection_.root(), connection_.atom(claimProperty));
  xcb_flush(connection_.xcb());
}

std::set<std::uint8_t> TextTyper::ownKeycodes() const {
  std::set<std::uint8_t> own = leftBehind_;
  own.merge(spares_.keycodes());
  return own;
}

void TextTyper::setKeyboard(const Keyboard& keyboard) {
  spares_.setKeycodes(keyboard);
}

bool TextTyper::isReady(std::uint32_t keysym, const Keyboard& keyboard, std::uint8_t group) const {
  // Without spare keycodes, characters that the layout lacks are omitted.
  return spares_.capacity() == 0 || ownStroke(keyboard, keysym, group) ||
         spares_.strokeFor(unicodeKeysymOf(keysym));
}

TextTyper::Ready TextTyper::makeReady(std::span<const std::uint32_t> keysyms,
                                      std::span<const std::uint32_t> following, const Keyboard& keyboard,
                                      std::uint8_t group) {
  const auto countReady = [&] {
    const auto missing =
        std::ranges::find_if(keysyms, [&](auto keysym) { return !isReady(keysym, keyboard, group); });
    return static_cast<std::size_t>(missing - keysyms.begin());
  };
  if (const auto count = countReady(); count > 0) return {.count = count};
  const auto step = nextStep(keysyms, following, keyboard, group);
  // A busy program reads late. Places are reused only after it has answered, not merely after a time.
  if (std::exchange(isUnasked_, false)) probe_.ask();
  const auto now = std::chrono::steady_clock::now();
  const auto free = spares_.whenFree(step.size());
  if (free > now) return {.next = free};
  constexpr std::chrono::milliseconds untilNextLook{5};
  if (!probe_.isAnswered()) return {.next = now + untilNextLook};
  claimSpares();
  setKeySyms(connection_.xcb(), spares_.bind(step));
  return {.count = countReady(), .changedMap = true};
}

// All places change at once: programs read the whole map after each change, which delays them for the next.
std::vector<std::uint32_t> TextTyper::nextStep(std::span<const std::uint32_t> keysyms,
                                               std::span<const std::uint32_t> following,
                                               const Keyboard& keyboard, std::uint8_t group) const {
  const std::size_t most = spares_.capacity();
  std::vector<std::uint32_t> step;
  for (const auto part : {keysyms, following}) {
    for (const auto keysym : part) {
      if (step.size() == most) return step;
      const auto bound = unicodeKeysymOf(keysym);
      if (isReady(keysym, keyboard, group) || std::ranges::find(step, bound) != step.end()) continue;
      step.push_back(bound);
    }
  }
  return step;
}

void TextTyper::type(std::span<const std::uint32_t> keysyms, const Keyboard& keyboard,
                     const XkbState& state) {
  const auto now = std::chrono::steady_clock::now();
  std::uint8_t group = state.group;
  const auto enter = [&](std::uint8_t wanted) {
    if (std::exchange(group, wanted) == wanted) return;
    // The effective group is the locked group plus the offset of held keys.
    lockXkbGroup(connection_.xcb(),
                 static_cast<std::uint8_t>((wanted + state.lockedGroup - state.group) & 3));
  };
  for (const auto keysym : keysyms) {
    auto stroke = ownStroke(keyboard, keysym, state.group);
    if (!stroke) {
      stroke = spares_.strokeFor(unicodeKeysymOf(keysym));
      spares_.pressed(unicodeKeysymOf(keysym), now);
      isUnasked_ = true;
    }
    if (!stroke) continue;
    enter(stroke->group.value_or(state.group));
    press(*stroke, keyboard);
  }
  hold(false, keyboard);
  enter(state.group);
  xcb_flush(connection_.xcb());
}

void TextTyper::claimSpares() {
  if (std::exchange(isClaimed_, true)) return;
  const auto codes = spares_.keycodes();
  const std::vector<std::uint8_t> list(codes.begin(), codes.end());
  xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, connection_.root(),
                      connection_.atom(claimProperty), XCB_ATOM_CARDINAL, 8,
                      static_cast<std::uint32_t>(list.size()), list.data());
}

void TextTyper::press(const KeyStroke& stroke, const Keyboard& keyboard) {
  hold(stroke.shift, keyboard);
  fakeKey(connection_.xcb(), stroke.keycode, true);
  fakeKey(connection_.xcb(), stroke.keycode, false);
}

void TextTyper::hold(bool shift, const Keyboard& keyboard) {
  if (shift == isShiftHeld_) return;
  isShiftHeld_ = shift;
  if (const auto keycode = keyboard.keycodeOf(keyCode::shift)) fakeKey(connection_.xcb(), *keycode, shift);
}

}  // namespace quorl
