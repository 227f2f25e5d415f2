// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <quorl-viewer/Targets/TargetChoice.h>

namespace quorl::viewer {
namespace {

using Missing = TargetChoice::Missing;

std::vector<TargetRow> listOf(const std::vector<std::pair<std::uint32_t, std::string>>& windows) {
  HostState state;
  for (const auto& [id, title] : windows)
    state.windows.push_back({.id = id, .title = title, .appName = "App", .isOnScreen = true});
  return targetRows(state);
}

const StreamTarget mainDisplay = streamTarget::Unified{};

TEST(TargetChoice, beginsWithTheMainDisplay) {
  EXPECT_EQ(TargetChoice().target(), mainDisplay);
}

TEST(TargetChoice, watchesDisplaysAndApplicationsWithoutAList) {
  TargetChoice choice;
  choice.want(viewTarget::Display{3});
  EXPECT_EQ(choice.target(), StreamTarget(streamTarget::Display{3}));
  choice.want(viewTarget::App{"org.example.editor"});
  EXPECT_EQ(choice.target(), StreamTarget(streamTarget::App{"org.example.editor"}));
  choice.want(viewTarget::MainDisplay{});
  EXPECT_EQ(choice.target(), mainDisplay);
  EXPECT_FALSE(choice.waitsFor());
}

TEST(TargetChoice, waitsForAWindowUntilItAppears) {
  TargetChoice choice;
  choice.want(viewTarget::Window{"Notes"});
  EXPECT_FALSE(choice.target());
  EXPECT_EQ(choice.waitsFor(), "Notes");
  EXPECT_FALSE(choice.update(listOf({{7, "Other"}})));
  EXPECT_FALSE(choice.target());
  EXPECT_TRUE(choice.update(listOf({{7, "Other"}, {8, "Notes"}})));
  EXPECT_EQ(choice.target(), StreamTarget(streamTarget::Window{8}));
  EXPECT_FALSE(choice.waitsFor());
}

TEST(TargetChoice, showsTheMainDisplayWhenARememberedWindowIsGone) {
  TargetChoice choice;
  choice.want(viewTarget::Window{"Notes"}, Missing::showsMainDisplay);
  EXPECT_FALSE(choice.target());
  EXPECT_TRUE(choice.update(listOf({{7, "Other"}})));
  EXPECT_EQ(choice.target(), mainDisplay);
  EXPECT_EQ(choice.wanted(), ViewTarget(viewTarget::MainDisplay{}));
}

TEST(TargetChoice, remembersTheTitleOfAWindowAndFollowsItsChange) {
  TargetChoice choice;
  choice.choose(streamTarget::Window{7});
  EXPECT_FALSE(choice.update(listOf({{7, "Page one"}})));
  EXPECT_EQ(choice.wanted(), ViewTarget(viewTarget::Window{"Page one"}));
  EXPECT_FALSE(choice.update(listOf({{7, "Page two"}})));
  EXPECT_EQ(choice.wanted(), ViewTarget(viewTarget::Window{"Page two"}));
  EXPECT_EQ(choice.target(), StreamTarget(streamTarget::Window{7}));
}

TEST(TargetChoice, findsTheWindowAgainAfterARestartOfItsProgram) {
  TargetChoice choice;
  choice.choose(streamTarget::Window{7});
  choice.update(listOf({{7, "Notes"}}));
  choice.ended();
  EXPECT_EQ(choice.waitsFor(), "Notes");
  EXPECT_FALSE(choice.update(listOf({})));
  EXPECT_TRUE(choice.update(listOf({{9, "Notes"}})));
  EXPECT_EQ(choice.target(), StreamTarget(streamTarget::Window{9}));
}

TEST(TargetChoice, doesNotAskAgainForAWindowThatTheHostCannotShow) {
  TargetChoice choice;
  choice.choose(streamTarget::Window{7});
  choice.update(listOf({{7, "Notes"}}));
  choice.ended();
  EXPECT_FALSE(choice.update(listOf({{7, "Notes"}})));
  EXPECT_FALSE(choice.update(listOf({{7, "Notes"}})));
  EXPECT_TRUE(choice.update(listOf({{7, "Notes"}, {9, "Notes"}})));
  EXPECT_EQ(choice.target(), StreamTarget(streamTarget::Window{9}));
}

TEST(TargetChoice, findsATitleWithControlCharactersAndALongOne) {
  const std::string hostile = "note\x1b[2J" + std::string(300, 'x');
  TargetChoice choice;
  choice.choose(streamTarget::Window{7});
  choice.update(listOf({{7, hostile}}));
  choice.ended();
  EXPECT_TRUE(choice.update(listOf({{9, hostile}})));
}

}  // namespace
}  // namespace quorl::viewer
