// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostLink.h>

#include <csignal>
#include <memory>

#include <Integration/HostProcess.h>
#include <Posix/LoopbackPeer.h>
#include <Support/TemporaryFolder.h>
#include <gtest/gtest.h>
#include <quorl-client/Hosts/PairedSession.h>
#include <quorl-client/Session/Handshake.h>

#include "../Link/RecordingListener.h"

namespace quorl::viewer {
namespace {

using client::within;
using quorl::test::HostProcess;
using test::LinkRecord;
using test::RecordingListener;
using State = LinkStatus::State;

const DeviceInfo device{"Test viewer", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000003")};

class HostRestart : public testing::Test {
 protected:
  void startHost() {
    HostProcess::Settings settings;
    settings.port = port_;
    settings.home = home_.path();
    settings.options = {"--pin", "123456"};
    host_ = std::make_unique<HostProcess>(settings);
    ASSERT_TRUE(host_->listens()) << host_->program().output();
  }
  client::PairedHost pair() const {
    client::Waiter waiter;
    const auto deadline = within(std::chrono::seconds(30));
    auto session = client::Session::connect({"127.0.0.1", port_, std::nullopt}, waiter, deadline);
    if (!session) return {};
    const auto greeting = client::greet(**session, device, deadline);
    if (!greeting) return {};
    auto outcome = client::provePIN(**session, "123456", *greeting, deadline);
    auto* paired = outcome ? std::get_if<client::Paired>(&*outcome) : nullptr;
    if (paired == nullptr) return {};
    return {"desk", "127.0.0.1", port_, paired->acknowledgement.device.deviceID, paired->token};
  }

  const std::uint16_t port_ = quorl::test::freePort();
  quorl::test::TemporaryFolder home_;
  std::unique_ptr<HostProcess> host_;
  RecordingListener listener_;
};

TEST_F(HostRestart, connectsAgainToAHostThatWasKilledAndRestarted) {
  startHost();
  const auto paired = pair();
  ASSERT_FALSE(paired.token.empty());
  HostLink link({.host = paired, .device = device}, listener_);
  ASSERT_TRUE(
      listener_.waitUntil([](const LinkRecord& record) { return record.state() == State::connected; }));
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return !record.messages.empty(); }));
  host_->program().signal(SIGKILL);
  ASSERT_TRUE(host_->program().waitForExit());
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.state() == State::waiting; }));
  startHost();
  link.post(linkCommand::ReconnectNow{});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.hosts.size() == 2; }));
  EXPECT_EQ(listener_.record().state(), State::connected);
}

TEST_F(HostRestart, allowsASecondSessionOfTheSameDeviceForALargeClipboard) {
  startHost();
  const auto paired = pair();
  ASSERT_FALSE(paired.token.empty());
  HostLink link({.host = paired, .device = device}, listener_);
  ASSERT_TRUE(
      listener_.waitUntil([](const LinkRecord& record) { return record.state() == State::connected; }));
  link.post(
      linkCommand::Send{ControlMessage(message::Clipboard{{clipboardContent::Image{Bytes(3 << 20, 0x51)}}})});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.clipboards.size() == 1; }));
  const auto error = listener_.record().clipboards[0];
  EXPECT_FALSE(error) << error->what;
  EXPECT_EQ(listener_.record().state(), State::connected);
}

TEST_F(HostRestart, answersHeartbeatsAndMeasuresRoundTrips) {
  startHost();
  const auto paired = pair();
  HostLink link({.host = paired, .device = device}, listener_);
  link.post(linkCommand::SetMeasuring{true});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.roundTrips.size() >= 2; }));
}

}  // namespace
}  // namespace quorl::viewer
