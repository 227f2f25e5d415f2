// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Clipboard/ClipboardSync.h>
#include <QuorlHostCore/Files/FileArea.h>
#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Power/SystemControl.h>
#include <QuorlHostCore/Session/ClientConnection.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Sound/AudioStreamer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlHostCore/Users/UserSessionManager.h>
#include <Support/FakeClient.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>
#include <Support/RecordingStream.h>

namespace quorl::test {

/// The services of a host on fakes, with recording streams, for tests of single connections.
class SessionFixture : public testing::Test {
 protected:
  SessionFixture() {
    const Platform platform = platform_.platform();
    services_->trustStore = std::make_shared<TrustStore>(platform, std::nullopt);
    services_->pairing = std::make_shared<PairingState>(simulation_, platform.random, "123456");
    services_->stateProvider = std::make_shared<HostStateProvider>(platform);
    services_->injector = std::make_shared<InputInjector>(
        platform, [store = services_->trustStore] { return store->settings(); });
    services_->users = std::make_shared<UserSessionManager>(platform, services_->injector);
    services_->system = std::make_shared<SystemControl>(platform);
    services_->clipboard = std::make_shared<ClipboardSync>(simulation_, platform.pasteboard, platform.images);
    services_->audio = std::make_shared<AudioStreamer>(simulation_, platform.screen, platform.sound,
                                                       platform.soundCompressors);
    services_->platform = platform;
    services_->fileArea = std::make_shared<FileArea>(platform.userFiles);
    services_->makeStream = [this](const StartStream& request, std::weak_ptr<StreamOutputSink> sink) {
      streams_.push_back(std::make_shared<RecordingStream>(request, std::move(sink)));
      return streams_.back();
    };
  }

  /// Starts a connection and returns its client's end.
  FakeClient connect(std::optional<HostPort> from = HostPort{"10.0.0.2", 50'000}) {
    auto [end, peer] = platform_.network->makePair(std::move(from));
    connection_ = std::make_shared<ClientConnection>(std::move(end), services_);
    connection_->onClose([this](ClientConnection&) { ++closes_; });
    connection_->onAuthenticated([this](ClientConnection&) { ++authentications_; });
    connection_->start();
    simulation_.runReady();
    return FakeClient(simulation_, std::move(peer));
  }
  FakeClient connectAuthenticated() {
    FakeClient client = connect();
    EXPECT_TRUE(client.pair("123456"));
    client.settle();
    client.received.clear();
    return client;
  }
  static StartStream streamNumber(std::uint32_t streamID) {
    StartStream request;
    request.streamID = streamID;
    request.target = streamTarget::Unified{};
    return request;
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  std::shared_ptr<HostServices> services_ = std::make_shared<HostServices>();
  std::vector<std::shared_ptr<RecordingStream>> streams_;
  std::shared_ptr<ClientConnection> connection_;
  int closes_ = 0;
  int authentications_ = 0;
};

}  // namespace quorl::test
