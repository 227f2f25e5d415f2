// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>

#include <QuorlHostCore/Ports/NetworkInterfaces.h>
#include <QuorlHostLinux/Network/LinkMonitor.h>

namespace quorl {

/// The network interfaces of this network namespace. *Queue*, *Blocking*, *Ownership*, *Lifetime*: as the
/// port.
class LinuxNetworkInterfaces final : public NetworkInterfaces {
 public:
  std::vector<InterfaceAddress> addresses() override;
  bool setChangeHandler(ChangeHandler handler) override;

 private:
  std::mutex mutex_;
  std::unique_ptr<LinkMonitor> monitor_;  // guarded by mutex_
};

}  // namespace quorl
