// SPDX-License-Identifier: GPL-3.0-or-later
// Messages of an authenticated client about agents, catalog and extras.
#include <QuorlHostCore/Session/MessageRouter.h>

#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlKit/Foundation/Check.h>
#include <Support/FakeFileStore.h>
#include <Support/FakeProcessTable.h>
#include <Support/FakePseudoTerminals.h>
#include <Support/FakeRandom.h>
#include <Support/FakeSessionFiles.h>
#include <Support/FakeTerminalScripting.h>
#include <Support/RecordingSink.h>

namespace quorl {
namespace {

using test::RecordingSink;

// A session without streams and input.
class BareSession final : public RoutedSession {
 public:
  explicit BareSession(std::shared_ptr<HostServices> services) : services_(std::move(services)) {}

  const std::shared_ptr<HostServices>& services() override { return services_; }
  StreamTable& streams() override { noSuchThing(); }
  InputRouter& input() override { noSuchThing(); }
  FileDesk& files() override { noSuchThing(); }
  std::weak_ptr<StreamOutputSink> sink() override { return client; }
  bool isClosed() const override { return closed; }
  void reply(ControlMessage message) override { client->sendControl(std::move(message)); }
  void answer(Question, Answerer answerer) override {
    answerer(services_, [this](std::optional<ControlMessage> message) {
      if (message) client->sendControl(std::move(*message));
    });
  }
  void noteProbe() override {}
  void openVideoChannel(std::uint16_t) override {}
  void end() override {}

  std::shared_ptr<RecordingSink> client = std::make_shared<RecordingSink>();
  bool closed = false;

 private:
  [[noreturn]] static void noSuchThing() {
    QUORL_CHECK(false, "no route of agents reaches this");
    std::abort();
  }

  std::shared_ptr<HostServices> services_;
};

class AgentRoutes : public testing::Test {
 protected:
  AgentRoutes() {
    Platform& platform = services->platform;
    platform.scheduler = &scheduler;
    platform.random = std::make_shared<test::FakeRandom>();
    platform.files = std::make_shared<test::FakeFileStore>();
    platform.pseudoTerminals = terminals;
    platform.processes = processes;
    platform.terminals = std::make_shared<test::FakeTerminalScripting>();
    platform.sessionFiles = std::make_shared<test::FakeSessionFiles>();
    platform.applicationSupportDirectory = "/data";
    services->trustStore = std::make_shared<TrustStore>(platform, std::nullopt);
    services->catalog =
        std::make_shared<AgentCatalog>(scheduler, platform.files, "/data/QuorlHost", "/home/ada");
    services->extras = std::make_shared<HostExtrasStore>(scheduler, platform.files, "/data/QuorlHost");
    services->agents = AgentRegistry::make(
        platform,
        {services->trustStore, services->catalog, services->extras,
         std::make_shared<TerminalBridge>(scheduler, platform.terminals, TerminalBridgeUse::enabled)});
    services->broadcast = [this](const ControlMessage& message) { all.sendControl(message); };
    services->agents->setBroadcastControl(services->broadcast);
  }

  void receive(ControlMessage message) {
    routeMessage(session, message);
    scheduler.runReady();
  }
  void spawn() {
    receive(message::AgentCommand{
        agentCommand::Spawn{{.displayName = "a", .command = "b", .workingDirectory = "~", .env = {}}}});
  }

