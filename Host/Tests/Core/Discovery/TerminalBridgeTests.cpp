// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Terminals/BridgedTerminalSession.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeProcessTable.h>
#include <Support/FakeTerminalScripting.h>
#include <Support/LogRecorder.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::FakeProcessTable;
using test::FakeTerminalScripting;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const std::string tty = "/dev/pts/3";

class Bridge : public testing::Test {
 protected:
  SimulatedScheduler scheduler;
  std::shared_ptr<FakeTerminalScripting> terminals = std::make_shared<FakeTerminalScripting>();
  std::vector<WireError> errors;

  std::shared_ptr<TerminalBridge> makeBridge(TerminalBridgeUse use = TerminalBridgeUse::enabled) {
    auto bridge = std::make_shared<TerminalBridge>(scheduler, terminals, use);
    bridge->onError = [this](const WireError& error) { errors.push_back(error); };
    return bridge;
  }
};

TEST_F(Bridge, returnsAnEmptyMapWithoutAskingIfDisabled) {
  terminals->terminals = {{tty, TerminalKind::iterm}};
  terminals->contents = {{tty, "text"}};
  const auto bridge = makeBridge(TerminalBridgeUse::disabled);
  EXPECT_FALSE(bridge->enabled());
  EXPECT_THAT(bridge->mapTerminals(), IsEmpty());
  EXPECT_EQ(bridge->readContents(tty, TerminalKind::iterm), std::nullopt);
  bridge->sendText(tty, TerminalKind::iterm, "x", TextSubmission::submit);
  bridge->sendRaw(tty, TerminalKind::iterm, viewOf("x"));
  EXPECT_EQ(terminals->calls, 0);
}

TEST_F(Bridge, passesOnWhatIsAskedOfAKnownTerminal) {
  terminals->terminals = {{tty, TerminalKind::iterm}};
  terminals->contents = {{tty, "text"}};
  const auto bridge = makeBridge();
  EXPECT_THAT(bridge->mapTerminals(), ElementsAre(Pair(tty, TerminalKind::iterm)));
  EXPECT_EQ(bridge->readContents(tty, TerminalKind::iterm), "text");
  EXPECT_EQ(bridge->readContents("/dev/gone", TerminalKind::iterm), "");
  bridge->sendText(tty, TerminalKind::terminalApp, "ls", TextSubmission::submit);
  bridge->sendRaw(tty, TerminalKind::iterm, viewOf("\x03"));
  EXPECT_THAT(
      terminals->typed,
      ElementsAre(FakeTerminalScripting::Typed{tty, TerminalKind::terminalApp, "ls", TextSubmission::submit},
                  FakeTerminalScripting::Typed{tty, TerminalKind::iterm, "\x03", std::nullopt}));
}

TEST_F(Bridge, asksNothingOfAnUnknownTerminalAndSendsNoNothing) {
  const auto bridge = makeBridge();
  EXPECT_EQ(bridge->readContents(tty, TerminalKind::unknown), std::nullopt);
  bridge->sendText(tty, TerminalKind::unknown, "x", TextSubmission::type);
  bridge->sendRaw(tty, TerminalKind::unknown, viewOf("x"));
  bridge->sendRaw(tty, TerminalKind::iterm, {});
  EXPECT_EQ(terminals->calls, 0);
}

TEST_F(Bridge, reportsADenialOnce) {
  terminals->failure = {.denied = true, .description = {}};
  const auto bridge = makeBridge();
  EXPECT_THAT(bridge->mapTerminals(), IsEmpty());
  bridge->sendText(tty, TerminalKind::iterm, "x", TextSubmission::submit);
  terminals->failure.reset();
  bridge->mapTerminals();
  terminals->failure = {.denied = true, .description = {}};
  bridge->mapTerminals();
  EXPECT_THAT(errors, ElementsAre(WireError{
                          "agent.automation",
                          "Allow Quorl to control Terminal in System Settings ▸ Privacy & Security ▸ "
                          "Automation, then try adopting again."}));
}

TEST_F(Bridge, onlyLogsAnyOtherFailure) {
  const test::LogRecorder log;
  terminals->failure = {.denied = false, .description = "osascript error: syntax"};
  makeBridge()->mapTerminals();
  EXPECT_TRUE(log.has(LogLevel::error, "agent", "osascript error: syntax"));
  EXPECT_THAT(errors, IsEmpty());
}

class BridgedSession : public Bridge {
 protected:
  std::shared_ptr<FakeProcessTable> processes = std::make_shared<FakeProcessTable>();
  std::string output;
  std::vector<AgentStatus> statuses;
  std::vector<std::pair<std::string, std::string>> attentions;
  std::shared_ptr<BridgedTerminalSession> session = makeSession(77, "claude");

