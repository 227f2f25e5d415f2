// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Attention/AgentAttention.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace quorl {
namespace {

AgentAttention::Finding examine(std::string_view text, AgentAdapter adapter = AgentAdapter::generic) {
  return AgentAttention::examine(viewOf(text), adapter);
}

TEST(AgentAdapter, isChosenByTheCommandUnlessTheKindDecides) {
  EXPECT_EQ(inferAgentAdapter("ls", AgentKind::claudeCode), AgentAdapter::claudeCode);
  EXPECT_EQ(inferAgentAdapter("/opt/CLAUDE --resume x", AgentKind::pty), AgentAdapter::claudeCode);
  EXPECT_EQ(inferAgentAdapter("aider --with codex", AgentKind::pty), AgentAdapter::codex);
  EXPECT_EQ(inferAgentAdapter("codex # not claude", AgentKind::pty), AgentAdapter::claudeCode);
  EXPECT_EQ(inferAgentAdapter("Aider", AgentKind::pty), AgentAdapter::aider);
  EXPECT_EQ(inferAgentAdapter("make", AgentKind::pty), AgentAdapter::generic);
}

TEST(AgentAdapter, hasItsCasesInOrderWithTheirNames) {
  ASSERT_EQ(rawValues<AgentAdapter>.size(), 4U);
  EXPECT_EQ(rawValues<AgentAdapter>[0].second, "claudeCode");
  EXPECT_EQ(rawValues<AgentAdapter>[1].second, "codex");
  EXPECT_EQ(rawValues<AgentAdapter>[2].second, "aider");
  EXPECT_EQ(rawValues<AgentAdapter>[3].second, "generic");
}

TEST(AgentAttention, hasTenCommonPatternsFollowedByEachProgramsOwn) {
  EXPECT_EQ(AgentAttention::patterns(AgentAdapter::generic).size(), 10U);
  EXPECT_EQ(AgentAttention::patterns(AgentAdapter::claudeCode).size(), 13U);
  EXPECT_EQ(AgentAttention::patterns(AgentAdapter::codex).size(), 13U);
  EXPECT_EQ(AgentAttention::patterns(AgentAdapter::aider).size(), 14U);
  EXPECT_EQ(AgentAttention::patterns(AgentAdapter::aider)[10], R"(\(Y\)es)");
}

TEST(AgentAttention, findsEveryBasePatternForEveryProgram) {
  const std::vector<std::string> texts = {"really?",           "go Y/N",         "YES/no",
                                          "sudo Password:",    "do you WANT it", "allow it",
                                          "Press Enter now",   "zsh\n❯  \n",     "is Waiting for your input",
                                          "(ESC to interrupt)"};
  for (const auto& [adapter, name] : rawValues<AgentAdapter>) {
    for (const auto& text : texts) EXPECT_TRUE(examine(text, adapter).asks) << text << " for " << name;
    EXPECT_FALSE(examine("compiling 3 of 7", adapter).asks) << name;
    EXPECT_FALSE(examine("❯ ls\nfile", adapter).asks) << name;
  }
}

TEST(AgentAttention, findsAProgramsOwnWordsOnlyForIt) {
  EXPECT_TRUE(examine("❯ 1. Proceed", AgentAdapter::claudeCode).asks);
  EXPECT_TRUE(examine("2. Yes, and do not ask", AgentAdapter::claudeCode).asks);
  EXPECT_FALSE(examine("2. Yes, and do not ask", AgentAdapter::aider).asks);
  EXPECT_TRUE(examine("Approve this", AgentAdapter::codex).asks);
  EXPECT_FALSE(examine("Approve this", AgentAdapter::generic).asks);
  EXPECT_TRUE(examine("(Y)es [Yes]:", AgentAdapter::aider).asks);
  EXPECT_TRUE(examine("(N)o", AgentAdapter::aider).asks);
  EXPECT_TRUE(examine("Add a.txt to the chat", AgentAdapter::aider).asks);
  EXPECT_FALSE(examine("Add a.txt to the chat", AgentAdapter::claudeCode).asks);
}

TEST(AgentAttention, seesTheTextWithoutItsSequences) {
  EXPECT_TRUE(examine("y\x1b[1;31m/\x1b[0mn").asks);
  EXPECT_FALSE(examine("\x1b[?25l working \x1b]0;really?\x07").asks);
}

TEST(AgentAttention, seesOnlyTheLast512Bytes) {
  EXPECT_TRUE(examine("?" + std::string(511, 'x')).asks);
  EXPECT_FALSE(examine("?" + std::string(512, 'x')).asks);
}

TEST(AgentAttention, repairsACharacterThatTheCutSplits) {
  const auto finding = examine("é" + std::string(510, 'x') + "?");
  EXPECT_TRUE(finding.asks);
  EXPECT_EQ(finding.body, "\xef\xbf\xbd" + std::string(510, 'x') + "?");
}

TEST(AgentAttention, usesTheLastNonEmptyLineAsBody) {
  EXPECT_EQ(examine("first\r\n \tProceed? \t\r\n   \r\n").body, "Proceed?");
  EXPECT_EQ(examine("\x1b[2J\x1b[H\r\n").body, "waiting for input");
  EXPECT_EQ(examine("").body, "waiting for input");
}

TEST(AgentAttention, compilesOncePerProgramEvenFromManyThreads) {
  std::vector<const RegularExpression*> seen(8);
  std::vector<std::thread> threads;
  for (auto& place : seen)
    threads.emplace_back([&place] { place = AgentAttention::regex(AgentAdapter::codex).get(); });
  for (auto& thread : threads) thread.join();
  ASSERT_NE(seen.front(), nullptr);
  for (const auto* expression : seen) EXPECT_EQ(expression, seen.front());
}

}  // namespace
}  // namespace quorl
