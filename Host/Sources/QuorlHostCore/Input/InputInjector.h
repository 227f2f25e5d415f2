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
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// Turns the clients' input into synthetic events. One injector serves all clients; it trusts the global
/// points that it is given.
///
/// *Queue*: owns "quorl.input" (rank `service`); every operation may be called from any thread, returns at
/// once and posts there, so that events keep their order of arrival. Text is typed in pieces, between which
/// the input of other clients is posted; the sender's own follows its text (`WaitingInput`).
/// *Ownership*: the runtime. *Lifetime*: events that were accepted are posted even after its release; text
/// for which the platform needs time is cut short by it.
class InputInjector {
 public:
  /// `settings` is asked on the injector's queue, for each magnify event.
  InputInjector(const Platform& platform, std::function<HostSettings()> settings);
  InputInjector(const InputInjector&) = delete;
  InputInjector& operator=(const InputInjector&) = delete;
  ~InputInjector();

  void pointer(PointerPhase phase, PointerButton button, PointXY at, std::uint8_t clickCount, float pressure,
               WireModifiers modifiers, InputSource from = nullptr);
  /// `precise`: the deltas are pixels, else lines.
  void scroll(PointXY at, float deltaX, float deltaY, bool precise, std::uint8_t momentumPhase,
              WireModifiers modifiers, InputSource from = nullptr);
  void magnify(PointXY at, float magnification, std::uint8_t phase, InputSource from = nullptr);
  void key(std::uint16_t keyCode, bool down, WireModifiers modifiers, InputSource from = nullptr);
  /// UTF-8; what is not valid is typed as U+FFFD.
  void insertText(const std::string& text, InputSource from = nullptr);
  /// Forgets what waits of a client that leaves, its text and the events after it.
  void drop(InputSource from);

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
