// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Session/HostSettings.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

/// Turns the clients' input into synthetic events. One injector serves all clients; it trusts the global
/// points that it is given.
///
/// *Queue*: owns "quorl.input" (rank `service`); every operation may be called from any thread, returns at
/// once and posts there, so that events keep their order of arrival.
/// *Ownership*: the runtime. *Lifetime*: events that were accepted are posted even after its release.
class InputInjector {
 public:
  /// `settings` is asked on the injector's queue, for each magnify event.
  InputInjector(const Platform& platform, std::function<HostSettings()> settings);
  InputInjector(const InputInjector&) = delete;
  InputInjector& operator=(const InputInjector&) = delete;
  ~InputInjector();

  void pointer(PointerPhase phase, PointerButton button, PointXY at, std::uint8_t clickCount, float pressure,
               WireModifiers modifiers);
  /// `precise`: the deltas are pixels, else lines.
  void scroll(PointXY at, float deltaX, float deltaY, bool precise, std::uint8_t momentumPhase,
              WireModifiers modifiers);
  void magnify(PointXY at, float magnification, std::uint8_t phase);
  void key(std::uint16_t keyCode, bool down, WireModifiers modifiers);
  /// UTF-8; what is not valid is typed as U+FFFD.
  void insertText(const std::string& text);

  bool hasAccessibilityPermission() const;
  void requestAccessibilityPermission();

  const SerialQueue& queue() const;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace quorl
