// SPDX-License-Identifier: GPL-3.0-or-later
#include "HostMenu.h"

#include <filesystem>
#include <optional>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Network/NetworkStatusProvider.h>
#include <QuorlHostCore/Ports/MenuSurface.h>
#include <QuorlHostLinux/Menu/MenuProcess.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

namespace {

std::string installedProgram(const std::string& executable) {
  const auto folder = std::filesystem::path(executable).parent_path();
  const auto beside = folder / "quorl_host_menu";
  std::error_code ignored;
  if (std::filesystem::exists(beside, ignored)) return beside;
  return folder.parent_path() / "libexec/quorl-host/quorl_host_menu";
}

}  // namespace

bool isOnlyHostOfItsSession(const HostCoreConfig& config) {
  return config.port == WireProtocol::defaultPort;
}

std::shared_ptr<MenuSurface> makeMenuSurface(const Environment& environment, const std::string& executable) {
  const auto display = environment("DISPLAY");
  if (!display || display->empty()) return nullptr;
  const std::string program = environment("QUORL_HOST_MENU").value_or(installedProgram(executable));
  if (program.empty()) return nullptr;
  return std::make_shared<MenuProcess>(MenuProcess::Settings{
      .command = {program},
      .display = *display,
      .errors = Log::verbose ? MenuProcess::Errors::kept : MenuProcess::Errors::dropped});
}

std::shared_ptr<MenuService> makeHostMenu(const HostRuntime& runtime, const Platform& platform,
                                          std::function<void()> quit) {
  if (!platform.menu) return nullptr;
  const bool isUsual = isOnlyHostOfItsSession(runtime.config());
  return MenuService::make(
      *platform.scheduler,
      {.port = runtime.config().port,
       .server = runtime.server(),
       .trustStore = runtime.trustStore(),
       .pairing = runtime.pairing(),
       .permissions = platform.permissions,
       .machine = platform.machine,
       .loginItem = platform.loginItem,
       .network = [network = runtime.network()] { return network->current(); }},
      {.surface = platform.menu,
       .notifier = platform.notifier,
       .quit = std::move(quit),
       .firstStart = isUsual ? MenuService::FirstStart::opensSetup : MenuService::FirstStart::opensNothing});
}

}  // namespace quorl
