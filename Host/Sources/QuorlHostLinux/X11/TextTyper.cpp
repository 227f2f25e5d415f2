// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/TextTyper.h>

#include <poll.h>
#include <algorithm>
#include <chrono>
#include <vector>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/FakeKeys.h>
#include <QuorlHostLinux/X11/KeyCodes.h>
#include <QuorlHostLinux/X11/TextKeysyms.h>
#include <QuorlHostLinux/X11/XcbReply.h>

namespace quorl {

namespace {

/// The layout may name a character either way.
std::optional<KeyStroke> ownStroke(const Keyboard& keyboard, std::uint32_t keysym, std::uint8_t group) {
  if (const auto stroke = keyboard.strokeFor(keysym, group)) return stroke;
  return keyboard.strokeFor(unicodeKeysymOf(keysym), group);
}

/// On the root: the spare keycodes in use. A run that is killed leaves its symbols in the map; without a word
/// of them the next one would find fewer blank keycodes.
constexpr const char* claimProperty = "_QUORL_SPARE_KEYCODES";

}  // namespace

TextTyper::TextTyper(X11Connection& connection) : connection_(connection) {
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

void TextTyper::type(std::u16string_view text, const Keyboard& keyboard, std::uint8_t group) {
  const auto keysyms = keysymsOf(text);
  std::set<std::uint32_t> foreign;
  std::size_t start = 0;
  for (std::size_t i = 0; i < keysyms.size(); ++i) {
    const auto bound = unicodeKeysymOf(keysyms[i]);
    if (ownStroke(keyboard, keysyms[i], group) || foreign.contains(bound)) continue;
    if (foreign.size() == spares_.capacity()) {
      typeRound(std::span(keysyms).subspan(start, i - start), foreign, keyboard, group);
      start = i;
      foreign.clear();
    }
    if (spares_.capacity() > 0) foreign.insert(bound);
  }
  typeRound(std::span(keysyms).subspan(start), foreign, keyboard, group);
}

void TextTyper::typeRound(std::span<const std::uint32_t> keysyms, const std::set<std::uint32_t>& foreign,
                          const Keyboard& keyboard, std::uint8_t group) {
  const auto binding = spares_.bind(foreign);
  if (!binding.changes.empty()) {
    claimSpares();
    waitUntil(binding.notBefore);
    setKeySyms(connection_.xcb(), binding.changes);
  }
  for (const auto keysym : keysyms) {
    auto stroke = ownStroke(keyboard, keysym, group);
    if (!stroke) stroke = spares_.strokeFor(unicodeKeysymOf(keysym));
    if (!stroke) continue;
    hold(stroke->shift, keyboard);
    press(stroke->keycode);
  }
  hold(false, keyboard);
  xcb_flush(connection_.xcb());
  const auto now = std::chrono::steady_clock::now();
  for (const auto keysym : foreign) spares_.pressed(keysym, now);
}

void TextTyper::claimSpares() {
  if (std::exchange(isClaimed_, true)) return;
  const auto codes = spares_.keycodes();
  const std::vector<std::uint8_t> list(codes.begin(), codes.end());
  xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, connection_.root(),
                      connection_.atom(claimProperty), XCB_ATOM_CARDINAL, 8,
                      static_cast<std::uint32_t>(list.size()), list.data());
}

void TextTyper::waitUntil(SpareKeys::Time time) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now());
    if (left.count() <= 0) return;
    // Only a server that goes away ends the wait early.
    pollfd server{connection_.descriptor(), 0, 0};
    if (::poll(&server, 1, static_cast<int>(left.count())) > 0) return;
  }
}

void TextTyper::press(std::uint8_t keycode) {
  fakeKey(connection_.xcb(), keycode, true);
  fakeKey(connection_.xcb(), keycode, false);
}

void TextTyper::hold(bool shift, const Keyboard& keyboard) {
  if (shift == isShiftHeld_) return;
  isShiftHeld_ = shift;
  if (const auto keycode = keyboard.keycodeOf(keyCode::shift)) fakeKey(connection_.xcb(), *keycode, shift);
}

}  // namespace quorl
