// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <fstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"
#include "../Support/SampleState.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using test::sampleNetwork;
using test::sampleState;

class CommandTest : public testing::Test {
 protected:
  CommandRun run_;
};

TEST_F(CommandTest, pairsStoresTheTokenAndReconnects) {
  FakeHost host({.hostState = sampleState(), .networkStatus = sampleNetwork()});
  const auto paired = run_({"pair", host.address(), "--pin", "012345"});
  EXPECT_EQ(paired.code, ExitCode::ok) << paired.notes;
  EXPECT_EQ(paired.out, fmt::format("Paired with Fake host at {}.\n", host.address()));
  const auto contents = run_.book.load();
  ASSERT_TRUE(contents);
  ASSERT_EQ(contents->hosts.size(), 1U);
  EXPECT_EQ(contents->hosts[0].deviceID, host.device().deviceID);
  EXPECT_EQ(contents->hosts[0].token.size(), 32U);
  EXPECT_EQ(host.messagesOf<message::Hello>().at(0)._0.device.deviceID, contents->deviceID);
  EXPECT_EQ(run_({"info"}).code, ExitCode::ok);
}

TEST_F(CommandTest, pairingAgainReplacesThePairing) {
  FakeHost host({});
  ASSERT_EQ(run_({"pair", host.address(), "--pin", "012345"}).code, ExitCode::ok);
  ASSERT_EQ(run_({"pair", "Fake host", "--pin", "012345"}).code, ExitCode::ok);
  EXPECT_EQ(run_.book.load()->hosts.size(), 1U);
}

TEST_F(CommandTest, refusesAWrongPIN) {
  FakeHost host({});
  const auto result = run_({"pair", host.address(), "--pin", "999999"});
  EXPECT_EQ(result.code, ExitCode::refused);
  EXPECT_NE(result.notes.find("wrong PIN"), std::string::npos);
  EXPECT_TRUE(run_.book.load()->hosts.empty());
}

TEST_F(CommandTest, asksForThePINAgainOnATerminal) {
  FakeHost host({});
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  const Descriptor reader(ends[0]);
  const Descriptor writer(ends[1]);
  const std::string typed = "111111\n012 345\n";
  ASSERT_EQ(::write(writer.get(), typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  run_.inputDescriptor = reader.get();
  const auto result = run_({"pair", host.address()});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_NE(result.notes.find("PIN that Fake host shows"), std::string::npos);
  EXPECT_NE(result.notes.find("try again"), std::string::npos);
}

TEST_F(CommandTest, checksAPINBeforeItConnects) {
  FakeHost host({});
  EXPECT_EQ(run_({"pair", host.address(), "--pin", "12345"}).code, ExitCode::usage);
  EXPECT_EQ(run_({"pair", host.address()}).code, ExitCode::usage);
  EXPECT_EQ(host.connections(), 0);
}

TEST_F(CommandTest, distinguishesUnreachableRefusedAndSilentHosts) {
  const auto port = FakeHost({}).port();
  EXPECT_EQ(run_({"pair", fmt::format("127.0.0.1:{}", port), "--pin", "012345"}).code, ExitCode::unreachable);
  FakeHost locked({.lockOut = WireError{"auth.lockout", "too many failed PIN attempts; try again later"}});
  EXPECT_EQ(run_({"pair", locked.address(), "--pin", "012345"}).code, ExitCode::refused);
  FakeHost silent({.isSilent = true});
  EXPECT_EQ(run_({"pair", silent.address(), "--pin", "012345", "--timeout", "0.2"}).code, ExitCode::timedOut);
  FakeHost newer({.protocolVersion = 9});
  EXPECT_EQ(run_({"pair", newer.address(), "--pin", "012345"}).code, ExitCode::refused);
  EXPECT_EQ(run_({"pair", "not a host", "--pin", "012345"}).code, ExitCode::usage);
}

TEST_F(CommandTest, advisesToPairWithAHostThatForgotThisClient) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  host.forgetClients();
  const auto result = run_({"info"});
  EXPECT_EQ(result.code, ExitCode::refused);
  EXPECT_NE(result.notes.find("pair again"), std::string::npos);
}

TEST_F(CommandTest, noticesAnotherHostAtTheAddress) {
  FakeHost host({});
  auto other = host.pairedHost();
  other.deviceID = UUID::random();
  run_.addHost(other);
  const auto result = run_({"info"});
  EXPECT_EQ(result.code, ExitCode::refused);
  EXPECT_NE(result.notes.find("another host answers"), std::string::npos);
}

TEST_F(CommandTest, needsAHostNameIfSeveralArePaired) {
  FakeHost one({.hostState = sampleState(), .networkStatus = sampleNetwork()});
  FakeHost two({});
  run_.addHost(one.pairedHost());
  run_.addHost(two.pairedHost());
  EXPECT_EQ(run_({"info"}).code, ExitCode::usage);
  EXPECT_EQ(run_({"info", one.address()}).code, ExitCode::ok);
  EXPECT_EQ(run_({"echo", "--host", two.address(), "--count", "1"}).code, ExitCode::ok);
  EXPECT_EQ(run_({"info", "elsewhere"}).code, ExitCode::refused);
}

TEST_F(CommandTest, reportsThatNothingIsPaired) {
  const auto result = run_({"info"});
  EXPECT_EQ(result.code, ExitCode::refused);
  EXPECT_NE(result.notes.find("quorl_client pair"), std::string::npos);
}

TEST_F(CommandTest, reportsADamagedHostBook) {
  ASSERT_TRUE(run_.book.update([](HostBookContents&) {}));
  std::ofstream(run_.book.path()) << "not JSON";
  for (const auto* command : {"info", "hosts"}) {
    const auto result = run_({command});
    EXPECT_EQ(result.code, ExitCode::failure);
    EXPECT_NE(result.notes.find("damaged"), std::string::npos);
  }
}

TEST_F(CommandTest, listsAndForgetsHostsWithoutPrintingTokens) {
  FakeHost host({});
  const auto paired = host.pairedHost();
  run_.addHost(paired);
  EXPECT_NE(run_({"hosts"}).out.find("Fake host"), std::string::npos);
  EXPECT_EQ(
      run_({"hosts", "--json"}).out,
      fmt::format("[{{\"name\":\"Fake host\",\"address\":\"127.0.0.1\",\"port\":{},\"deviceID\":\"{}\"}}]\n",
                  host.port(), host.device().deviceID.text()));
  EXPECT_EQ(run_({"forget", "Fake host"}).code, ExitCode::ok);
  EXPECT_EQ(run_({"hosts", "--json"}).out, "[]\n");
  EXPECT_EQ(run_({"forget", "Fake host"}).code, ExitCode::refused);
}

TEST_F(CommandTest, measuresRoundTrips) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  const auto result = run_({"echo", "--count", "20", "--size", "1000"});
  EXPECT_EQ(result.code, ExitCode::ok);
  EXPECT_NE(result.out.find("20 of 20 echoes of 1000 bytes"), std::string::npos);
  const auto pipelined = run_({"echo", "--count", "500", "--size", "20000", "--pipelined", "--json"});
  EXPECT_EQ(pipelined.code, ExitCode::ok);
  EXPECT_NE(pipelined.out.find("\"sent\":500,\"received\":500,\"size\":20000,\"pipelined\":true"),
            std::string::npos)
      << pipelined.out;
}

