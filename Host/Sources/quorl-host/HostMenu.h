// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QuorlHostCore/Menu/Service/MenuService.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

/// Whether another start of the program should show this host's panel instead. Hosts on other ports are those
/// of tests and developers, and run beside each other.
bool isOnlyHostOfItsSession(const HostCoreConfig& config);

/// The program that shows the windows: the one beside `executable`, else the one that the package installs
/// (../libexec/quorl-host). QUORL_HOST_MENU names another one for tests, or none if it is empty. Null in a
/// session without an X display.
std::shared_ptr<MenuSurface> makeMenuSurface(const Environment& environment, const std::string& executable);

/// The windows of the host; null if the platform has no program for them. Made before `runtime` starts.
std::shared_ptr<MenuService> makeHostMenu(const HostRuntime& runtime, const Platform& platform,
                                          std::function<void()> quit);

}  // namespace quorl
