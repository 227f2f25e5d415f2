// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/AgentRows.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

UUID id(std::string_view text) {
  return UUID::parse(text).value();
}

const UUID first = id("3F2504E0-4F89-41D3-9A0C-0305E82C3301");
const UUID second = id("3F2504E0-4F89-41D3-9A0C-0305E82C3302");
const UUID third = id("AB2504E0-4F89-41D3-9A0C-0305E82C3303");

AgentDescriptor row(const UUID& identity, std::string name, AgentStatus status = AgentStatus::running) {
  return {.id = identity,
          .kind = AgentKind::pty,
          .name = std::move(name),
          .detail = "x — ~",
          .status = status,
          .pid = 7};
}

bool any(const AgentDescriptor&) {
  return true;
}

TEST(AgentChoice, acceptsAnIdentityItsBeginningANameOrAPartOfOne) {
  const std::vector rows{row(first, "website"), row(second, "tests"), row(third, "website tests")};
  EXPECT_EQ(chooseAgent(rows, "3f2504e0-4f89-41d3-9a0c-0305e82c3302", any)->id, second);
  EXPECT_EQ(chooseAgent(rows, "ab", any)->id, third);
  EXPECT_EQ(chooseAgent(rows, "tests", any)->id, second) << "the whole name before its part in another";
  EXPECT_EQ(chooseAgent(rows, "SITE T", any)->id, third);
}

TEST(AgentChoice, reportsAnUnknownAgent) {
  const auto missing = chooseAgent({row(first, "a")}, "zz", any);
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().code, ExitCode::failure);
  EXPECT_EQ(missing.error().what, "the host has no agent 'zz'");
  EXPECT_FALSE(chooseAgent({row(first, "a")}, "", any));
  EXPECT_FALSE(chooseAgent({}, "a", any));
}

TEST(AgentChoice, listsTheMatchesOfAnAmbiguousWord) {
  const auto both = chooseAgent({row(first, "a"), row(second, "b\x1b[31m"), row(third, "c")}, "3F25", any);
  ASSERT_FALSE(both);
  EXPECT_EQ(both.error().code, ExitCode::usage);
  EXPECT_EQ(both.error().what, "'3F25' matches 2 agents");
  EXPECT_NE(both.error().advice.find("3F2504E0-4F89-41D3-9A0C-0305E82C3301  a"), std::string::npos)
      << both.error().advice;
  EXPECT_EQ(both.error().advice.find('\x1b'), std::string::npos);
}

TEST(AgentChoice, prefersAgentsThatFitTheCommand) {
  const std::vector rows{row(first, "web", AgentStatus::exited), row(second, "web"),
                         row(third, "other", AgentStatus::exited)};
  EXPECT_EQ(chooseAgent(rows, "web", isAlive)->id, second);
  EXPECT_EQ(chooseAgent(rows, "other", isAlive)->id, third) << "the command says why it cannot";
}

TEST(AgentRows, recognisePastSessionsAndTheirResumedOnes) {
  AgentDescriptor past{.id = first,
                       .kind = AgentKind::claudeCode,
                       .name = "Claude Code — site",
                       .detail = "session abc — /srv/site — old",
                       .status = AgentStatus::exited};
  EXPECT_TRUE(isPastSession(past));
  EXPECT_FALSE(hasTerminal(past));
  EXPECT_EQ(sessionIDOf(past), "abc");
  past.pid = 1;
  EXPECT_FALSE(isPastSession(past));
  EXPECT_TRUE(hasTerminal(past));
  EXPECT_EQ(sessionIDOf(row(first, "x")), std::nullopt);
}

TEST(AgentRows, shortenIdentitiesUntilTheyDiffer) {
  EXPECT_EQ(distinctLength({}), 8U);
  EXPECT_EQ(distinctLength({first, third}), 8U);
  EXPECT_EQ(distinctLength({first, second, third}), 36U);
  EXPECT_EQ(distinctLength({first, first}), 8U);
}

TEST(AgentRows, printNoControlCharacters) {
  auto agent = row(first, "na\x1bme", AgentStatus::waitingInput);
  agent.preview = "Do you\x07 want to proceed?";
  agent.lastActivity = Date{1000};
  EXPECT_EQ(rowLine(agent, 8, 1300),
            "3F2504E0  waiting  spawned  na\\x1bme  (5 min ago)\n          Do you\\x07 want to proceed?");
}

TEST(AgentRows, printAgesInWords) {
  EXPECT_EQ(ageText(-5), "just now");
  EXPECT_EQ(ageText(59), "just now");
  EXPECT_EQ(ageText(600), "10 min ago");
  EXPECT_EQ(ageText(7200), "2 h ago");
  EXPECT_EQ(ageText(864'000), "10 days ago");
}

}  // namespace
}  // namespace quorl::client