TEST_F(CommandTest, givesUpOnEchoesThatDoNotComeBack) {
  FakeHost host({.answersEchoes = false});
  run_.addHost(host.pairedHost());
  const auto result = run_({"echo", "--timeout", "0.2", "--json"});
  EXPECT_EQ(result.code, ExitCode::timedOut);
  EXPECT_NE(result.out.find("\"sent\":1,\"received\":0"), std::string::npos);
}

TEST_F(CommandTest, sendsAnyMessageAndPrintsWhatComesBack) {
  FakeHost host({.networkStatus = sampleNetwork()});
  run_.addHost(host.pairedHost());
  const auto result = run_({"send", R"({"requestNetworkStatus":{}})", "--seconds", "0.3"});
  EXPECT_EQ(result.code, ExitCode::ok);
  EXPECT_NE(result.out.find("{\"serviceList\":{\"_0\":[]}}\n"), std::string::npos);
  EXPECT_NE(result.out.find("{\"networkStatus\":{\"_0\":{\"overlay\":\"tailscale\""), std::string::npos);
}

TEST_F(CommandTest, sendsInvalidMessagesOnlyWithRaw) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  EXPECT_EQ(run_({"send", R"({"nonsense":{}})"}).code, ExitCode::usage);
  EXPECT_EQ(host.connections(), 0);
  const auto raw = run_({"send", R"({"nonsense":{}})", "--raw", "--seconds", "0.3"});
  EXPECT_EQ(raw.code, ExitCode::ok);
  EXPECT_NE(raw.out.find("proto.badJSON"), std::string::npos);
}

TEST_F(CommandTest, failsWhenItsResultIsLost) {
  run_.outputIsIntact = false;
  EXPECT_EQ(run_({"help"}).code, ExitCode::failure);
  EXPECT_EQ(run_({"hosts", "--json"}).code, ExitCode::failure);
  EXPECT_EQ(run_({"nonsense"}).code, ExitCode::usage);
}

TEST_F(CommandTest, printsItsHelp) {
  EXPECT_EQ(run_({}).code, ExitCode::usage);
  EXPECT_EQ(run_({"help"}).code, ExitCode::ok);
  EXPECT_EQ(run_({"nonsense"}).code, ExitCode::usage);
  EXPECT_EQ(run_({"help", "nonsense"}).code, ExitCode::usage);
  const auto help = run_({"help", "shot"});
  EXPECT_EQ(help.code, ExitCode::ok);
  EXPECT_NE(help.out.find("quorl_client shot screen.png"), std::string::npos);
  EXPECT_EQ(run_({"shot", "--help"}).out, help.out);
}

}  // namespace
}  // namespace quorl::client
