// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <Support/FakeNetwork.h>

namespace quorl::test {

/// A well-behaved client on a fake network. Each exchange runs the simulation until nothing is ready.
///
/// *Queue*: the simulation's one thread.
class FakeClient {
 public:
  FakeClient(SimulatedScheduler& scheduler, std::shared_ptr<FakePeer> connected, std::string name = "Tablet",
             UUID deviceID = UUID{{5}})
      : peer(std::move(connected)), scheduler_(scheduler), device_{std::move(name), "T1", "9", deviceID} {}

  void send(const ControlMessage& message) {
    peer->send(message);
    settle();
  }
  void input(const InputEvent& event) {
    peer->writeFrame(FrameType::input, event.encoded());
    settle();
  }
  void hello(std::optional<Bytes> proof = std::nullopt) {
    send(message::Hello{Hello{4, device_, std::move(proof)}});
  }
  void requestPairing(std::string_view pin) { send(message::PairRequest{{Pairing::pinProof(pin, nonce())}}); }
  /// Sends a hello and pairs. Returns whether it is authenticated.
  bool pair(std::string_view pin) {
    hello();
    requestPairing(pin);
    return isAuthenticated();
  }
  bool reconnect(ByteView token) {
    hello();
    hello(Pairing::tokenProof(token, nonce()));
    return isAuthenticated();
  }

  void settle() {
    scheduler_.runReady();
    for (ControlMessage& message : peer->takeMessages()) received.push_back(std::move(message));
  }

  template <class Case>
  std::vector<Case> all() const {
    std::vector<Case> found;
    for (const ControlMessage& message : received)
      if (const auto* held = std::get_if<Case>(&message)) found.push_back(*held);
    return found;
  }
  template <class Case>
  std::optional<Case> last() const {
    const auto found = all<Case>();
    return found.empty() ? std::nullopt : std::optional(found.back());
  }
  /// The names of everything received, in order.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const ControlMessage& message : received) found.emplace_back(caseName(message));
    return found;
  }
  std::string lastError() const {
    const auto error = last<message::Error>();
    return error ? error->_0.code : std::string();
  }
  Bytes nonce() const {
    const auto ack = last<message::HelloAck>();
    return ack ? ack->_0.nonce : Bytes();
  }
  std::optional<Bytes> token() const {
    const auto response = last<message::PairResponse>();
    return response ? response->_0.token : std::nullopt;
  }
  bool isAuthenticated() const {
    const auto ack = last<message::HelloAck>();
    return ack && ack->_0.authenticated;
  }

  const std::shared_ptr<FakePeer> peer;
  std::vector<ControlMessage> received;

 private:
  SimulatedScheduler& scheduler_;
  const DeviceInfo device_;
};

}  // namespace quorl::test
