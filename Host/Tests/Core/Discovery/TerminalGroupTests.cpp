// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/TerminalGroup.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/FakeTerminalScripting.h>

namespace quorl {
namespace {

using test::FakeTerminalScripting;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr TerminalKind iterm = TerminalKind::iterm;
constexpr TerminalKind terminalApp = TerminalKind::terminalApp;

class TerminalGroups : public testing::Test {
 protected:
  std::shared_ptr<FakeTerminalScripting> one = std::make_shared<FakeTerminalScripting>();
  std::shared_ptr<FakeTerminalScripting> other = std::make_shared<FakeTerminalScripting>();
  TerminalGroup group{{one, other}};
  std::vector<std::string> reported;
  TerminalScripting::Report report = [this](const TerminalScripting::Failure& failure) {
    reported.push_back(failure.description);
  };

  void SetUp() override {
    one->terminals = {{"/dev/a", iterm}};
    one->contents = {{"/dev/a", "text of a"}};
    other->terminals = {{"/dev/b", terminalApp}};
    other->contents = {{"/dev/b", "text of b"}};
  }
};

TEST_F(TerminalGroups, mergesTheMaps) {
  EXPECT_THAT(group.mapTerminals(report), ElementsAre(Pair("/dev/a", iterm), Pair("/dev/b", terminalApp)));
}

TEST_F(TerminalGroups, asksOnlyTheOneThatHasTheTab) {
  group.mapTerminals(report);
  one->calls = 0;
  EXPECT_EQ(group.readContents("/dev/b", terminalApp, report), "text of b");
  group.sendText("/dev/b", terminalApp, "t", TextSubmission::submit, report);
  group.sendRaw("/dev/b", terminalApp, viewOf("r"), report);
  EXPECT_EQ(one->calls, 0);
  EXPECT_THAT(other->typed,
              ElementsAre(FakeTerminalScripting::Typed{"/dev/b", terminalApp, "t", TextSubmission::submit},
                          FakeTerminalScripting::Typed{"/dev/b", terminalApp, "r", std::nullopt}));
}

TEST_F(TerminalGroups, aFailureOfOneHidesNothingOfTheOther) {
  one->failure = TerminalScripting::Failure{.description = "no answer"};
  EXPECT_THAT(group.mapTerminals(report), ElementsAre(Pair("/dev/b", terminalApp)));
  EXPECT_THAT(reported, ElementsAre("no answer"));
  EXPECT_EQ(group.readContents("/dev/b", terminalApp, report), "text of b");
}

TEST_F(TerminalGroups, asksAllMembersForATabThatNoneHadInTheLastMap) {
  EXPECT_EQ(group.readContents("/dev/b", terminalApp, report), "text of b");
  EXPECT_EQ(group.readContents("/dev/c", iterm, report), "") << "gone, say both";
  group.sendText("/dev/c", iterm, "t", TextSubmission::type, report);
  EXPECT_THAT(one->typed, SizeIs(1));
  EXPECT_THAT(other->typed, SizeIs(1));
}

TEST_F(TerminalGroups, doesNotReportATabAsGoneIfAMemberFailed) {
  one->failure = TerminalScripting::Failure{};
  EXPECT_EQ(group.readContents("/dev/a", iterm, report), std::nullopt);
}

TEST_F(TerminalGroups, aTabThatBothClaimIsTheEarliers) {
  other->terminals["/dev/a"] = terminalApp;
  EXPECT_THAT(group.mapTerminals(report), ElementsAre(Pair("/dev/a", iterm), Pair("/dev/b", terminalApp)));
  group.sendRaw("/dev/a", iterm, viewOf("r"), report);
  EXPECT_THAT(one->typed, SizeIs(1));
  EXPECT_THAT(other->typed, IsEmpty());
}

TEST_F(TerminalGroups, aTabMovesWithItsOwner) {
  group.mapTerminals(report);
  std::swap(one->terminals, other->terminals);
  std::swap(one->contents, other->contents);
  EXPECT_EQ(group.readContents("/dev/a", iterm, report), "") << "the old tab is gone";
  group.mapTerminals(report);
  EXPECT_EQ(group.readContents("/dev/a", iterm, report), "text of a");
}

TEST(TerminalGroup, withoutMembersHasNoTabs) {
  TerminalGroup group({});
  const TerminalScripting::Report report = [](const TerminalScripting::Failure&) { FAIL(); };
  EXPECT_THAT(group.mapTerminals(report), IsEmpty());
  EXPECT_EQ(group.readContents("/dev/a", iterm, report), "");
}

}  // namespace
}  // namespace quorl
