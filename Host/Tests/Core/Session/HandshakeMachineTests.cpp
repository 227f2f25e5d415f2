// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Session/HandshakeMachine.h>

namespace quorl::test {
namespace {

// A proof is the nonce after one letter, so that a test can read it.
class ScriptedAuthority final : public HandshakeAuthority {
 public:
  DeviceInfo hostDevice() override { return {"Workbench", "Bench1,1", "1.0", {}}; }
  Bytes freshNonce() override { return Bytes(16, ++nonces); }
  UUID freshDeviceID() override { return UUID{{9}}; }
  bool matchesAnyToken(ByteView proof, ByteView nonce) override {
    ++tokenChecks;
    return isProof('T', proof, nonce);
  }
  PairingVerdict attemptPIN(ByteView proof, ByteView nonce) override {
    ++pinChecks;
    if (lockedOut) return PairingVerdict::lockedOut;
    return isProof('P', proof, nonce) ? PairingVerdict::right : PairingVerdict::wrong;
  }
  Bytes addDevice(const UUID& deviceID, const std::string& name) override {
    added.emplace_back(deviceID, name);
    return Bytes(32, 1);
  }

  static Bytes proof(char kind, ByteView nonce) {
    std::string made(1, kind);
    made += textViewOf(nonce);
    return bytesOf(made);
  }
  static bool isProof(char kind, ByteView proof, ByteView nonce) {
    const Bytes wanted = ScriptedAuthority::proof(kind, nonce);
    return std::ranges::equal(wanted, proof);
  }

  std::uint8_t nonces = 0;
  int tokenChecks = 0;
  int pinChecks = 0;
  bool lockedOut = false;
  std::vector<std::pair<UUID, std::string>> added;
};

class HandshakeMachineTest : public testing::Test {
 protected:
  std::string loggedName(const std::string& name) {
    const auto actions = machine_.receive(message::Hello{Hello{4, {name, "", "", UUID{{5}}}, std::nullopt}});
    const auto* line = std::get_if<handshakeAction::LogEvent>(&actions.front());
    if (line == nullptr) return "no line";
    const std::size_t start = line->text.find('=') + 1;
    return line->text.substr(start, line->text.find(" clientProto") - start);
  }
  ControlMessage hello(std::optional<Bytes> proof = std::nullopt, std::uint32_t version = 4) {
    return message::Hello{Hello{version, {"Tablet", "T1", "9", UUID{{5}}}, std::move(proof)}};
  }
  ControlMessage pair(char kind) {
    return message::PairRequest{{ScriptedAuthority::proof(kind, machine_.nonce())}};
  }

  // The actions in order, one word each.
  std::string act(const ControlMessage& message) {
    std::string words;
    for (const HandshakeAction& action : machine_.receive(message)) {
      if (const std::string word = wordFor(action); !word.empty()) words += (words.empty() ? "" : " ") + word;
    }
    return words;
  }
  std::string wordFor(const HandshakeAction& action) {
    if (const auto* send = std::get_if<handshakeAction::Send>(&action)) return wordFor(send->message);
    if (const auto* line = std::get_if<handshakeAction::LogEvent>(&action)) {
      lines_.push_back(line->text);
      return "";
    }
    if (const auto* later = std::get_if<handshakeAction::CloseAfter>(&action))
      return "close+" + std::to_string(later->delay.count());
    return std::holds_alternative<handshakeAction::Close>(action) ? "close" : "authenticated";
  }
  static std::string wordFor(const ControlMessage& message) {
    if (const auto* ack = std::get_if<message::HelloAck>(&message))
      return ack->_0.authenticated ? "ack:true" : "ack:false";
    if (const auto* response = std::get_if<message::PairResponse>(&message))
      return response->_0.success && response->_0.token ? "pair:true" : "pair:false";
    const auto& error = std::get<message::Error>(message)._0;
    return error.code + "[" + error.message + "]";
  }

