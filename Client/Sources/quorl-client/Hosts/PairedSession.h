// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlKit/Protocol/Handshake.h>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Session/Session.h>

namespace quorl::client {

/// The description of this client in its hello.
DeviceInfo clientDevice(const UUID& deviceID);

/// Connects to a paired host and proves the pairing. Fails with `refused` if another host answers or the
/// pairing is no longer accepted. The time in which a person answers ssh's questions does not count.
Outcome<std::unique_ptr<Session>> openPairedSession(const PairedHost& host, const DeviceInfo& device,
                                                    Waiter& waiter, Deadline deadline, Questions questions);

}  // namespace quorl::client
