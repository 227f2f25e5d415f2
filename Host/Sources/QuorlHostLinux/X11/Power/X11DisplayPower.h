// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/SystemPower.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The displays of an X server: DPMS where the server has it, else its screen saver. Keeping them awake
/// suspends both (MIT-SCREEN-SAVER 1.1).
///
/// *Queue*, *blocking*: those of the ports.
/// *Ownership*: owns a connection while it keeps the displays awake, whose end lets them sleep again. After a
/// restart of the server they are not kept awake.
class X11DisplayPower final : public PowerAssertions, public DisplayPower {
 public:
  explicit X11DisplayPower(X11DisplayName displayName = displayNameFromEnvironment());
  ~X11DisplayPower() override;

  ID create(PowerAssertion kind, const std::string& name) override;
  ID declareUserActivity(const std::string& name) override;
  void release(ID assertion) override;
  SystemResult sleepDisplays() override;

 private:
  const X11DisplayName displayName_;
  std::unique_ptr<X11Connection> awake_;  // while `awakeID_` is held
  ID awakeID_ = none;
  ID last_ = none;
  bool enabledDPMS_ = false;  // to let the displays sleep
};

}  // namespace quorl