  ScriptedAuthority authority_;
  HandshakeMachine machine_{authority_, "10.0.0.2:50000"};
  std::vector<std::string> lines_;
};

TEST_F(HandshakeMachineTest, answersAFirstHelloWithANonce) {
  EXPECT_EQ(act(hello()), "ack:false");
  EXPECT_EQ(machine_.state(), AuthState::nonceSent);
  EXPECT_EQ(machine_.nonce(), Bytes(16, 1));
  EXPECT_EQ(machine_.attempts(), 1);
  EXPECT_EQ(lines_,
            (std::vector<std::string>{"hello: device=Tablet clientProto=v4 hostProto=v4 authProof=false",
                                      "helloAck sent (authenticated:false) → client should show PIN entry"}));
}

TEST_F(HandshakeMachineTest, refusesAnotherVersionAndRecordsNothing) {
  EXPECT_EQ(act(hello(std::nullopt, 3)), "proto.version[host speaks protocol 4] close");
  EXPECT_EQ(machine_.clientDevice(), std::nullopt);
  EXPECT_EQ(machine_.attempts(), 0);
  EXPECT_EQ(lines_.back(), "REJECT: protocol mismatch (client v3 != host v4) — client needs a rebuild");
}

TEST_F(HandshakeMachineTest, refusesAPairRequestBeforeAHello) {
  EXPECT_EQ(act(pair('P')), "auth.order[hello first] close");
  EXPECT_EQ(authority_.pinChecks, 0);
}

TEST_F(HandshakeMachineTest, neverLooksAtTheProofOfAFirstHello) {
  EXPECT_EQ(act(hello(ScriptedAuthority::proof('T', {}))), "ack:false");
  EXPECT_EQ(authority_.tokenChecks, 0);
  EXPECT_EQ(lines_.front(), "hello: device=Tablet clientProto=v4 hostProto=v4 authProof=true");
}

TEST_F(HandshakeMachineTest, authenticatesAKnownClientOverItsNonce) {
  act(hello());
  EXPECT_EQ(act(hello(ScriptedAuthority::proof('T', machine_.nonce()))), "ack:true authenticated");
  EXPECT_EQ(machine_.state(), AuthState::authenticated);
  EXPECT_EQ(machine_.attempts(), 1) << "a match costs no attempt";
  EXPECT_EQ(lines_.back(), "client authenticated: Tablet (10.0.0.2:50000)");
}

TEST_F(HandshakeMachineTest, answersAKnownClientWithTheNonceThatItHasProved) {
  act(hello());
  const Bytes nonce = machine_.nonce();
  for (const HandshakeAction& action : machine_.receive(hello(ScriptedAuthority::proof('T', nonce)))) {
    const auto* send = std::get_if<handshakeAction::Send>(&action);
    if (send == nullptr) continue;
    const auto& ack = std::get<message::HelloAck>(send->message)._0;
    EXPECT_EQ(ack.nonce, nonce);
    EXPECT_EQ(ack.protocolVersion, 4U);
    return;
  }
  FAIL() << "no answer";
}

TEST_F(HandshakeMachineTest, issuesANewNonceForAFurtherHelloAndRejectsProofsOverTheOldOne) {
  act(hello());
  const Bytes old = machine_.nonce();
  EXPECT_EQ(act(hello()), "ack:false");
  EXPECT_NE(machine_.nonce(), old);
  EXPECT_EQ(act(hello(ScriptedAuthority::proof('T', old))), "ack:false");
  EXPECT_EQ(machine_.state(), AuthState::nonceSent);
}

TEST_F(HandshakeMachineTest, refusesTheFifthHelloWithoutAProof) {
  for (int count = 0; count < 4; ++count) {
    const Bytes old = machine_.nonce();
    EXPECT_EQ(act(hello()), "ack:false");
    EXPECT_NE(machine_.nonce(), old);
  }
  EXPECT_EQ(act(hello()), "auth.tooManyAttempts[too many hello attempts] close");
}

TEST_F(HandshakeMachineTest, authenticatesARightPINAndSendsTheToken) {
  act(hello());
  EXPECT_EQ(act(pair('P')), "pair:true ack:true authenticated");
  ASSERT_EQ(authority_.added.size(), 1U);
  EXPECT_EQ(authority_.added[0], std::pair(UUID{{5}}, std::string("Tablet")));
  EXPECT_EQ(lines_.back(), "paired + connected: Tablet (10.0.0.2:50000)");
}

TEST_F(HandshakeMachineTest, keepsTheNonceAfterAWrongPIN) {
  act(hello());
  const Bytes nonce = machine_.nonce();
  EXPECT_EQ(act(pair('x')), "pair:false");
  EXPECT_EQ(machine_.nonce(), nonce);
  EXPECT_EQ(machine_.state(), AuthState::nonceSent);
  EXPECT_EQ(act(pair('P')), "pair:true ack:true authenticated");
}

TEST_F(HandshakeMachineTest, endsAtTheFourthWrongPINAfterOneHello) {
  act(hello());
  for (int count = 0; count < 3; ++count) EXPECT_EQ(act(pair('x')), "pair:false");
  EXPECT_EQ(act(pair('x')), "pair:false close");
  EXPECT_EQ(machine_.attempts(), 5);
}

TEST_F(HandshakeMachineTest, countsEachFurtherHelloAsAPINAttempt) {
  act(hello());
  act(hello());
  act(hello());
  EXPECT_EQ(act(pair('x')), "pair:false");
  EXPECT_EQ(act(pair('x')), "pair:false close");
}

TEST_F(HandshakeMachineTest, closesLaterWhenPairingIsLockedAndCountsNoAttempt) {
  act(hello());
  authority_.lockedOut = true;
  EXPECT_EQ(act(pair('P')), "auth.lockout[too many failed PIN attempts; try again later] close+200");
  EXPECT_EQ(machine_.attempts(), 1);
  EXPECT_EQ(machine_.state(), AuthState::nonceSent);
  EXPECT_EQ(lines_.back(), "REJECT: pairing locked out (too many failed PIN attempts across connections)");
}

TEST_F(HandshakeMachineTest, closesOnByeInEitherState) {
  EXPECT_EQ(act(message::Bye{}), "close");
  act(hello());
  EXPECT_EQ(act(message::Bye{}), "close");
}

TEST_F(HandshakeMachineTest, refusesEveryOtherMessageInEitherState) {
  const std::vector<ControlMessage> others{message::RequestHostState{}, message::EchoRequest{},
                                           message::HelloAck{}, message::StartStream{}, message::Error{}};
  for (const ControlMessage& other : others)
    EXPECT_EQ(act(other), "auth.required[not authenticated] close") << caseName(other);
  act(hello());
  for (const ControlMessage& other : others)
    EXPECT_EQ(act(other), "auth.required[not authenticated] close") << caseName(other);
}

TEST_F(HandshakeMachineTest, acceptsTheCasesThatItDoesNotRefuse) {
  EXPECT_TRUE(HandshakeMachine::accepts(message::Hello::key));
  EXPECT_TRUE(HandshakeMachine::accepts(message::PairRequest::key));
  EXPECT_TRUE(HandshakeMachine::accepts(message::Bye::key));
  for (const std::string_view other : {"helloAck", "pairResponse", "requestHostState", "insertText", ""})
    EXPECT_FALSE(HandshakeMachine::accepts(other)) << other;
}

TEST_F(HandshakeMachineTest, truncatesAStrangersNameInTheLog) {
  EXPECT_EQ(loggedName("Anna\u2019s Tablet"), "Anna\u2019s Tablet");
  EXPECT_EQ(loggedName(std::string(1'000'000, 'x')), std::string(200, 'x'));
}

}  // namespace
}  // namespace quorl::test
