// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/DesktopNotifier.h>
#include <QuorlHostLinux/System/BusLoop.h>

namespace quorl {

/// The host on the bus of the user's session: it owns the name dev.vek.quorl.host, lets another start of the
/// program show the panel of the one that runs, has the property Version there, and shows desktop
/// notifications (org.freedesktop.Notifications, Desktop Notifications Specification 1.2).
///
/// *Queue*: operations on any thread; `show` is called on a thread of the bus.
/// *Blocking*: only `claim` waits, for `claimLimit` at most.
/// *Ownership*: owns a thread, unless the session has no bus.
/// *Lifetime*: destruction gives up the name and waits for a call of `show` that is running.
class SessionPresence final : public DesktopNotifier {
 public:
  enum class Claim : std::uint8_t {
    first,         // this process owns the name
    shownByOther,  // another process does, and shows its panel
    heldByOther,   // another process does, and has no desktop to show anything on
    unavailable,   // no bus, or one that does not answer
  };
  static constexpr std::chrono::seconds claimLimit{2};

  explicit SessionPresence(std::string version);
  ~SessionPresence() override;

  /// Asks for the name, once. If another process owns it, asks that one to show its panel.
  Claim claim();
  /// `show` returns whether there is a desktop to show the panel on, and must not block. Requests from before
  /// are passed on now. Without a handler they wait for one; after this call none of the old one runs.
  void onShow(std::function<bool()> show);

  void notify(const std::string& title, const std::string& text) override;

 private:
  struct State;

  std::shared_ptr<State> state_;
  std::unique_ptr<BusLoop> loop_;
};

}  // namespace quorl
