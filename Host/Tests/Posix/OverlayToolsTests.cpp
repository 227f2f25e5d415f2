// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>

#include <gtest/gtest.h>

#include <QuorlHostCore/Network/NetworkDetector.h>
#include <QuorlHostPosix/PosixToolRunner.h>
#include <Support/FakeMachineFacts.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

/// Overlay tools as real programs, found by the search path.
class OverlayToolsTest : public testing::Test {
 protected:
  void install(const std::string& name, const std::string& script) {
    std::filesystem::permissions(folder_.write(name, "#!/bin/sh\n" + script + "\n"),
                                 std::filesystem::perms::owner_all);
  }
  /// A busy machine may take long to run a tool.
  NetworkStatus detect(std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    Platform platform;
    platform.machine = std::make_shared<FakeMachineFacts>();
    platform.tools = std::make_shared<PosixToolRunner>(folder_.path().string());
    platform.overlays.tailscaleInstallations = {folder_.file("tailscaled")};
    return NetworkDetector(platform, {.session = 47'900, .relay = 47'901}, limit).detect({});
  }
  static void expectNone(const NetworkStatus& status) {
    EXPECT_EQ(status.overlay, OverlayKind::none);
    EXPECT_EQ(status.health, OverlayHealth::notInstalled);
  }
  static void expectTailscale(const NetworkStatus& status, OverlayHealth health, bool hasAction) {
    EXPECT_EQ(status.overlay, OverlayKind::tailscale);
    EXPECT_EQ(status.health, health);
    EXPECT_EQ(status.actionURL.has_value(), hasAction);
  }

  TemporaryFolder folder_;
};

constexpr std::chrono::milliseconds shortLimit{300};
constexpr const char* runningJSON =
    R"({"BackendState":"Running","Self":{"DNSName":"desk.ts.net.","TailscaleIPs":["100.1.1.1"]}})";

TEST_F(OverlayToolsTest, passTheirArguments) {
  install("tailscale", std::string("[ \"$*\" = \"status --json\" ] && echo '") + runningJSON + "'");
  expectTailscale(detect(), OverlayHealth::online, false);
  std::filesystem::remove(folder_ / "tailscale");
  install("zerotier-cli",
          R"(case "$*" in
             "-j info") echo '{"online":true}' ;;
             "-j listnetworks") echo '[{"assignedAddresses":["10.1.1.1/24"]}]' ;;
             esac)");
  const NetworkStatus status = detect();
  EXPECT_EQ(status.overlay, OverlayKind::zerotier);
  EXPECT_EQ(status.overlayAddresses, std::vector<std::string>{"10.1.1.1"});
}

TEST_F(OverlayToolsTest, mayFailAndStillPrintTheirState) {
  install("tailscale",
          "echo 'warning: version mismatch' >&2; echo '{\"BackendState\":\"NeedsLogin\"}'; exit 1");
  expectTailscale(detect(), OverlayHealth::notReady, true);
}

TEST_F(OverlayToolsTest, countAsAbsentIfTheyFailWithoutAnOutput) {
  install("tailscale", "echo 'failed to connect to local tailscaled' >&2; exit 1");
  install("zerotier-cli", "echo 'zerotier-cli: authtoken.secret not found or readable'; exit 2");
  expectNone(detect());
  install("tailscaled", "");
  expectTailscale(detect(), OverlayHealth::notReady, false);
}

TEST_F(OverlayToolsTest, mayHang) {
  install("tailscale", "exec sleep 1000");
  install("zerotier-cli", "trap '' TERM; while :; do sleep 1; done");
  expectNone(detect(shortLimit));
}

TEST_F(OverlayToolsTest, mayHangAfterTheirOutput) {
  install("tailscale", std::string("echo '") + runningJSON + "'; exec sleep 1000");
  NetworkStatus status;
  for (auto limit = shortLimit; limit < std::chrono::seconds(60) && status.overlay == OverlayKind::none;
       limit *= 10)
    status = detect(limit);
  expectTailscale(status, OverlayHealth::online, false);
}

TEST_F(OverlayToolsTest, mayFlood) {
  install("tailscale", "exec cat /dev/zero");
  install("zerotier-cli", "trap '' TERM; while :; do echo '{\"online\":true}'; done");
  expectNone(detect(shortLimit));
}

TEST_F(OverlayToolsTest, mayPrintGarbage) {
  install("tailscale", "head -c 100000 /dev/urandom");
  install("zerotier-cli", "printf '{\"online\":tru'");
  expectNone(detect());
  install("tailscale", R"(printf '{"BackendState":"Run\377ning"}')");
  expectNone(detect());
  install("tailscale", "exit 0");
  expectNone(detect());
}

TEST_F(OverlayToolsTest, mayPrintMegabytesOfPeers) {
  install("tailscale", R"(echo '{"BackendState":"Running","Peer":{'
      yes '"nodekey":{"DNSName":"peer.ts.net.","TailscaleIPs":["100.1.1.1"],"Tags":["a","b"]},' | head -n 90000
      echo '"end":{}},"Self":{"DNSName":"desk.ts.net."}}')");
  const NetworkStatus status = detect();
  EXPECT_EQ(status.health, OverlayHealth::online);
  EXPECT_EQ(status.magicDNSName, "desk.ts.net");
}

TEST_F(OverlayToolsTest, mayNotBeProgramsAtAll) {
  folder_.write("tailscale", runningJSON);
  std::filesystem::create_directories(folder_ / "zerotier-cli");
  expectNone(detect());
  std::filesystem::permissions(folder_ / "tailscale", std::filesystem::perms::owner_all);
  expectNone(detect());
}

}  // namespace
}  // namespace quorl::test
