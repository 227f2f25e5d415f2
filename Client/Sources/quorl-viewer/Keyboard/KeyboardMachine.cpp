// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Keyboard/KeyboardMachine.h>

#include <algorithm>
#include <utility>

#include <QuorlKit/Protocol/KeyCodes.h>

#include <quorl-viewer/Keyboard/KeyPlaces.h>

namespace quorl::viewer {
namespace {

constexpr WireModifiers shortcutModifiers =
    WireModifiers::control | WireModifiers::option | WireModifiers::command;
constexpr WireModifiers heldModifiers = shortcutModifiers | WireModifiers::shift;

WireModifiers common(WireModifiers a, WireModifiers b) {
  return {a.rawValue & b.rawValue};
}

/// Control characters are what Control and a letter type in a terminal, and what Return or Delete type.
bool isPrintable(const std::string& text) {
  return !text.empty() && std::ranges::none_of(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

}  // namespace

KeyboardActions KeyboardMachine::focusGained(const LockState& locks) {
  hasFocus_ = true;
  return locksChanged(locks);
}

KeyboardActions KeyboardMachine::focusLost() {
  auto actions = releaseAll();
  hasFocus_ = false;
  return actions;
}

KeyboardActions KeyboardMachine::locksChanged(const LockState& locks) {
  KeyboardActions actions;
  if (hasFocus_) syncCapsLock(actions, locks.capsLock);
  return actions;
}

KeyboardActions KeyboardMachine::press(const KeyInput& key) {
  KeyboardActions actions;
  if (!hasFocus_) return actions;
  if (key.isRepeat && (!isRepeating_ || !down_.contains(key.scanCode))) return actions;
  noteModifiers(actions, key.modifiers, key.scanCode);
  if (key.scanCode == scanCode::capsLock) {
    if (!key.isRepeat) pressCapsLock(actions, key.locks.capsLock);
    return actions;
  }
  if (key.scanCode == scanCode::numLock) return actions;
  pressKey(actions, key);
  return actions;
}

void KeyboardMachine::pressCapsLock(KeyboardActions& actions, bool wasOn) {
  // The lock goes on with the press. It goes off with the release (X Keyboard Extension, LockMods).
  endsCapsLock_ = wasOn;
  syncCapsLock(actions, true);
}

void KeyboardMachine::pressKey(KeyboardActions& actions, const KeyInput& key) {
  if (isText(key)) {
    auto& down = down_[key.scanCode];
    // It went down as a key, and its release was lost.
    if (const auto wireKey = std::exchange(down, {}).wireKey) send(actions, *wireKey, false);
    if (isPrintable(key.text)) actions.emplace_back(TypedText{key.text});
    return;
  }
  const auto known = down_.find(key.scanCode);
  const bool isHeldKey = known != down_.end() && known->second.wireKey.has_value();
  const auto wireKey = isHeldKey ? known->second.wireKey : wireKeyOf(key.scanCode, key.locks);
  if (!wireKey) return;
  if (const auto modifier = modifierOfWireKey(*wireKey))
    return pressModifier(actions, key, *wireKey, *modifier);
  down_[key.scanCode].wireKey = wireKey;
  syncCapsLock(actions, key.locks.capsLock);
  send(actions, *wireKey, true);
}

void KeyboardMachine::pressModifier(KeyboardActions& actions, const KeyInput& key, std::uint16_t wireKey,
                                    WireModifiers modifier) {
  if (key.isRepeat) return;
  // Text has its shift and its level in it already. Beside other keys the flags carry the shift.
  const bool isPartOfText = modifier == WireModifiers::shift || key.isLevelKey;
  if (mode_ == KeyboardMode::text && isPartOfText) return;
  down_[key.scanCode] = {.wireKey = wireKey, .modifier = modifier};
  send(actions, wireKey, true);
}

/// Whether a key means its text.
bool KeyboardMachine::isText(const KeyInput& key) const {
  if (mode_ != KeyboardMode::text || !isCharacterKey(key.scanCode)) return false;
  if (common(key.modifiers, shortcutModifiers) != WireModifiers{}) return false;
  if (key.scanCode >= 71 && key.scanCode <= 83 && !isPrintable(key.text)) return false;
  return true;
}

KeyboardActions KeyboardMachine::release(const KeyInput& key) {
  KeyboardActions actions;
  if (key.scanCode == scanCode::capsLock) {
    if (hasFocus_ && std::exchange(endsCapsLock_, false)) syncCapsLock(actions, false);
    return actions;
  }
  const auto down = down_.extract(key.scanCode);
  if (down && down.mapped().wireKey) send(actions, *down.mapped().wireKey, false);
  return actions;
}

KeyboardActions KeyboardMachine::modifiersSeen(WireModifiers modifiers) {
  KeyboardActions actions;
  if (hasFocus_) noteModifiers(actions, modifiers);
  return actions;
}

KeyboardActions KeyboardMachine::commit(const std::string& text) {
  KeyboardActions actions;
  if (hasFocus_ && mode_ == KeyboardMode::text && !text.empty()) actions.emplace_back(TypedText{text});
  return actions;
}

KeyboardActions KeyboardMachine::releaseAll() {
  KeyboardActions actions;
  // Modifiers last, so that no key goes up with another meaning than it went down with.
  inherited_ = {};
  endsCapsLock_ = false;
  std::erase_if(down_, [&](const auto& entry) {
    if (entry.second.modifier) return false;
    if (entry.second.wireKey) send(actions, *entry.second.wireKey, false);
    return true;
  });
  while (!down_.empty()) {
    const auto wireKey = down_.extract(down_.begin()).mapped().wireKey;
    if (wireKey) send(actions, *wireKey, false);
  }
  return actions;
}

KeyboardActions KeyboardMachine::setMode(KeyboardMode mode) {
  if (mode == mode_) return {};
  auto actions = releaseAll();
  mode_ = mode;
  return actions;
}

void KeyboardMachine::connected() {
  down_.clear();
  inherited_ = {};
  isCapsLockOn_ = false;
  isRepeating_ = true;
}

WireModifiers KeyboardMachine::modifiers() const {
  const auto capsLock = isCapsLockOn_ ? WireModifiers::capsLock : WireModifiers{};
  return held() | inherited_ | capsLock | WireModifiers::asPressed;
}

/// Releases modifiers whose release the window did not get, for example because another program had the
/// keyboard for a moment. A modifier that this computer's layout has moved to another key is never reported,
/// so only one that was is compared.
void KeyboardMachine::noteModifiers(KeyboardActions& actions, WireModifiers reported, std::uint16_t except) {
  for (auto entry = down_.begin(); entry != down_.end();) {
    auto& [code, down] = *entry;
    const bool isReported = down.modifier && reported.contains(*down.modifier);
    if (isReported) down.isSeen = true;
    const bool isLost = down.modifier && down.isSeen && !isReported && code != except;
    const auto lost = isLost ? down.wireKey : std::nullopt;
    entry = isLost ? down_.erase(entry) : std::next(entry);
    if (lost) send(actions, *lost, false);
  }
  // Beside modifiers of ours the window system may report others for the same keys, if this computer's layout
  // swaps them.
  const auto known = held() == WireModifiers{} ? heldModifiers : inherited_;
  inherited_ = common(known, reported);
}

/// The host locks with a press that has the flag and unlocks with a release that lacks it. A press that lacks
/// it could toggle a lock that is not ours.
void KeyboardMachine::syncCapsLock(KeyboardActions& actions, bool isOn) {
  if (isOn == isCapsLockOn_) return;
  isCapsLockOn_ = isOn;
  if (isOn) send(actions, keyCode::capsLock, true);
  send(actions, keyCode::capsLock, false);
}

void KeyboardMachine::send(KeyboardActions& actions, std::uint16_t wireKey, bool down) const {
  actions.emplace_back(inputEvent::Key{wireKey, down, modifiers()});
}

WireModifiers KeyboardMachine::held() const {
  WireModifiers flags;
  for (const auto& [code, down] : down_)
    if (down.modifier) flags = flags | *down.modifier;
  return flags;
}

}  // namespace quorl::viewer
