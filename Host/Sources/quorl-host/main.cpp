// SPDX-License-Identifier: GPL-3.0-or-later
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostLinux/System/SessionPresence.h>
#include <QuorlHostLinux/System/SystemLogSink.h>
#include <QuorlHostPosix/DescriptorLimit.h>
#include <QuorlHostPosix/LargeBlocks.h>
#include <QuorlHostPosix/MainLoop.h>
#include <QuorlHostPosix/UserFolders.h>
#include <QuorlKit/Foundation/SecretText.h>

#include "HostMenu.h"
#include "HostOptions.h"
#include "HostPlatform.h"
#include "OwnEnvironment.h"

namespace {

using namespace quorl;

// Time for the last frames to leave at the end of the process.
constexpr std::chrono::seconds farewell{1};
// Time for agents to end: the time before they are killed, and a moment to reap them.
constexpr std::chrono::seconds agentsFarewell{4};

// Each client needs a descriptor, and a shell's default limit is lower.
constexpr std::uint64_t wantedDescriptors = 65'536;

HostCoreConfig configurationFor(const HostOptions& options) {
  HostCoreConfig config = HostCoreConfig::menuBar;
  config.fixedPIN = options.pin;
  if (const auto port = parseTestPort(processEnvironment()("QUORL_HOST_PORT"))) config.port = *port;
  if (const auto port = parseTestPort(processEnvironment()("QUORL_RELAY_PORT"))) config.relayPort = *port;
  config.scannedPorts = parseTestPorts(processEnvironment()("QUORL_SCAN_PORTS"));
  return config;
}

int runHost(const HostCoreConfig& config, HostPlatform::Settings settings, SessionPresence& presence) {
  auto signals = std::make_unique<TerminationSignals>();
  HostPlatform host(std::move(settings));
  const auto runtime = HostRuntime::make(config, host.platform());
  const auto menu = makeHostMenu(*runtime, host.platform(), [&host] { host.loop().quit(); });
  if (const auto started = runtime->start(); !started) {
    fmt::print(stderr, "quorl-host: failed to start server: {}\n", started.error().description);
    return 1;
  }
  if (menu) menu->start();
  presence.onShow([menu] {
    if (menu) menu->showPanel();
    return menu != nullptr;
  });
  if (!host.platform().permissions->mayCaptureScreen())
    Log::app.info("Screen Recording not yet granted — use the menu to request it");
  host.loop().run(*signals);
  presence.onShow(nullptr);
  if (menu) menu->stop();
  signals.reset();  // a second signal ends a shutdown that hangs
  const auto ended = std::make_shared<std::promise<void>>();
  const auto agentsEnd = ended->get_future();
  runtime->stop([ended] { ended->set_value(); });
  host.waitForConnections(farewell);
  agentsEnd.wait_for(agentsFarewell);
  return 0;
}

/// Prints a line if there is one; its panel is open then.
bool anotherHostRuns(SessionPresence& presence) {
  switch (presence.claim()) {
    case SessionPresence::Claim::first:
    case SessionPresence::Claim::unavailable:
      return false;
    case SessionPresence::Claim::shownByOther:
      fmt::print("quorl-host: already running; its panel is open\n");
      return true;
    case SessionPresence::Claim::heldByOther:
      fmt::print("quorl-host: already running, without a desktop to show its panel on\n");
      return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const HostOptions options = parseHostOptions({argv + std::min(argc, 1), argv + argc});
  Log::verbose = options.verbose;
  forgetOwnTerminal();
  turnBrokenPipesIntoErrors();
  protectSecrets();
  returnLargeBlocksWhenFreed();
  const auto descriptorLimit = raiseDescriptorLimit(wantedDescriptors);
  Log::setSink(std::make_shared<SystemLogSink>());
  const HostCoreConfig config = configurationFor(options);
  const auto presence = std::make_shared<SessionPresence>();
  if (isOnlyHostOfItsSession(config) && anotherHostRuns(*presence)) return 0;
  Log::auth.event(pinAnnouncement(options));
  return runHost(
      config, {.descriptorLimit = descriptorLimit, .command = argc > 0 ? argv[0] : "", .notifier = presence},
      *presence);
}
