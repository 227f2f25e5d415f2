// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>
#include <csignal>

#include <Support/Eventually.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AgentWorld.h"

namespace quorl::client::test {
namespace {

using quorl::test::ChildProgram;
using quorl::test::eventually;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class AgentCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    world.startHost();
    if (HasFatalFailure()) GTEST_SKIP() << "no host";
  }
  bool listShows(const std::string& text) const {
    return eventually([&] { return world.run({"agents", "--json"}).output.find(text) != std::string::npos; });
  }

  AgentWorld world;
};

TEST_F(AgentCommands, sayIfThereAreNoAgents) {
  EXPECT_THAT(world.run({"agents"}).output, HasSubstr("No agents."));
  EXPECT_EQ(world.run({"agents", "--json"}).output, "[]\n");
}

TEST_F(AgentCommands, spawnSetsFolderNameAndEnvironment) {
  const auto id = world.spawn({"--name", "my agent", "--cwd", "/tmp", "--env", "COLOUR=deep red", "--env",
                               "N=1", "echo", "$PWD $COLOUR $N;", "exec cat"});
  EXPECT_EQ(id.size(), 36U);
  ASSERT_TRUE(listShows("/tmp deep red 1"));
  const auto list = world.run({"agents"}).output;
  EXPECT_THAT(list, StartsWith(id.substr(0, 8)));
  EXPECT_THAT(list, HasSubstr("spawned  my agent"));
}

TEST_F(AgentCommands, spawnReportsWhyTheHostFailed) {
  const auto result = world.run({"spawn", "true", "--cwd", "/no/such/folder"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("posix_spawn failed: No such file or directory (agent.spawn)"));
  EXPECT_EQ(world.run({"spawn", "true", "--cwd", "relative"}).status, 2);
  EXPECT_EQ(world.run({"spawn"}).status, 2);
  EXPECT_EQ(world.run({"spawn", "true", "--env", "novalue"}).status, 2);
}

TEST_F(AgentCommands, twoEqualSpawnsGiveTwoAgents) {
  const auto one = world.spawn({"exec cat"});
  const auto two = world.spawn({"exec cat"});
  EXPECT_NE(one, two);
  const auto both = world.run({"prompt", "exec", "x"});
  EXPECT_EQ(both.status, 2);
  EXPECT_THAT(both.output, HasSubstr("'exec' matches 2 agents"));
}

TEST_F(AgentCommands, promptTypesALineAndReturn) {
  const auto id = world.spawn({"--name", "reader", "--", "read -r x; echo \"got <$x>\"; exec cat"});
  EXPECT_EQ(world.run({"prompt", "reader", "two  words", "and 'quotes'"}).status, 0);
  EXPECT_TRUE(listShows("got <two  words and 'quotes'>"));
}

TEST_F(AgentCommands, killEndsAnAgentAndWaitsForIt) {
  world.spawn({"--name", "stubborn", "--", "trap '' TERM; echo ready; while :; do sleep 1; done"});
  ASSERT_TRUE(listShows("\"preview\":\"ready\""));
  EXPECT_EQ(world.run({"kill", "stubborn"}).status, 0);
  EXPECT_THAT(world.run({"agents", "--json"}).output, HasSubstr("\"status\":\"exited\""));
  const auto again = world.run({"kill", "stubborn"});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.output, HasSubstr("stubborn has ended"));
}

TEST_F(AgentCommands, reportAnUnknownAgent) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"prompt", "nobody", "x"}, {"kill", "nobody"}, {"resume", "nobody"}}) {
    const auto result = world.run(words);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("the host has no agent 'nobody'"));
  }
  EXPECT_EQ(world.run({"adopt", "nobody"}).status, 1);
  const auto attach = world.run({"attach", "nobody"});
  EXPECT_EQ(attach.status, 2) << "no terminal here";
}