  std::shared_ptr<BridgedTerminalSession> makeSession(std::int32_t pid, const std::string& command) {
    const ExternalAgent agent{.id = UUID{},
                              .pid = pid,
                              .command = command,
                              .name = "Claude",
                              .tty = tty,
                              .terminal = TerminalKind::iterm,
                              .adoptable = true,
                              .cwd = "/srv"};
    auto made = BridgedTerminalSession::create(scheduler, agent, tty, makeBridge(), processes);
    made->onOutput = [this](ByteView bytes) { output += textViewOf(bytes); };
    made->onStatusChange = [this](AgentStatus status) { statuses.push_back(status); };
    made->onAttention = [this](const std::string& title, const std::string& body) {
      attentions.emplace_back(title, body);
    };
    return made;
  }

  void show(const std::string& text) { terminals->contents[tty] = text; }
  std::string scrollback() const { return textOf(session->scrollback()); }
  std::string takeOutput() { return std::exchange(output, {}); }
};

TEST_F(BridgedSession, showsTheScreenToItsFirstWatcher) {
  show("a\nb");
  session->addSubscriber();
  scheduler.runReady();
  EXPECT_EQ(scrollback(), "a\r\nb");
  EXPECT_EQ(takeOutput(), "a\r\nb");
  EXPECT_EQ(session->previewLine(), "b");
  EXPECT_EQ(session->status(), AgentStatus::running);
}

TEST_F(BridgedSession, sendsWhatIsNewWithLineEnds) {
  show("a\nb");
  session->addSubscriber();
  scheduler.runReady();
  takeOutput();
  show("b\nc\rd");
  scheduler.advance(600ms);
  EXPECT_EQ(takeOutput(), "c\r\nd\r\n");
  EXPECT_EQ(scrollback(), "a\r\nbc\r\nd\r\n");
}

TEST_F(BridgedSession, sendsNothingOfAnUnchangedTextAndFallsIdle) {
  show("quiet");
  session->addSubscriber();
  scheduler.advance(1900ms);
  takeOutput();
  EXPECT_EQ(session->status(), AgentStatus::running);
  scheduler.advance(600ms);
  EXPECT_EQ(takeOutput(), "");
  EXPECT_THAT(statuses, ElementsAre(AgentStatus::idle));
  EXPECT_THAT(attentions, IsEmpty());
}

TEST_F(BridgedSession, waitsForInputWhenTheQuietScreenAsks) {
  show("work\n  Do you want to proceed?  \n");
  session->addSubscriber();
  scheduler.advance(3s);
  EXPECT_THAT(statuses, ElementsAre(AgentStatus::waitingInput));
  EXPECT_THAT(attentions, ElementsAre(Pair("Claude", "Do you want to proceed?")));
  scheduler.advance(29s);
  EXPECT_EQ(attentions.size(), 1U);
  scheduler.advance(2s);
  EXPECT_EQ(attentions.size(), 2U) << "every thirty seconds";
}

TEST_F(BridgedSession, runsAgainWhenItPrints) {
  show("quiet");
  session->addSubscriber();
  scheduler.advance(3s);
  show("quiet\nbusy");
  scheduler.advance(600ms);
  EXPECT_THAT(statuses, ElementsAre(AgentStatus::idle, AgentStatus::running));
}

TEST_F(BridgedSession, replacesTheScrollbackWhenAWatcherReturns) {
  show("a\nb");
  session->addSubscriber();
  scheduler.runReady();
  takeOutput();
  session->removeSubscriber();
  scheduler.runReady();
  show("x\ny");
  scheduler.advance(10s);
  EXPECT_EQ(scrollback(), "a\r\nb") << "nobody watches";
  session->addSubscriber();
  scheduler.runReady();
  EXPECT_EQ(scrollback(), "x\r\ny");
  EXPECT_EQ(takeOutput(), "") << "the history is read, not sent";
}

TEST_F(BridgedSession, countsNoFewerThanNoWatchers) {
  show("a");
  session->removeSubscriber();
  session->removeSubscriber();
  session->addSubscriber();
  scheduler.runReady();
  const int before = terminals->calls;
  scheduler.advance(600ms);
  EXPECT_EQ(terminals->calls, before + 1) << "one watcher is enough to poll";
  session->removeSubscriber();
  scheduler.advance(10s);
  EXPECT_EQ(terminals->calls, before + 1);
  EXPECT_EQ(scheduler.pendingTimers(), 0U);
}

