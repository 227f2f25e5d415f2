// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <quorl-viewer/Targets/AgentBoard.h>

namespace quorl::viewer {
namespace {

UUID idOf(char digit) {
  return *UUID::parse(std::string("00000000-0000-4000-8000-00000000000") + digit);
}

AgentDescriptor agent(char digit, std::string name, AgentStatus status = AgentStatus::running) {
  return {.id = idOf(digit), .name = std::move(name), .detail = "sh", .status = status};
}

std::vector<std::string> names(const AgentBoard& board) {
  std::vector<std::string> result;
  for (const auto& row : board.rows()) result.push_back(row.name);
  return result;
}

TEST(AgentBoard, listsAgentsWithATerminalAndThoseThatWaitFirst) {
  auto past = agent('3', "past");
  past.kind = AgentKind::claudeCode;
  auto service = agent('4', "service");
  service.kind = AgentKind::httpService;
  AgentBoard board;
  board.take({agent('1', "alpha"), agent('2', "zeta", AgentStatus::waitingInput), past, service,
              agent('5', "over", AgentStatus::exited)});
  EXPECT_EQ(names(board), (std::vector<std::string>{"zeta", "alpha"}));
  EXPECT_EQ(board.waiting(), 1U);
}

TEST(AgentBoard, followsEvents) {
  AgentBoard board;
  board.take({agent('1', "alpha")});
  board.take(AgentEvent(agentEvent::Updated{agent('1', "alpha", AgentStatus::waitingInput)}));
  EXPECT_EQ(board.waiting(), 1U);
  board.take(AgentEvent(agentEvent::Updated{agent('2', "beta")}));
  EXPECT_EQ(names(board), (std::vector<std::string>{"alpha", "beta"}));
  board.take(AgentEvent(agentEvent::Removed{idOf('1')}));
  EXPECT_EQ(names(board), (std::vector<std::string>{"beta"}));
  EXPECT_EQ(board.waiting(), 0U);
  board.clear();
  EXPECT_TRUE(board.rows().empty());
}

TEST(AgentBoard, notifiesOnceWhenAnAgentCallsAndOpensThatOne) {
  AgentBoard board;
  board.take({agent('1', "alpha", AgentStatus::waitingInput), agent('2', "beta", AgentStatus::waitingInput)});
  EXPECT_EQ(board.next(), idOf('1'));
  EXPECT_FALSE(board.take(AgentEvent(agentEvent::Updated{agent('2', "beta", AgentStatus::waitingInput)})));
  const auto notice = board.take(AgentEvent(agentEvent::Attention{idOf('2'), "beta\x1b[2J", "May I?"}));
  ASSERT_TRUE(notice);
  EXPECT_EQ(*notice, (AgentNotice{idOf('2'), "beta\\x1b[2J", "May I?"}));
  EXPECT_EQ(board.next(), idOf('2'));
  board.take(AgentEvent(agentEvent::Updated{agent('2', "beta")}));
  EXPECT_EQ(board.next(), idOf('1'));
}

TEST(AgentBoard, keepsABoundedNumberOfAgents) {
  AgentBoard board;
  UUID id{};
  for (std::size_t number = 0; number <= AgentBoard::mostAgents; ++number) {
    auto one = agent('1', "alpha");
    id.bytes[0] = static_cast<std::uint8_t>(number);
    id.bytes[1] = static_cast<std::uint8_t>(number >> 8U);
    one.id = id;
    board.take(AgentEvent(agentEvent::Updated{one}));
  }
  EXPECT_EQ(board.rows().size(), AgentBoard::mostAgents);
}

TEST(AgentBoard, opensNothingWhileNoneWaits) {
  AgentBoard board;
  EXPECT_FALSE(board.next());
  board.take({agent('1', "alpha")});
  EXPECT_FALSE(board.next());
}

}  // namespace
}  // namespace quorl::viewer
