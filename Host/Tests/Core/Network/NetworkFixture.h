// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakePlatform.h>

namespace quorl::test {

/// A machine with one LAN address and no overlay network.
class NetworkFixture : public testing::Test {
 protected:
  NetworkFixture() {
    fakes_.machine->name = "Workbench";
    fakes_.interfaces->current = {{"eth0", {192, 168, 1, 5}, InterfaceAddress::Kind::lan}};
  }

  Platform platform() const {
    Platform platform = fakes_.platform();
    platform.overlays = {.tailscaleTools = {"/opt/first/tailscale", "/opt/second/tailscale"},
                         .tailscaleInstallations = {"/opt/tailscaled"},
                         .zeroTierTools = {"/opt/zerotier-cli"}};
    return platform;
  }
  FakeToolRunner& tools() { return *fakes_.tools; }

  void installTailscale(const std::string& output, ToolEnd end = ToolEnd::exited) {
    tools().executables.insert("/opt/second/tailscale");
    tools().print("/opt/second/tailscale status --json", output, end);
  }
  void installZeroTier(const std::string& info, const std::string& networks) {
    tools().executables.insert("/opt/zerotier-cli");
    tools().print("/opt/zerotier-cli -j info", info);
    tools().print("/opt/zerotier-cli -j listnetworks", networks);
  }

  SimulatedScheduler simulation_;
  FakePlatform fakes_{simulation_};
};

}  // namespace quorl::test
