// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <quorl-viewer/Keyboard/KeyInput.h>

namespace quorl::viewer {

/// Decides what the host gets for the keys of the viewer's window. An event goes in, what to send comes out.
///
/// The host never repeats a key, so each repeat here is one more press; a key whose release is delayed on the
/// way types once. Every release is sent for the key that went down, also if Num Lock or the mode changed
/// meanwhile.
///
/// Caps Lock is sent as a state, not as a key that toggles: the host's lock follows this computer's. Num Lock
/// stays here and decides what the keypad means.
///
/// *Queue*: pure; one thread at a time.
class KeyboardMachine {
 public:
  explicit KeyboardMachine(KeyboardMode mode = KeyboardMode::keys) : mode_(mode) {}

  KeyboardMode mode() const { return mode_; }
  /// Whether the window lets an input method compose text.
  bool wantsInputMethod() const { return mode_ == KeyboardMode::text; }

  /// Keys count only while the window has the focus.
  KeyboardActions focusGained(const LockState& locks);
  KeyboardActions focusLost();
  KeyboardActions press(const KeyInput& key);
  KeyboardActions release(const KeyInput& key);
  /// Text that the input method has composed, dead keys included. Nothing is sent in the mode for keys.
  KeyboardActions commit(const std::string& text);
  /// The modifiers that an event of the pointer reports. A release that was lost is made up for.
  KeyboardActions modifiersSeen(WireModifiers modifiers);
  /// The lock state changed without a key event.
  KeyboardActions locksChanged(const LockState& locks);

  /// Releases all that is held at the host: when the keyboard grab ends, with another screen mode, before a
  /// special key. A key that is still down here does nothing more until it is pressed again.
  KeyboardActions releaseAll();
  KeyboardActions setMode(KeyboardMode mode);

  /// While the host does not answer, repeats are not sent: they would all be typed afterwards.
  void setRepeating(bool isRepeating) { isRepeating_ = isRepeating; }
  /// A new connection: the host holds nothing of ours. To be followed by `focusGained` if the window has it.
  void connected();

  /// For the events of the pointer.
  WireModifiers modifiers() const;

 private:
  struct Down {
    std::optional<std::uint16_t> wireKey;   // absent: the key typed text
    std::optional<WireModifiers> modifier;  // of a modifier key
    bool isSeen = false;                    // the window system has reported the modifier since
  };

  void noteModifiers(KeyboardActions& actions, WireModifiers reported, std::uint16_t except = 0);
  void pressCapsLock(KeyboardActions& actions, bool wasOn);
  void pressKey(KeyboardActions& actions, const KeyInput& key);
  void pressModifier(KeyboardActions& actions, const KeyInput& key, std::uint16_t wireKey,
                     WireModifiers modifier);
  bool isText(const KeyInput& key) const;
  void syncCapsLock(KeyboardActions& actions, bool isOn);
  void send(KeyboardActions& actions, std::uint16_t wireKey, bool down) const;
  WireModifiers held() const;

  KeyboardMode mode_;
  bool hasFocus_ = false;
  bool isRepeating_ = true;
  bool isCapsLockOn_ = false;           // at the host, by us
  bool endsCapsLock_ = false;           // Caps Lock is down and was on before
  std::map<std::uint16_t, Down> down_;  // by scan code, since the window has the focus
  WireModifiers inherited_;             // held since before the window got the focus, or latched
};

}  // namespace quorl::viewer
