// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Input/WaitingInput.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/HostSettings.h>
#include <QuorlHostCore/Shared/InputHold.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Foundation/SecretText.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// Turns the clients' input into synthetic events. One injector serves all clients. Points are global and not
/// checked.
///
/// *Queue*: owns "quorl.input" (rank `service`). Every operation may be called from any thread and posts to
/// it, so that events keep their order of arrival. Text is typed in pieces; between them the input of other
/// clients is posted, while the sender's own input follows its text (`WaitingInput`).
/// *Blocking*: no operation waits. The queue waits for the platform while text is typed, as blocking work.
/// *Ownership*: the runtime's.
/// *Lifetime*: accepted events are posted even after destruction; a text that is paused for the platform is
/// cut off, and input that is held is dropped.
class InputInjector {
 public:
  /// About 20 seconds of typing.
  static constexpr std::size_t maximumFarewell = 5'000;

  static constexpr std::size_t longestPassword = 4'096;
  static constexpr int mostWaitingPasswords = 8;

  /// A window that takes longer to come to the front does not make the client wait.
  static constexpr Duration longestHold = std::chrono::milliseconds(300);

  /// `settings` is called on the injector's queue for each magnify event.
  InputInjector(const Platform& platform, std::function<HostSettings()> settings);
  InputInjector(const InputInjector&) = delete;
  InputInjector& operator=(const InputInjector&) = delete;
  ~InputInjector();

  void pointer(PointerPhase phase, PointerButton button, PointXY at, std::uint8_t clickCount, float pressure,
               WireModifiers modifiers, InputSource from = nullptr);
  /// `precise`: the deltas are in pixels, else in lines.
  void scroll(PointXY at, float deltaX, float deltaY, bool precise, std::uint8_t momentumPhase,
              WireModifiers modifiers, InputSource from = nullptr);
  void magnify(PointXY at, float magnification, std::uint8_t phase, InputSource from = nullptr);
  void key(std::uint16_t keyCode, bool down, WireModifiers modifiers, InputSource from = nullptr);
  /// UTF-8; invalid bytes are typed as U+FFFD.
  void insertText(const std::string& text, InputSource from = nullptr);
  /// Types a password, one character an event (`PasswordKeys`), and then Return. Other text waits meanwhile.
  /// It is typed to its end even if its client leaves. False if the password is longer than `longestPassword`
  /// bytes or `mostWaitingPasswords` wait.
  bool typePassword(SecretText password);
  /// For a client that has left in order: its waiting text is typed to its end, unless more than
  /// `maximumFarewell` UTF-16 code units wait, which are dropped. Holds `from` until then, so that no other
  /// client gets the same address.
  void finish(std::shared_ptr<const void> from);
  /// Drops what waits for a client that is gone: its text and the events after it. Releases of keys and
  /// buttons are posted.
  void drop(InputSource from);

  /// What the client sends after this waits until the result and its copies are gone, in its order. At most
  /// `longestHold`, counted from the client's first hold. Other clients' input does not wait. The result may
  /// be released on any thread and may outlive the injector.
  InputHold hold(InputSource from);

  bool hasAccessibilityPermission() const;
  void requestAccessibilityPermission();

  const SerialQueue& queue() const;

 private:
  class State;

  template <class Event>
  void postInOrder(InputSource from, WaitingInput::Kind kind, Event event);

  std::shared_ptr<State> state_;
};

}  // namespace quorl
