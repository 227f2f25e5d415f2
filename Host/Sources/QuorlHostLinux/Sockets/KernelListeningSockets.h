// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <QuorlHostCore/Ports/ListeningSockets.h>
#include <QuorlHostLinux/Sockets/SocketOwners.h>

namespace quorl {

/// The listening sockets of this network namespace, from the kernel, with their processes. Starts no program.
/// A socket of a process that cannot be read carries the name of its user in place of the process's.
///
/// *Queue*, *Blocking*, *Ownership*, *Lifetime*: as the port.
class KernelListeningSockets final : public ListeningSockets {
 public:
  std::expected<std::vector<ListeningSocket>, PortError> list() override;

 private:
  const std::string& userName(std::uint32_t user);

  SocketOwners owners_;
  std::map<std::uint32_t, std::string> userNames_;
};

}  // namespace quorl
