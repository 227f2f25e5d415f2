// SPDX-License-Identifier: GPL-3.0-or-later
#include "PairingNotice.h"

#include <unistd.h>
#include <cstdio>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <QuorlHostCore/Menu/Model/HostMenuState.h>
#include <QuorlHostCore/Network/NetworkStatusProvider.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

std::string pairingNotice(const std::string& pin, const NetworkStatus& status, std::uint16_t port) {
  std::vector<std::string> addresses;
  if (const auto remote = preferredRemoteAddress(status)) addresses.push_back(*remote);
  addresses.insert(addresses.end(), status.lanAddresses.begin(), status.lanAddresses.end());
  if (addresses.empty()) addresses.emplace_back("127.0.0.1");
  std::string target = addresses.front();
  if (port != WireProtocol::defaultPort)
    target = target.find(':') == std::string::npos ? fmt::format("{}:{}", target, port)
                                                   : fmt::format("[{}]:{}", target, port);
  return fmt::format(
      "quorl-host: there is no desktop for a window, so this terminal shows how to pair\n"
      "  PIN       {}\n"
      "  address   {}\n"
      "  pair      quorl_client pair {}\n",
      pin, fmt::join(addresses, ", "), target);
}

void showPairingOnTerminal(const HostRuntime& runtime) {
  if (::isatty(STDERR_FILENO) == 0) return;
  runtime.network()->snapshot([pairing = std::weak_ptr(runtime.pairing()),
                               port = runtime.config().port](const NetworkStatus& status) {
    if (const auto state = pairing.lock())
      fmt::print(stderr, "{}", pairingNotice(state->pin(), status, port));
  });
  runtime.pairing()->onPINChanged(
      [](const std::string& pin) { fmt::print(stderr, "quorl-host: the PIN is now {}\n", pin); });
}

}  // namespace quorl
