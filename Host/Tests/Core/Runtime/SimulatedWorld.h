// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <Support/FakePlatform.h>

namespace quorl::test {

/// A client with one of several behaviours, whose bytes arrive in arbitrary pieces over a network with
/// delays.
///
/// *Queue*: the simulation's one thread.
class SimulatedClient {
 public:
  enum class Manner : std::uint8_t {
    honest,   // pairs, streams, types, leaves
    guesser,  // tries PINs
    hostile,  // sends noise, floods, does not read
  };

  struct Tally {
    std::size_t authentications = 0;
    std::size_t streams = 0;
    std::size_t videoFrames = 0;
    std::size_t errors = 0;
  };

  SimulatedClient(std::uint64_t seed, Manner manner, HostPort address);

  /// One step against a machine whose port may or may not be served. `pin`: the PIN on the screen.
  void act(FakeNetwork& network, std::uint16_t port, const std::string& pin);
  void leave();

  const Tally& tally() const { return tally_; }

 private:
  std::uint64_t draw(std::uint64_t bound) { return random_() % bound; }
  void takeAnswers();
  void take(const ControlMessage& message);
  void say(const ControlMessage& message);
  void sayFrame(FrameType type, ByteView payload);
  void pushSome();
  void shakeHands(const std::string& pin);
  void useSession();
  void drive();
  void makeNoise();

  std::mt19937_64 random_;
  const Manner manner_;
  const HostPort address_;
  std::shared_ptr<FakePeer> peer_;
  Bytes outbox_;
  Bytes nonce_;
  bool saidHello_ = false;
  bool authenticated_ = false;
  std::optional<Bytes> token_;
  Tally tally_;
};

/// One or two hosts of one machine with clients of all behaviours, and the invariants that must hold after
/// every step.
///
/// *Queue*: the simulation's one thread.
class SimulatedWorld {
 public:
  enum class Fault : std::uint8_t {
    none,
    sharedPort,  // the machine gives a port to two listeners
  };

  explicit SimulatedWorld(std::uint64_t seed, Fault fault = Fault::none);
  ~SimulatedWorld();

  /// Runs to the end and returns the violated invariants, each once.
  std::vector<std::string> run(int actions);

  SimulatedClient::Tally tally() const;

 private:
  std::uint64_t draw(std::uint64_t bound) { return random_() % bound; }
  void startHost(const std::string& user, std::uint64_t seed);
  void act();
  void passTime();
  void checkLaws();
  void checkEnd();
  void checkNothingHeld(const std::vector<SyntheticEvent>& posted);
  void broken(const std::string& law);

  std::mt19937_64 random_;
  const Fault fault_;
  SimulatedScheduler scheduler_;
  std::shared_ptr<FakeMachine> machine_ = std::make_shared<FakeMachine>();
  std::shared_ptr<FakeConsole> console_ = std::make_shared<FakeConsole>();
  std::vector<std::unique_ptr<FakePlatform>> platforms_;
  std::vector<std::shared_ptr<HostRuntime>> runtimes_;
  std::vector<SimulatedClient> clients_;
  std::vector<std::string> broken_;
  std::uint64_t steps_ = 0;
};

}  // namespace quorl::test
