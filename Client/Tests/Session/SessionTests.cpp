// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/Handshake.h>
#include <quorl-client/Session/Session.h>

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <thread>

#include <gtest/gtest.h>

#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::FakeHost;
using test::HostBehaviour;

const DeviceInfo device{"Test client", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000001")};

Deadline soon() {
  return within(std::chrono::seconds(10));
}

class SessionTest : public testing::Test {
 protected:
  std::unique_ptr<Session> connect(const FakeHost& host) {
    auto session = Session::connect({"127.0.0.1", host.port()}, waiter_, soon());
    EXPECT_TRUE(session) << session.error().what;
    return session ? std::move(*session) : nullptr;
  }

  Waiter waiter_;
};

TEST_F(SessionTest, pairsByPINAndReturnsByToken) {
  FakeHost host({});
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_TRUE(greeting);
  EXPECT_EQ(greeting->device, host.device());
  EXPECT_FALSE(greeting->authenticated);
  const auto outcome = provePIN(*session, "012345", *greeting, soon());
  ASSERT_TRUE(outcome);
  const auto* paired = std::get_if<Paired>(&*outcome);
  ASSERT_NE(paired, nullptr);
  EXPECT_TRUE(paired->acknowledgement.authenticated);
  session->finish(soon());

  auto again = connect(host);
  const auto second = greet(*again, device, soon());
  ASSERT_TRUE(second);
  const auto accepted = proveToken(*again, device, paired->token, *second, soon());
  ASSERT_TRUE(accepted) << accepted.error().what;
  EXPECT_TRUE(accepted->authenticated);
}

TEST_F(SessionTest, keepsAShortNameOfAHostWithAnEndlessOne) {
  HostBehaviour behaviour;
  behaviour.name = std::string(255, 'x') + "\u00e9" + std::string(5'000'000, 'x');
  FakeHost host(behaviour);
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_TRUE(greeting);
  EXPECT_EQ(greeting->device.name, std::string(255, 'x')) << "no character is cut in two";
  const auto outcome = provePIN(*session, "012345", *greeting, soon());
  ASSERT_TRUE(outcome);
  EXPECT_EQ(std::get<Paired>(*outcome).acknowledgement.device.name.size(), 255U);
}

TEST_F(SessionTest, mayRetryAWrongPINOnTheSameGreeting) {
  FakeHost host({});
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_TRUE(greeting);
  const auto wrong = provePIN(*session, "000000", *greeting, soon());
  ASSERT_TRUE(wrong);
  EXPECT_TRUE(std::holds_alternative<WrongPIN>(*wrong));
  const auto right = provePIN(*session, "012345", *greeting, soon());
  ASSERT_TRUE(right);
  EXPECT_TRUE(std::holds_alternative<Paired>(*right));
}

TEST_F(SessionTest, reportsARefusedToken) {
  FakeHost host({});
  const auto paired = host.pairedHost();
  host.forgetClients();
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_TRUE(greeting);
  const auto refused = proveToken(*session, device, paired.token, *greeting, soon());
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code, ExitCode::refused);
  EXPECT_NE(refused.error().advice.find("pair"), std::string::npos);
}

TEST_F(SessionTest, reportsAnotherProtocolVersion) {
  FakeHost host({.protocolVersion = 5});
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_FALSE(greeting);
  EXPECT_EQ(greeting.error().code, ExitCode::refused);
  EXPECT_NE(greeting.error().what.find("host speaks protocol 5"), std::string::npos);
}

TEST_F(SessionTest, reportsLockedPairing) {
  FakeHost host({.lockOut = WireError{"auth.lockout", "too many failed PIN attempts; try again later"}});
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_TRUE(greeting);
  const auto outcome = provePIN(*session, "012345", *greeting, soon());
  ASSERT_FALSE(outcome);
  EXPECT_EQ(outcome.error().code, ExitCode::refused);
  EXPECT_NE(outcome.error().what.find("auth.lockout"), std::string::npos);
  EXPECT_FALSE(outcome.error().advice.empty());
}

TEST_F(SessionTest, givesUpOnASilentHostAtTheDeadline) {
  FakeHost host({.isSilent = true});
  auto session = connect(host);
  const auto begin = Clock::now();
  const auto greeting = greet(*session, device, within(std::chrono::milliseconds(200)));
  ASSERT_FALSE(greeting);
  EXPECT_EQ(greeting.error().code, ExitCode::timedOut);
  EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(200));
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(SessionTest, reportsGarbageAsAnotherProtocol) {
  FakeHost host({.garbage = bytesOf("HTTP/1.1 400 Bad Request\r\n\r\n")});
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_FALSE(greeting);
  EXPECT_EQ(greeting.error().code, ExitCode::failure);
  EXPECT_NE(greeting.error().what.find("unknownType(72)"), std::string::npos) << greeting.error().what;
}

TEST_F(SessionTest, refusesAnOversizedFrameBeforeItsPayload) {
  FakeHost host({.garbage = Bytes{0x01, 0x02, 0x00, 0x00, 0x01}});
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_FALSE(greeting);
  EXPECT_NE(greeting.error().what.find("oversized(33554433)"), std::string::npos) << greeting.error().what;
}

