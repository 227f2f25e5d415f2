// SPDX-License-Identifier: GPL-3.0-or-later
#include "AdoptionScenario.h"

#include <filesystem>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>
#include <QuorlHostCore/Agents/Terminals/BridgedTerminalSession.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostLinux/Agents/ProcProcessTable.h>
#include <Support/Eventually.h>

namespace quorl::test {

using namespace std::chrono_literals;

std::string writeAskingAgent(const TemporaryFolder& folder) {
  std::string script = folder.write("claude",
                                    "#!/bin/sh\necho 'Do you want to proceed?'\nread answer\n"
                                    "echo \"got $answer\"\nexec sleep 1000\n");
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  return script;
}

void findAdoptAnswerAndEnd(const std::string& tty, std::shared_ptr<TerminalScripting> terminals) {
  SimulatedScheduler scheduler;
  const auto processes = std::make_shared<ProcProcessTable>();
  const auto bridge =
      std::make_shared<TerminalBridge>(scheduler, std::move(terminals), TerminalBridgeUse::enabled);
  std::optional<ExternalAgent> agent;
  ASSERT_TRUE(eventually([&] {
    for (ExternalAgent& found : ProcessDiscovery(processes).scan({}, {}))
      if (found.tty == tty) agent = found;
    return agent.has_value();
  }));
  EXPECT_EQ(agent->name, "Claude");
  ASSERT_TRUE(eventually([&] { return bridge->mapTerminals().contains(tty); }));
  agent->terminal = bridge->mapTerminals().at(tty);

  const auto session = BridgedTerminalSession::create(scheduler, *agent, tty, bridge, processes);
  std::string attention;
  session->onAttention = [&](const std::string&, const std::string& body) { attention = body; };
  session->addSubscriber();
  EXPECT_TRUE(eventually([&] {
    scheduler.advance(600ms);
    return session->status() == AgentStatus::waitingInput;
  }));
  EXPECT_EQ(attention, "Do you want to proceed?");
  bridge->sendText(tty, agent->terminal, "yes; \"sir\"", TextSubmission::submit);
  EXPECT_TRUE(eventually([&] {
    scheduler.advance(600ms);
    return textOf(session->scrollback()).find("got yes; \"sir\"\r\n") != std::string::npos;
  })) << textOf(session->scrollback());
  session->terminate();
  scheduler.runReady();
  EXPECT_EQ(session->status(), AgentStatus::exited);
  EXPECT_TRUE(eventually([&] { return !processes->exists({agent->pid}); })) << "it took the interrupt";
}

}  // namespace quorl::test
