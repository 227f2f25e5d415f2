// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <memory>

#include <QuorlHostCore/Ports/SystemPower.h>
#include <QuorlHostLinux/Power/BusInhibitor.h>

namespace quorl {

/// Keeps the machine awake by an inhibitor of org.freedesktop.login1, and the displays by one of
/// org.freedesktop.ScreenSaver, the service of the desktop. There are connections and threads only while
/// something is held. Both survive a restart of the service.
///
/// *Queue*, *blocking*, *lifetime*: those of the port.
class BusAssertions final : public PowerAssertions {
 public:
  ID create(PowerAssertion kind, const std::string& name) override;
  /// Asks the screen saver to count from now on. There is nothing to hold.
  ID declareUserActivity(const std::string& name) override;
  void release(ID assertion) override { held_.erase(assertion); }

 private:
  std::map<ID, std::unique_ptr<BusInhibitor>> held_;  // null for an activity
  ID last_ = none;
};

}  // namespace quorl
