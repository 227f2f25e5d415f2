// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Power/SessionScreenLock.h>

#include <utility>

#include <QuorlHostLinux/Power/ScreenSaver.h>
#include <QuorlHostLinux/System/Login1.h>

namespace quorl {

namespace {

// Programs that ask the running locker of a session to lock, or lock themselves.
const std::vector<std::vector<std::string>> lockers{
    {"/usr/bin/light-locker-command", "--lock"},
    {"/usr/bin/xscreensaver-command", "-lock"},
    {"/usr/bin/xdg-screensaver", "lock"},
    {"/usr/bin/i3lock"},
};

bool askLoginManager() {
  const auto bus = openSystemBus();
  const auto own = bus ? login1::ownSession(bus.get()) : std::nullopt;
  return own && callMethod(bus.get(), login1::session(*own), "Lock", "").has_value();
}

bool askScreenSaver() {
  const auto bus = openSessionBus();
  return bus && callMethod(bus.get(), screenSaver::object(), "Lock", "").has_value();
}

}  // namespace

SessionScreenLock::SessionScreenLock(Launch launch) : launch_(std::move(launch)) {}

SystemResult SessionScreenLock::lock() {
  if (askLoginManager() || askScreenSaver()) return {};
  for (const auto& locker : lockers)
    if (launch_(locker)) return {};
  return std::unexpected(SystemFailure{"screen lock", "there is no login session and no locker"});
}

}  // namespace quorl