TEST_F(AgentCommands, catalogKeepsAddedAndBuiltInEntries) {
  const auto added =
      world.run({"catalog", "add", "Website", "echo from the catalog; exec cat", "--cwd", "/tmp"});
  EXPECT_EQ(added.status, 0) << added.output;
  EXPECT_THAT(added.output, HasSubstr("Website"));
  EXPECT_EQ(world.run({"spawn", "--entry", "website"}).status, 0);
  EXPECT_TRUE(listShows("from the catalog"));
  EXPECT_EQ(world.run({"catalog", "remove", "Claude Code"}).status, 1);
  EXPECT_EQ(world.run({"catalog", "remove", "Web"}).status, 0);
  EXPECT_THAT(world.run({"catalog"}).output, Not(HasSubstr("Website")));
  EXPECT_THAT(world.run({"catalog"}).output, HasSubstr("Codex"));
  EXPECT_EQ(world.run({"catalog", "upset"}).status, 2);
  EXPECT_EQ(world.run({"catalog", "add", "OnlyAName"}).status, 2);
}

TEST_F(AgentCommands, followPrintsEventsUntilInterrupted) {
  world.spawn({"--name", "earlier", "--", "exec cat"});
  const auto follower = world.onTerminal({"agents", "--follow"});
  ASSERT_TRUE(follower->shows("spawned  earlier"));
  const auto id = world.spawn({"--name", "watched", "--", "echo ready; read x"});
  EXPECT_TRUE(follower->shows("running  spawned  watched"));
  EXPECT_EQ(world.run({"prompt", "watched", ""}).status, 0);
  EXPECT_TRUE(follower->shows("exited   spawned  watched"));
  EXPECT_TRUE(follower->shows(id.substr(0, 8) + "  needs attention: watched: finished"));
  follower->type("\x03");
  EXPECT_EQ(follower->waitForExit(), 0);
}

TEST_F(AgentCommands, notifyPrintsEachCallOnce) {
  const auto notifier = world.onTerminal({"notify", "--json"});
  ASSERT_TRUE(notifier->shows("Watching the agents"));
  const auto id = world.spawn({"--name", "asker", "--", "echo 'Do you want to proceed'; read x; exit"});
  EXPECT_TRUE(notifier->shows("\"body\":\"Do you want to proceed\"")) << notifier->screen();
  EXPECT_EQ(world.run({"prompt", "asker", "y"}).status, 0);
  EXPECT_TRUE(notifier->shows("\"body\":\"finished\""));
  EXPECT_EQ(notifier->count(id), 2U);
  notifier->signal(SIGTERM);
  EXPECT_EQ(notifier->waitForExit(), 0);
}

TEST_F(AgentCommands, notifyContinuesWhenTheHostIsBack) {
  const auto notifier = world.onTerminal({"notify"});
  ASSERT_TRUE(notifier->shows("Watching the agents"));
  world.spawn({"--name", "one", "--", "true"});
  ASSERT_TRUE(notifier->shows("one: finished"));
  world.host().program().signal(SIGKILL);
  world.host().program().waitForExit();
  ASSERT_TRUE(notifier->shows("trying again"));
  world.startHost();
  ASSERT_TRUE(notifier->shows("connected again"));
  world.spawn({"--name", "two", "--", "sleep 0.5"});
  EXPECT_TRUE(notifier->shows("two: finished"));
}

// The host raises its own limit; programs that it starts get the limit from before.
TEST(AgentLimits, areThoseOfTheHostsOwnStart) {
  AgentWorld world;
  world.startHost({"sh", "-c", "ulimit -Sn 567; exec \"$0\" \"$@\""});
  ASSERT_FALSE(HasFatalFailure());
  const auto limits =
      quorl::test::outputOf({"cat", fmt::format("/proc/{}/limits", world.host().program().pid())});
  ASSERT_THAT(limits, Not(HasSubstr("Max open files            567 "))) << "the host has raised its own";
  const auto id =
      world.spawn({"--name", "limits", "--", "echo soft $(ulimit -Sn); ulimit -Sn 600 && echo raised; cat"});
  const auto terminal = world.onTerminal({"attach", id});
  EXPECT_TRUE(terminal->shows("soft 567\r\nraised\r\n")) << terminal->screen();
}

TEST_F(AgentCommands, haveAHelpPageEach) {
  for (const char* command :
       {"agents", "spawn", "resume", "prompt", "kill", "attach", "notify", "catalog", "external", "adopt"}) {
    const auto help = world.run({command, "--help"});
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_THAT(help.output, HasSubstr(fmt::format("examples:\n  quorl_client {}", command)));
  }
}

}  // namespace
}  // namespace quorl::client::test
