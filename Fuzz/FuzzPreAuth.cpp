// SPDX-License-Identifier: GPL-3.0-or-later
// An unauthenticated peer sends any bytes, cut anywhere. It is never admitted, nothing is sent after the end,
// all answers are frames, and nothing of the connection remains.
#include <algorithm>
#include <chrono>
#include <memory>

#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Session/ClientConnection.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlHostCore/Users/UserSessionManager.h>
#include <QuorlKit/Foundation/Check.h>
#include <Support/FakePlatform.h>

using namespace quorl;

namespace {

// One host for all inputs; each input is one connection to it.
struct World {
  World() {
    const Platform platform = fakes.platform();
    services->platform = platform;
    services->trustStore = std::make_shared<TrustStore>(platform, std::nullopt);
    services->trustStore->addDevice(UUID{{1}}, "Known");
    services->pairing = std::make_shared<PairingState>(simulation, platform.random);
    services->stateProvider = std::make_shared<HostStateProvider>(platform);
    services->injector = std::make_shared<InputInjector>(
        platform, [store = services->trustStore] { return store->settings(); });
    services->users = std::make_shared<UserSessionManager>(platform, services->injector);
    services->makeStream = [](const StartStream&,
                              const std::weak_ptr<StreamOutputSink>&) -> std::shared_ptr<ClientStream> {
      QUORL_CHECK(false, "an unauthenticated peer started a stream");
      return nullptr;
    };
  }

  SimulatedScheduler simulation;
  test::FakePlatform fakes{simulation};
  std::shared_ptr<HostServices> services = std::make_shared<HostServices>();
};

World& world() {
  static World made;
  return made;
}

// A few pieces of one size, then longer and longer ones, because each piece costs more than most inputs. 0:
// one piece.
void writeInPieces(World& host, test::FakePeer& peer, ByteView stream, std::size_t first) {
  constexpr int equalPieces = 8;
  std::size_t length = first == 0 ? stream.size() : first;
  for (int piece = 1; !stream.empty(); ++piece) {
    length = std::min(length, stream.size());
    peer.write(stream.first(length));
    host.simulation.runReady();
    stream = stream.subspan(length);
    if (piece >= equalPieces) length *= 2;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  World& host = world();
  host.services->pairing->recordSuccess();
  auto [end, peer] = host.fakes.network->makePair();
  auto connection = std::make_shared<ClientConnection>(std::move(end), host.services);
  connection->start();

  if (data[0] >= 128) peer->setReading(false);
  writeInPieces(host, *peer, ByteView(data + 1, size - 1), data[0] % 64);
  QUORL_CHECK(connection->authState() != AuthState::authenticated, "an unauthenticated peer was admitted");
  peer->setReading(true);
  host.simulation.runReady();
  peer->takeMessages();
  peer->finish();
  host.simulation.advance(std::chrono::seconds(1));

  QUORL_CHECK(peer->isClosedByHost(), "a connection outlives its peer");
  QUORL_CHECK(peer->sendsAfterCancel() == 0, "something was sent after the end");
  QUORL_CHECK(host.fakes.events->posted.empty(), "an unauthenticated peer posted input");
  const std::weak_ptr<ClientConnection> weak = connection;
  connection.reset();
  QUORL_CHECK(weak.expired(), "something holds a closed connection");
  QUORL_CHECK(host.simulation.pendingTimers() == 0, "a timer outlives its connection");
  return 0;
}
