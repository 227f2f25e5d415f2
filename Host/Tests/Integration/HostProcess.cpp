// SPDX-License-Identifier: GPL-3.0-or-later
#include <Integration/HostProcess.h>

#include <cstdlib>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {

std::string hostProgram() {
  return QUORL_HOST_PROGRAM;
}

HostProcess::HostProcess(const Settings& settings) : port_(settings.port) {
  std::vector<std::string> arguments = settings.launcher;
  arguments.push_back(settings.program);
  arguments.insert(arguments.end(), settings.options.begin(), settings.options.end());
  const std::uint16_t relayPort = settings.relayPort != 0 ? settings.relayPort : freePort();
  std::vector<std::string> environment{"HOME=" + settings.home.string(),
                                       "QUORL_HOST_PORT=" + std::to_string(settings.port),
                                       "QUORL_RELAY_PORT=" + std::to_string(relayPort),
                                       "QUORL_SCAN_PORTS=",
                                       "QUORL_HOST_MENU=",  // no windows, unless the settings name a program
                                       "DISPLAY",
                                       "WAYLAND_DISPLAY",
                                       "XDG_DATA_HOME",
                                       "XDG_CONFIG_HOME",
                                       "XDG_SESSION_ID"};
  if (!std::getenv("DBUS_SYSTEM_BUS_ADDRESS"))
    environment.push_back("DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus");
  environment.insert(environment.end(), settings.environment.begin(), settings.environment.end());
  program_ = std::make_unique<ChildProgram>(arguments, environment);
}

bool HostProcess::isListening(std::uint16_t port) {
  return LoopbackPeer(port).isConnected();
}

bool HostProcess::listens(std::chrono::milliseconds limit) const {
  return eventually([this] { return isListening(port_); }, limit);
}

}  // namespace quorl::test
