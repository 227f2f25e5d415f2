// SPDX-License-Identifier: GPL-3.0-or-later
// The real host finds web services and overlay tools of this machine.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

/// A web server with one page.
class WebServer {
 public:
  explicit WebServer(const std::string& page) {
    folder_.write("index.html", page);
    server_.emplace(std::vector<std::string>{"/usr/bin/python3", "-m", "http.server", std::to_string(port),
                                             "--bind", "127.0.0.1", "--directory", folder_.path().string()});
  }
  bool listens() const {
    return eventually([this] { return HostProcess::isListening(port); }, 30s);
  }
  pid_t pid() const { return server_->pid(); }

  const std::uint16_t port = freePort();

 private:
  TemporaryFolder folder_;
  std::optional<ChildProgram> server_;
};

class ReachabilityProcessTest : public testing::Test {
 protected:
  void startHost(const std::vector<std::string>& environment = {}) {
    host_.emplace(HostProcess::Settings{
        .port = port_, .home = home_.path(), .options = {"--pin", "314159"}, .environment = environment});
    ASSERT_TRUE(host_->listens()) << host_->program().output();
  }
  std::string children() {
    const std::string pid = std::to_string(host_->program().pid());
    std::string all;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + pid + "/task")) {
      std::ifstream list(thread.path() / "children");
      all.append(std::istreambuf_iterator<char>(list), {});
    }
    return all;
  }

  TemporaryFolder home_;
  const std::uint16_t port_ = freePort();
  std::optional<HostProcess> host_;
};

TEST_F(ReachabilityProcessTest, findsAWebServiceWithItsTitleAndItsProcess) {
  WebServer server("<html><head><title> Bench notes </title></head></html>");
  ASSERT_TRUE(server.listens());
  startHost({"QUORL_SCAN_PORTS=" + std::to_string(server.port) + "," + std::to_string(port_)});
  RawClient client(port_);
  ASSERT_TRUE(client.pair("314159"));
  std::optional<ServiceDescriptor> found;
  while (!found) {
    const auto list = client.next<message::ServiceList>();
    ASSERT_TRUE(list) << "no scan has found the service";
    const auto service = std::ranges::find(list->_0, server.port, &ServiceDescriptor::port);
    if (service != list->_0.end()) found = *service;
    EXPECT_EQ(std::ranges::count(list->_0, port_, &ServiceDescriptor::port), 0) << "the host's own port";
  }
  EXPECT_EQ(*found, (ServiceDescriptor{.port = server.port,
                                       .processName = "python3",
                                       .pid = server.pid(),
                                       .title = "Bench notes",
                                       .loopbackOnly = true}));
  EXPECT_EQ(children(), "") << "the sockets come from the kernel";
}

TEST_F(ReachabilityProcessTest, sendsWhatTheOverlaysToolSays) {
  const std::string tool = home_.write("bin/tailscale", R"(#!/bin/sh
[ "$*" = "status --json" ] && echo '{"BackendState":"Running","Self":{"DNSName":"desk.example.net.","TailscaleIPs":["fd7a::1","100.101.1.2"]}}'
)");
  std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
  if (std::filesystem::exists("/usr/bin/tailscale")) GTEST_SKIP() << "the machine's own tool comes first";
  startHost({"PATH=" + home_.file("bin") + ":" + ::getenv("PATH")});
  RawClient client(port_);
  ASSERT_TRUE(client.pair("314159"));
  // A busy machine may take longer to run the tool than the host waits; it is run again.
  auto status = client.next<message::NetworkStatus>();
  while (status && status->_0.overlay == OverlayKind::none) status = client.next<message::NetworkStatus>();
  ASSERT_TRUE(status);
  EXPECT_EQ(status->_0.overlay, OverlayKind::tailscale);
  EXPECT_EQ(status->_0.health, OverlayHealth::online);
  EXPECT_EQ(status->_0.magicDNSName, "desk.example.net");
  EXPECT_EQ(status->_0.shortName, "desk");
  EXPECT_EQ(status->_0.overlayAddresses, (std::vector<std::string>{"100.101.1.2", "fd7a::1"}));
  EXPECT_EQ(status->_0.sessionPort, port_);
}

}  // namespace
}  // namespace quorl::test
