// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/AgentScanner.h>

#include <algorithm>
#include <optional>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "AgentRegistryFixture.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class AgentScannerTest : public AgentRegistryFixture {
 protected:
  static std::string sessionID(int number) { return fmt::format("11111111-1111-4111-8111-{:012}", number); }
  void addClaude(int number, double modified, const std::string& project = "-p") {
    sessionFiles->write(fmt::format("/home/ada/.claude/projects/{}/{}.jsonl", project, sessionID(number)),
                        fmt::format(R"({{"type":"summary","summary":"summary {}"}})", number),
                        Date{modified});
  }
  void addCodex(const std::string& id, double modified) {
    sessionFiles->write(fmt::format("/home/ada/.codex/sessions/{}.jsonl", id),
                        fmt::format(R"({{"payload":{{"id":"{}","cwd":"/q"}}}})", id), Date{modified});
  }
  AgentScanner::Sessions sessions() {
    std::optional<AgentScanner::Sessions> answer;
    scanner->scanSessions([&](AgentScanner::Sessions found) { answer = std::move(found); });
    scheduler.runReady();
    EXPECT_TRUE(answer);
    return answer.value_or(AgentScanner::Sessions{});
  }
  AgentScanner::Externals found() {
    std::optional<AgentScanner::Externals> answer;
    scanner->scanExternals({}, {}, [&](AgentScanner::Externals externals) { answer = std::move(externals); });
    scheduler.runReady();
    EXPECT_TRUE(answer);
    return answer.value_or(AgentScanner::Externals{});
  }

  std::shared_ptr<AgentScanner> scanner = std::make_shared<AgentScanner>(platform, bridge);
};

TEST_F(AgentScannerTest, mergesTheSessionsOfBothToolsNewestFirst) {
  addClaude(1, 100);
  addCodex("a", 200);
  addClaude(2, 300);
  addCodex("b", 400);
  const auto result = sessions();
  std::vector<std::string> ids;
  for (const auto& session : result.newestFirst) ids.push_back(session.sessionID);
  EXPECT_THAT(ids, ElementsAre("b", sessionID(2), "a", sessionID(1)));
  EXPECT_EQ(result.newestFirst[0].tool, AgentTool::codex);
  EXPECT_EQ(result.newestFirst[1].tool, AgentTool::claude);
  EXPECT_EQ(result.canonicalPaths, (std::map<std::string, std::string>{{"/p", "/p"}, {"/q", "/q"}}));
}

TEST_F(AgentScannerTest, keepsTheOrderOfSessionsOfTheSameTime) {
  for (int number = 1; number <= 60; ++number) {
    addClaude(number, 100);
    addCodex(fmt::format("codex-{:02}", number), 100);
  }
  const auto result = sessions().newestFirst;
  ASSERT_THAT(result, SizeIs(120));
  EXPECT_TRUE(std::ranges::is_sorted(result, {}, [](const auto& session) {
    return std::pair(session.tool != AgentTool::claude, session.sessionID);
  })) << "each tool's as its files are listed, those of Claude first";
}

TEST_F(AgentScannerTest, takesTheNewestTwoHundredOfEachToolWithFortyPreviews) {
  for (int number = 1; number <= 201; ++number) {
    addClaude(number, number);
    addCodex(fmt::format("codex-{}", number), 1000 + number);
  }
  const auto result = sessions().newestFirst;
  ASSERT_THAT(result, SizeIs(400));
  EXPECT_EQ(result.front().sessionID, "codex-201");
  EXPECT_EQ(result[199].sessionID, "codex-2");
  EXPECT_EQ(result[200].sessionID, sessionID(201));
  EXPECT_EQ(result.back().sessionID, sessionID(2));
  for (std::size_t place = 0; place < result.size(); ++place) {
    const bool hasPreview = place >= 200 && place < 240;
    EXPECT_EQ(result[place].preview,
              hasPreview ? std::optional(fmt::format("summary {}", 401 - place)) : std::nullopt)
        << place;
  }
}

TEST_F(AgentScannerTest, sortsAgentsByNameAndKeepsTheOrderOfTheProcessTable) {
  for (int number = 0; number < 30; ++number) {
    addExternal(100 - number, "codex", fmt::format("pts/{}", 100 - number));
    addExternal(200 - number, "claude", fmt::format("pts/{}", 200 - number));
  }
  const auto agents = found().byName;
  ASSERT_THAT(agents, SizeIs(60));
  for (std::size_t place = 0; place < 30; ++place) {
    EXPECT_EQ(agents[place].name, "Claude");
    EXPECT_EQ(agents[place].pid, 200 - static_cast<int>(place));
    EXPECT_EQ(agents[30 + place].name, "Codex");
    EXPECT_EQ(agents[30 + place].pid, 100 - static_cast<int>(place));
  }
}

TEST_F(AgentScannerTest, saysNothingOnceItHasGone) {
  bool isAnswered = false;
  scanner->scanSessions([&](const AgentScanner::Sessions&) { isAnswered = true; });
  scanner->scanExternals({}, {}, [&](const AgentScanner::Externals&) { isAnswered = true; });
  scanner.reset();
  scheduler.runReady();
  EXPECT_FALSE(isAnswered);
}

}  // namespace
}  // namespace quorl::test
