// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/Completion.h>

namespace quorl::client {
namespace {

class CompletionOf : public ::testing::Test {
 protected:
  Completion completion(const std::vector<std::string_view>& words) {
    return complete(commandTable(), words, sources);
  }
  std::vector<std::string> words(const std::vector<std::string_view>& begun) {
    std::vector<std::string> found;
    for (const auto& candidate : completion(begun).candidates) found.push_back(candidate.word);
    return found;
  }

  std::vector<std::string> askedHosts;
  NameSources sources{.hosts = [] { return std::vector<Candidate>{{"desk.local", "Desk"}}; },
                      .agents =
                          [this](const std::string& host) {
                            askedHosts.push_back(host);
                            return std::vector<Candidate>{{"1F3A", "claude, spawned"}, {"20BB", "codex"}};
                          }};
};

TEST_F(CompletionOf, theFirstWordIsACommand) {
  EXPECT_EQ(words({"at"}), (std::vector<std::string>{"attach"}));
  const auto all = words({""});
  EXPECT_EQ(all.size(), commandTable().size() + 1);
  EXPECT_NE(std::ranges::find(all, "help"), all.end());
}

TEST_F(CompletionOf, helpTakesACommand) {
  EXPECT_EQ(words({"help", "atta"}), (std::vector<std::string>{"attach"}));
  EXPECT_TRUE(words({"help", "attach", ""}).empty());
}

TEST_F(CompletionOf, anOptionHasItsMeaning) {
  const auto found = completion({"stats", "--sec"});
  ASSERT_EQ(found.candidates.size(), 1U);
  EXPECT_EQ(found.candidates[0].word, "--seconds");
  EXPECT_FALSE(found.candidates[0].meaning.empty());
  EXPECT_EQ(words({"stats", "--ho"}), (std::vector<std::string>{"--host"})) << "an option of all commands";
}

TEST_F(CompletionOf, anAgentComesFromTheHostThatTheWordsName) {
  EXPECT_EQ(words({"attach", ""}), (std::vector<std::string>{"1F3A", "20BB"}));
  EXPECT_EQ(words({"attach", "--host", "desk.local", "2"}), (std::vector<std::string>{"20BB"}));
  EXPECT_EQ(words({"attach", "--host=sofa", "1"}), (std::vector<std::string>{"1F3A"}));
  EXPECT_EQ(askedHosts, (std::vector<std::string>{"", "desk.local", "sofa"}));
}

TEST_F(CompletionOf, nothingIsAskedForAWordThatIsNoName) {
  completion({"attach", "--de"});
  completion({"prompt", "1F3A", ""});
  completion({"attach", "1F3A", ""});
  EXPECT_TRUE(askedHosts.empty());
}

TEST_F(CompletionOf, aHostIsAValueAndAnArgument) {
  EXPECT_EQ(words({"shot", "--host", ""}), (std::vector<std::string>{"desk.local"}));
  EXPECT_EQ(words({"forget", "d"}), (std::vector<std::string>{"desk.local"}));
  EXPECT_EQ(words({"info", ""}), (std::vector<std::string>{"desk.local"}));
}

TEST_F(CompletionOf, aFileIsLeftToTheShell) {
  EXPECT_TRUE(completion({"shot", ""}).mayBeFile);
  EXPECT_TRUE(completion({"info", "--icons", "pic"}).mayBeFile);
  EXPECT_FALSE(completion({"attach", ""}).mayBeFile);
}

TEST_F(CompletionOf, formsOfACommandBeginWithTheirWord) {
  EXPECT_EQ(words({"clipboard", ""}), (std::vector<std::string>{"get", "set"}));
  EXPECT_EQ(words({"catalog", "a"}), (std::vector<std::string>{"add"}));
  EXPECT_TRUE(completion({"clipboard", "get", ""}).mayBeFile);
  EXPECT_FALSE(completion({"clipboard", "set", ""}).mayBeFile);
}

TEST_F(CompletionOf, anUnknownCommandHasNone) {
  EXPECT_EQ(completion({"nothing", ""}), Completion{});
  EXPECT_EQ(complete(commandTable(), {}, sources), Completion{});
}

TEST(CompletionText, leavesOutWordsThatAShellWouldTakeApart) {
  const Completion completion{{{"good", "a\tb"}, {"two words", ""}, {"\x1b[2J", ""}, {"plain", ""}}, true};
  EXPECT_EQ(completionText(completion), "good\ta\\x09b\nplain\n:files");
}

}  // namespace
}  // namespace quorl::client
