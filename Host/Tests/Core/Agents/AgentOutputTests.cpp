// SPDX-License-Identifier: GPL-3.0-or-later
#include "AgentRegistryFixture.h"

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

class AgentOutputTest : public AgentRegistryFixture {};

TEST_F(AgentOutputTest, sendsSubscribersTheTerminalOutputFromItsStart) {
  const UUID id = spawn();
  terminals->last().print("history ");
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  terminals->last().print("live");
  scheduler.runReady();
  ASSERT_EQ(client->frames.size(), 2U);
  EXPECT_EQ(client->frames[0].type(), FrameType::terminal);
  const auto payload = TerminalPayload::decode(ByteView(client->frames[0].encoded()).subspan(5));
  ASSERT_TRUE(payload.has_value());
  EXPECT_EQ(payload->agentID, id);
  EXPECT_EQ(textSentTo(*client), "history live");
  ask(agentCommand::Unsubscribe{id});
  terminals->last().print("unseen");
  scheduler.runReady();
  EXPECT_EQ(textSentTo(*client), "history live");
}

TEST_F(AgentOutputTest, stopsSendingToAClientThatHasGone) {
  const UUID id = spawn();
  ask(agentCommand::Subscribe{id});
  registry->removeSink(client.get());
  scheduler.runReady();
  terminals->last().print("unseen");
  scheduler.runReady();
  EXPECT_TRUE(client->frames.empty());
}

TEST_F(AgentOutputTest, asksAProgramOnTheAlternateScreenToRepaintInPlaceOfAReplay) {
  const UUID id = spawn();
  terminals->last().print("\x1b[?1049hfull screen");
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  EXPECT_TRUE(client->frames.empty());
  EXPECT_EQ(terminals->last().written, "\x0c");
}

TEST_F(AgentOutputTest, boundsTheOutputKeptForAClientThatDoesNotRead) {
  const UUID id = spawn();
  ask(agentCommand::Subscribe{id});
  for (int i = 0; i < 40; ++i) {
    terminals->last().print(std::string(1 << 20, 'x'));
    scheduler.runReady();
  }
  std::size_t held = 0;
  for (const auto& frame : client->frames) held += frame.body().size();
  EXPECT_GT(held, SinkBacklog::mostLimit / 2);
  EXPECT_LE(held, SinkBacklog::mostLimit + 65'536);
  client->frames.clear();  // it has read everything
  scheduler.runReady();
  ASSERT_EQ(client->frames.size(), 1U);
  EXPECT_TRUE(
      textSentTo(*client).starts_with("\x18\x1b"
                                      "c"));
}

TEST_F(AgentOutputTest, sendsAWatcherTheModesOfAFullScreenProgramBeforeItsNextOutput) {
  const UUID id = spawn();
  terminals->last().print("\x1b[?1049h\x1b[?1h\x1b[?1002h\x1b[?2004hscreen");
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  terminals->last().print("painted");
  terminals->last().print(" and on");
  scheduler.runReady();
  EXPECT_NE(textSentTo(*client).find("\x18\x1b[0m\x1b[?1049h\x1b[?1h\x1b[?1002h\x1b[?2004h\x18\x18painted"),
            std::string::npos);
  ASSERT_EQ(client->frames.size(), 2U);
  EXPECT_EQ(textOf(client->frames[1].body()).find('\x18'), std::string::npos) << "once";
}

TEST_F(AgentOutputTest, sendsTheModesBeforeATruncatedHistory) {
  const UUID id = spawn();
  terminals->last().print("\x1b[?2004h\x1b[?25l");
  std::string lines;
  while (lines.size() <= Scrollback::limit) lines += "a line of text\r\n";
  terminals->last().print(lines);
  scheduler.runReady();
  ask(agentCommand::Subscribe{id});
  const std::string shown = textSentTo(*client);
  EXPECT_NE(shown.find("\x18\x1b[0m\x1b[?25l\x1b[?2004h\x18\n"), std::string::npos) << shown.substr(0, 100);
}

}  // namespace
}  // namespace quorl::test
