// SPDX-License-Identifier: GPL-3.0-or-later
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostLinux/System/SystemLogSink.h>
#include <QuorlHostPosix/DescriptorLimit.h>
#include <QuorlHostPosix/LargeBlocks.h>
#include <QuorlHostPosix/MainLoop.h>
#include <QuorlHostPosix/UserFolders.h>
#include <QuorlKit/Foundation/SecretText.h>

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

int runHost(const HostOptions& options, std::optional<std::uint64_t> descriptorLimit) {
  auto signals = std::make_unique<TerminationSignals>();
  HostPlatform host(descriptorLimit);
  const auto runtime = HostRuntime::make(configurationFor(options), host.platform());
  if (const auto started = runtime->start(); !started) {
    fmt::print(stderr, "quorl-host: failed to start server: {}\n", started.error().description);
    return 1;
  }
  if (!host.platform().permissions->mayCaptureScreen())
    Log::app.info("Screen Recording not yet granted — use the menu to request it");
  host.loop().run(*signals);
  signals.reset();  // a second signal ends a shutdown that hangs
  const auto ended = std::make_shared<std::promise<void>>();
  const auto agentsEnd = ended->get_future();
  runtime->stop([ended] { ended->set_value(); });
  host.waitForConnections(farewell);
  agentsEnd.wait_for(agentsFarewell);
  return 0;
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
  Log::auth.event(pinAnnouncement(options));
  return runHost(options, descriptorLimit);
}
