// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/PairedSession.h>

#include <sys/utsname.h>

#include <algorithm>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Session/Handshake.h>

namespace quorl::client {

DeviceInfo clientDevice(const UUID& deviceID) {
  utsname machine{};
  ::uname(&machine);
  const std::string name = machine.nodename[0] != '\0' ? machine.nodename : "quorl_client";
  return {name, machine.machine, fmt::format("{} {}", machine.sysname, machine.release), deviceID};
}

Outcome<std::unique_ptr<Session>> openPairedSession(const PairedHost& host, const DeviceInfo& device,
                                                    Waiter& waiter, Deadline deadline, Questions questions) {
  const auto endpoint = host.endpoint();
  const auto patience = deadline - Clock::now();
  waiter.activity = fmt::format("connecting to {}", printable(endpoint.text()));
  auto session = Session::connect(endpoint, waiter, deadline, questions);
  if (!session) return session;
  if (endpoint.ssh) deadline = std::max(deadline, within(patience));
  waiter.activity = fmt::format("waiting for {}", printable(host.name));
  const auto greeting = greet(**session, device, deadline);
  if (!greeting) return std::unexpected(greeting.error());
  if (greeting->device.deviceID != host.deviceID)
    return failed(ExitCode::refused,
                  fmt::format("another host answers at {}: {}", printable(endpoint.text()),
                              printable(greeting->device.name)),
                  "Pair with it if that is right, or find the former one with 'quorl_client discover'.");
  const auto accepted = proveToken(**session, device, host.token, *greeting, deadline);
  if (!accepted) return std::unexpected(accepted.error());
  return session;
}

}  // namespace quorl::client
