// SPDX-License-Identifier: GPL-3.0-or-later
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <utility>

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
#include "HostUpgrade.h"
#include "OwnEnvironment.h"
#include "PairingNotice.h"

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

struct Ending {
  int status = 0;
  std::optional<HandOver> handOver;  // present if the installed version goes on
};

// Everything but the agents has ended when it returns, so that no thread is left and nothing is half written
// when the program is replaced.
Ending runHost(const HostCoreConfig& config, HostPlatform::Settings settings, SessionPresence& presence,
               HostUpgrade& upgrade, std::unique_ptr<TerminationSignals>& signals,
               std::optional<HandOver> received) {
  HostPlatform host(std::move(settings));
  const auto runtime = HostRuntime::make(config, host.platform());
  const auto menu = makeHostMenu(*runtime, host.platform(), [&host] { host.loop().quit(); });
  if (menu)
    runtime->observeNetwork([menu = std::weak_ptr(menu)] {
      if (const auto service = menu.lock()) service->networkChanged();
    });
  if (received) runtime->restore(std::move(*received));
  if (const auto started = runtime->start(); !started) {
    fmt::print(stderr, "quorl-host: failed to start server: {}\n", started.error().description);
    return {.status = 1, .handOver = {}};
  }
  if (menu)
    menu->start();
  else
    showPairingOnTerminal(*runtime);
  presence.onShow([menu] {
    if (menu) menu->showPanel();
    return menu != nullptr;
  });
  if (!host.platform().permissions->mayCaptureScreen())
    Log::app.info("Screen Recording not yet granted — use the menu to request it");
  upgrade.whenAccepted([&host] { host.loop().quit(); });
  host.loop().run(*signals);
  presence.onShow(nullptr);
  if (menu) menu->stop();
  if (upgrade.endWatch())
    return {.status = 0, .handOver = runtime->handOver([&host] { host.waitForConnections(farewell); })};
  signals.reset();  // a second signal ends a shutdown that hangs
  const auto ended = std::make_shared<std::promise<void>>();
  const auto agentsEnd = ended->get_future();
  runtime->stop([ended] { ended->set_value(); });
  host.waitForConnections(farewell);
  agentsEnd.wait_for(agentsFarewell);
  return {};
}

/// Prints a line if the name is another process's.
bool isTaken(SessionPresence::Claim claim) {
  switch (claim) {
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

int runUntilTheEnd(const HostOptions& options, const std::string& command, HostUpgrade& upgrade) {
  const HostCoreConfig config = configurationFor(options);
  auto received = upgrade.takeOver();
  for (;;) {
    const auto presence = std::make_shared<SessionPresence>(QUORL_VERSION);
    if (isOnlyHostOfItsSession(config)) {
      const auto claim = presence->claim();
      if (!received && isTaken(claim)) return 0;
    }
    Log::auth.event(pinAnnouncement(options));
    const auto descriptorLimit = raiseDescriptorLimit(wantedDescriptors);
    auto signals = std::make_unique<TerminationSignals>();
    upgrade.beginWatch();
    Ending ending =
        runHost(config, {.descriptorLimit = descriptorLimit, .command = command, .notifier = presence},
                *presence, upgrade, signals, std::exchange(received, {}));
    if (!ending.handOver) return ending.status;
    upgrade.execute(*ending.handOver, *signals, descriptorLimit);
    // It has failed, and the agents go on with this version.
    received = std::move(ending.handOver);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (const auto answer = HostUpgrade::answerToTrial()) return *answer;
  HostUpgrade upgrade({argv, argv + argc});
  const HostOptions options = parseHostOptions({argv + std::min(argc, 1), argv + argc});
  Log::verbose = options.verbose;
  forgetOwnTerminal();
  turnBrokenPipesIntoErrors();
  protectSecrets();
  returnLargeBlocksWhenFreed();
  Log::setSink(std::make_shared<SystemLogSink>());
  Log::app.info("quorl-host " QUORL_VERSION);
  return runUntilTheEnd(options, argc > 0 ? argv[0] : "", upgrade);
}