TEST_F(BridgedSession, pollsOnceForSeveralWatchers) {
  show("a");
  session->addSubscriber();
  session->addSubscriber();
  scheduler.runReady();
  EXPECT_EQ(terminals->calls, 1);
  session->removeSubscriber();
  scheduler.advance(600ms);
  EXPECT_EQ(terminals->calls, 2);
}

TEST_F(BridgedSession, keepsAllAsItIsWhenTheTerminalDoesNotAnswer) {
  show("a\nb");
  session->addSubscriber();
  scheduler.advance(3s);
  takeOutput();
  terminals->failure = {.denied = false, .description = {}};
  scheduler.advance(10s);
  EXPECT_EQ(scrollback(), "a\r\nb");
  terminals->failure.reset();
  show("a\nb\nc");
  scheduler.advance(600ms);
  EXPECT_EQ(takeOutput(), "c\r\n");
}

TEST_F(BridgedSession, treatsATabsTextAsNewAfterItWasGone) {
  show("a\nb");
  session->addSubscriber();
  scheduler.runReady();
  takeOutput();
  terminals->contents.clear();
  scheduler.advance(600ms);
  EXPECT_EQ(takeOutput(), "");
  show("a\nb");
  scheduler.advance(600ms);
  EXPECT_EQ(takeOutput(), "a\r\nb\r\n");
}

TEST_F(BridgedSession, exitsWithoutAttentionWhenTheProcessIsGone) {
  show("Do you want to proceed?");
  session->addSubscriber();
  scheduler.runReady();
  processes->gone.insert(77);
  scheduler.advance(3s);
  EXPECT_THAT(statuses, ElementsAre(AgentStatus::exited));
  EXPECT_THAT(attentions, IsEmpty());
}

TEST_F(BridgedSession, keepsTheLastBytesOfALongScrollback) {
  show("start");
  session->addSubscriber();
  scheduler.runReady();
  const std::string first(BridgedTerminalSession::scrollbackLimit - 2, 'x');
  show(first);
  scheduler.advance(600ms);
  EXPECT_EQ(scrollback(), first + "\r\n");
  show("y");
  scheduler.advance(600ms);
  EXPECT_EQ(scrollback(), first.substr(3) + "\r\ny\r\n");
}

TEST_F(BridgedSession, showsNoMoreThan8192CharactersAtFirst) {
  show("\u00e9" + std::string(BridgedTerminalSession::initialLength - 1, 'x') + "\u00e9");
  session->addSubscriber();
  scheduler.runReady();
  EXPECT_EQ(scrollback(), std::string(BridgedTerminalSession::initialLength - 1, 'x') + "\u00e9");
}

TEST_F(BridgedSession, asksTheProcessToEndTwiceAndNeverKillsIt) {
  show("a");
  session->addSubscriber();
  scheduler.runReady();
  session->terminate();
  scheduler.runReady();
  EXPECT_EQ(session->status(), AgentStatus::exited);
  EXPECT_THAT(processes->sent, ElementsAre(Pair(ProcessSignal::interrupt, 77)));
  scheduler.advance(2999ms);
  EXPECT_EQ(processes->sent.size(), 1U);
  scheduler.advance(1ms);
  EXPECT_THAT(processes->sent,
              ElementsAre(Pair(ProcessSignal::interrupt, 77), Pair(ProcessSignal::terminate, 77)));
  scheduler.advance(60s);
  EXPECT_EQ(processes->sent.size(), 2U);
  EXPECT_EQ(terminals->calls, 1) << "no poll after the end";
  session->addSubscriber();
  scheduler.advance(10s);
  EXPECT_EQ(terminals->calls, 1);
}

TEST_F(BridgedSession, sendsNoSecondSignalToAProcessThatWent) {
  session->terminate();
  scheduler.runReady();
  processes->gone.insert(77);
  scheduler.advance(10s);
  EXPECT_THAT(processes->sent, ElementsAre(Pair(ProcessSignal::interrupt, 77)));
}

TEST_F(BridgedSession, sendsNoSignalWithoutAProcess) {
  session = makeSession(0, "claude");
  session->terminate();
  scheduler.advance(10s);
  EXPECT_THAT(processes->sent, IsEmpty());
}

TEST_F(BridgedSession, stopsPollingWhenItIsDropped) {
  show("a");
  session->addSubscriber();
  scheduler.runReady();
  session.reset();
  scheduler.advance(10s);
  EXPECT_EQ(terminals->calls, 1);
}

}  // namespace
}  // namespace quorl