  SimulatedScheduler scheduler;
  std::shared_ptr<test::FakePseudoTerminals> terminals = std::make_shared<test::FakePseudoTerminals>();
  std::shared_ptr<test::FakeProcessTable> processes = std::make_shared<test::FakeProcessTable>();
  std::shared_ptr<HostServices> services = std::make_shared<HostServices>();
  RecordingSink all;  // broadcast to all clients
  BareSession session{services};
};

TEST_F(AgentRoutes, carryOutACommandAndAnswerTheList) {
  spawn();
  receive(message::RequestAgentList{});
  const auto lists = session.client->messages<message::AgentList>();
  ASSERT_EQ(lists.size(), 1U);
  ASSERT_EQ(lists[0]._0.size(), 1U);
  EXPECT_EQ(lists[0]._0[0].name, "a");
  receive(message::AgentCommand{agentCommand::Subscribe{lists[0]._0[0].id}});
  terminals->last().print("hello");
  scheduler.runReady();
  EXPECT_EQ(session.client->frames.size(), 1U);
}

TEST_F(AgentRoutes, answerTheCatalogAndBroadcastItsChanges) {
  receive(message::RequestAgentCatalog{});
  ASSERT_EQ(session.client->messages<message::AgentCatalog>().size(), 1U);
  EXPECT_EQ(session.client->messages<message::AgentCatalog>()[0]._0.size(), 2U);
  receive(message::SaveAgentCatalogEntry{
      {.id = UUID{{9}}, .name = "n", .command = "c", .workingDirectory = "/", .env = {}}});
  receive(message::LaunchCatalogEntry{UUID{{9}}});
  receive(message::DeleteAgentCatalogEntry{UUID{{9}}});
  const auto told = all.messages<message::AgentCatalog>();
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[0]._0.size(), 3U);
  EXPECT_EQ(told[1]._0.size(), 2U);
  EXPECT_EQ(terminals->children.size(), 1U);
}

TEST_F(AgentRoutes, answerTheServicesAndTellAllOfTheirChanges) {
  receive(message::RequestServiceList{});
  EXPECT_TRUE(session.client->messages<message::ServiceList>().at(0)._0.empty());
  receive(message::AddCustomService{{.id = UUID{{9}}, .name = "web", .port = 3000}});
  receive(message::RemoveCustomService{UUID{{9}}});
  const auto told = all.messages<message::ServiceList>();
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[0]._0, (std::vector<ServiceDescriptor>{{3000, "web", 0, std::nullopt, true}}));
  EXPECT_TRUE(told[1]._0.empty());
}

TEST_F(AgentRoutes, keepTheBundlesAndTellAllWhatWasKept) {
  receive(message::SetGUIAgentBundles{{" a ", "a", ""}});
  ASSERT_EQ(all.messages<message::GUIAgentBundles>().size(), 1U);
  EXPECT_EQ(all.messages<message::GUIAgentBundles>()[0]._0, std::vector<std::string>{"a"});
  receive(message::RequestGUIAgentBundles{});
  EXPECT_EQ(session.client->messages<message::GUIAgentBundles>().at(0)._0, std::vector<std::string>{"a"});
}

TEST_F(AgentRoutes, answerTheExternalAgentsAndTellAllOfAFailedAdoption) {
  processes->rows.push_back({.pid = 5, .tty = "pts/3", .command = "claude", .executablePath = ""});
  receive(message::RequestExternalAgents{});
  const auto lists = session.client->messages<message::ExternalAgentList>();
  ASSERT_EQ(lists.size(), 1U);
  ASSERT_EQ(lists[0]._0.size(), 1U);
  receive(message::AdoptExternalAgent{lists[0]._0[0].id});
  ASSERT_EQ(all.messages<message::Error>().size(), 1U);
  EXPECT_EQ(all.messages<message::Error>()[0]._0.code, "agent.adopt");
}

TEST_F(AgentRoutes, carryOutNothingForASessionThatHasEnded) {
  session.closed = true;
  spawn();
  EXPECT_TRUE(terminals->children.empty());
}

TEST_F(AgentRoutes, giveEmptyListsWhereThePlatformRunsNoTerminals) {
  services->agents.reset();
  services->catalog.reset();
  services->extras.reset();
  spawn();
  receive(message::RequestAgentList{});
  receive(message::RequestServiceList{});
  receive(message::AddCustomService{});
  receive(message::RequestAgentCatalog{});
  EXPECT_EQ(session.client->controls.size(), 2U);
  EXPECT_TRUE(all.controls.empty());
}

}  // namespace
}  // namespace quorl
