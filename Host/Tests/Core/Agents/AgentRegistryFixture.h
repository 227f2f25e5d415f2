// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <Support/FakeFileStore.h>
#include <Support/FakeProcessTable.h>
#include <Support/FakePseudoTerminals.h>
#include <Support/FakeRandom.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeSessionFiles.h>
#include <Support/FakeTerminalScripting.h>
#include <Support/RecordingSink.h>

namespace quorl::test {

/// A registry on fake ports, with one client.
class AgentRegistryFixture : public testing::Test {
 protected:
  AgentRegistryFixture() {
    platform.scheduler = &scheduler;
    platform.random = std::make_shared<FakeRandom>();
    platform.files = files;
    platform.screen = screen;
    platform.pseudoTerminals = terminals;
    platform.processes = processes;
    platform.terminals = tabs;
    platform.sessionFiles = sessionFiles;
    platform.applicationSupportDirectory = "/data";
    bridge = std::make_shared<TerminalBridge>(scheduler, tabs, TerminalBridgeUse::enabled);
    registry = AgentRegistry::make(platform, {trustStore(), catalog(), extras(), bridge});
    registry->setBroadcastControl([this](const ControlMessage& message) { sent.sendControl(message); });
  }

  std::shared_ptr<TrustStore> trustStore() {
    return trust = std::make_shared<TrustStore>(platform, std::nullopt);
  }
  std::shared_ptr<AgentCatalog> catalog() {
    return entries = std::make_shared<AgentCatalog>(scheduler, files, "/data/QuorlHost", "/home/ada");
  }
  std::shared_ptr<HostExtrasStore> extras() {
    return extrasStore = std::make_shared<HostExtrasStore>(scheduler, files, "/data/QuorlHost");
  }

  void ask(AgentCommand command) {
    registry->handle(command, client);
    scheduler.runReady();
  }
  UUID spawn(const std::string& command = "ls", const std::string& name = "My agent") {
    const std::set<UUID> before = rowIDs();
    ask(agentCommand::Spawn{{.displayName = name, .command = command, .workingDirectory = "~/w", .env = {}}});
    for (const UUID& id : rowIDs())
      if (!before.contains(id)) return id;
    ADD_FAILURE() << "nothing was spawned";
    return {};
  }
  std::vector<AgentDescriptor> list() {
    std::vector<AgentDescriptor> rows;
    registry->currentList([&](std::vector<AgentDescriptor> list) { rows = std::move(list); });
    scheduler.runReady();
    return rows;
  }
  std::set<UUID> rowIDs() {
    std::set<UUID> ids;
    for (const auto& row : list()) ids.insert(row.id);
    return ids;
  }
  std::vector<WireError> errors() {
    std::vector<WireError> found;
    for (const auto& error : sent.messages<message::Error>()) found.push_back(error._0);
    return found;
  }
  template <class Event>
  std::vector<Event> events() {
    std::vector<Event> found;
    for (const auto& event : sent.messages<message::AgentEvent>())
      if (const auto* held = std::get_if<Event>(&event._0)) found.push_back(*held);
    return found;
  }
  static std::string textSentTo(const RecordingSink& sink) {
    std::string text;
    for (const auto& frame : sink.frames) text += textOf(frame.body());
    return text;
  }
  void addExternal(std::int32_t pid, const std::string& command, const std::string& tty) {
    processes->rows.push_back({.pid = pid, .tty = tty, .command = command, .executablePath = ""});
  }
  std::vector<ExternalAgent> externals() {
    std::vector<ExternalAgent> agents;
    registry->requestExternalAgents([&](std::vector<ExternalAgent> list) { agents = std::move(list); });
    scheduler.runReady();
    return agents;
  }
  UUID adoptTab(const std::string& contents = "screen text") {
    addExternal(50, "claude", "pts/5");
    tabs->terminals["/dev/pts/5"] = TerminalKind::iterm;
    tabs->contents["/dev/pts/5"] = contents;
    const UUID id = externals().at(0).id;
    registry->adoptExternal(id);
    scheduler.runReady();
    return id;
  }

  SimulatedScheduler scheduler{3};
  std::shared_ptr<FakeFileStore> files = std::make_shared<FakeFileStore>();
  std::shared_ptr<FakeScreenCapture> screen = std::make_shared<FakeScreenCapture>(scheduler);
  std::shared_ptr<FakePseudoTerminals> terminals = std::make_shared<FakePseudoTerminals>();
  std::shared_ptr<FakeProcessTable> processes = std::make_shared<FakeProcessTable>();
  std::shared_ptr<FakeTerminalScripting> tabs = std::make_shared<FakeTerminalScripting>();
  std::shared_ptr<FakeSessionFiles> sessionFiles = std::make_shared<FakeSessionFiles>();
  Platform platform;
  std::shared_ptr<TrustStore> trust;
  std::shared_ptr<AgentCatalog> entries;
  std::shared_ptr<HostExtrasStore> extrasStore;
  std::shared_ptr<TerminalBridge> bridge;
  RecordingSink sent;  // broadcast to all clients
  std::shared_ptr<RecordingSink> client = std::make_shared<RecordingSink>();
  std::shared_ptr<AgentRegistry> registry;
};

}  // namespace quorl::test