TEST_F(SessionTest, skipsMessagesThatItCannotDecode) {
  const auto unknown = Frame{FrameType::control, bytesOf("{\"fromTheFuture\":{}}")}.encoded();
  const auto known = Frame{FrameType::control, bytesOf("{\"bye\":{}}")}.encoded();
  Bytes both = unknown;
  both.insert(both.end(), known.begin(), known.end());
  FakeHost host({.garbage = both});
  auto session = connect(host);
  const auto message = session->nextControl(soon());
  ASSERT_TRUE(message && *message);
  EXPECT_TRUE(std::holds_alternative<message::Bye>(**message));
}

TEST_F(SessionTest, reportsTheReasonSentBeforeTheClose) {
  FakeHost host({});
  auto session = connect(host);
  ASSERT_TRUE(session->send(ControlMessage(message::RequestHostState{})));
  const auto first = session->nextControl(soon());
  ASSERT_TRUE(first && *first);
  EXPECT_TRUE(std::holds_alternative<message::Error>(**first));
  const auto ended = session->nextControl(soon());
  ASSERT_FALSE(ended);
  EXPECT_NE(ended.error().what.find("not authenticated (auth.required)"), std::string::npos);
  EXPECT_FALSE(session->send(ControlMessage(message::Bye{})));
}

TEST_F(SessionTest, answersAPing) {
  FakeHost host({.greeting = Frame{FrameType::ping, bytesOf("are you there")}.encoded()});
  auto session = connect(host);
  EXPECT_TRUE(session->nextControl(within(std::chrono::milliseconds(100))));
  EXPECT_TRUE(host.waitUntil([](const FakeHost& seen) { return seen.pongs().size() == 1; }));
  EXPECT_EQ(host.pongs(), std::vector<Bytes>{bytesOf("are you there")});
}

TEST_F(SessionTest, reportsThatNothingListens) {
  const auto port = FakeHost({}).port();
  const auto session = Session::connect({"127.0.0.1", port}, waiter_, soon());
  ASSERT_FALSE(session);
  EXPECT_EQ(session.error().code, ExitCode::unreachable);
  EXPECT_NE(session.error().what.find("nothing listens"), std::string::npos);
}

TEST_F(SessionTest, reportsAnUnknownName) {
  const auto session = Session::connect({"no-such-host.invalid", 1}, waiter_, soon());
  ASSERT_FALSE(session);
  EXPECT_EQ(session.error().code, ExitCode::unreachable);
}

TEST_F(SessionTest, endsAWaitOnAnInterruption) {
  FakeHost host({.isSilent = true});
  const Descriptor interruption(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  Waiter waiter(interruption.get());
  auto session = Session::connect({"127.0.0.1", host.port()}, waiter, soon());
  ASSERT_TRUE(session);
  const std::uint64_t one = 1;
  ASSERT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  const auto interrupted = (*session)->nextControl(soon());
  ASSERT_FALSE(interrupted);
  EXPECT_EQ(interrupted.error().code, ExitCode::interrupted);
  // The next wait is an ordinary one.
  const auto after = (*session)->nextControl(within(std::chrono::milliseconds(10)));
  ASSERT_TRUE(after);
  EXPECT_FALSE(*after);
}

TEST_F(SessionTest, reportsAfterASecondWhatItWaitsFor) {
  FakeHost host({.isSilent = true});
  auto session = connect(host);
  std::vector<std::string> notices;
  waiter_.activity = "waiting for a test";
  waiter_.onSlow = [&](const std::string& activity, Clock::duration waited) {
    notices.push_back(activity);
    EXPECT_GE(waited, std::chrono::seconds(1));
  };
  const auto nothing = session->nextControl(within(std::chrono::milliseconds(1'500)));
  ASSERT_TRUE(nothing);
  EXPECT_EQ(notices, std::vector<std::string>{"waiting for a test"});
}

TEST_F(SessionTest, sendsAndReceivesMoreThanTheSocketsHold) {
  FakeHost host({});
  const auto paired = host.pairedHost();
  auto session = connect(host);
  const auto greeting = greet(*session, device, soon());
  ASSERT_TRUE(greeting && proveToken(*session, device, paired.token, *greeting, soon()));
  constexpr std::uint32_t count = 4;
  for (std::uint32_t sequence = 0; sequence < count; ++sequence)
    ASSERT_TRUE(session->send(ControlMessage(
        message::EchoRequest{{sequence, 0, Bytes(8'000'000, static_cast<std::uint8_t>(sequence))}})));
  EXPECT_GT(session->unsentBytes(), 0U);
  std::uint32_t received = 0;
  while (received < count) {
    const auto message = session->nextControl(within(std::chrono::seconds(60)));
    ASSERT_TRUE(message && *message);
    const auto* reply = std::get_if<message::EchoReply>(&**message);
    if (reply == nullptr) continue;
    EXPECT_EQ(reply->_0.seq, received);
    EXPECT_TRUE(reply->_0.padding == Bytes(8'000'000, static_cast<std::uint8_t>(received)));
    ++received;
  }
}

}  // namespace
}  // namespace quorl::client
