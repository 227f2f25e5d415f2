// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <quorl-viewer/Targets/TargetRows.h>

namespace quorl::viewer {
namespace {

DisplayInfo display(std::uint32_t id, std::string name, bool isMain) {
  return {.id = id,
          .name = std::move(name),
          .pixelWidth = 1920,
          .pixelHeight = 1080,
          .scale = 1,
          .isMain = isMain};
}

WindowInfo window(std::uint32_t id, std::string title, std::string app, bool isOnScreen = true) {
  return {.id = id,
          .title = std::move(title),
          .appBundleID = "id." + app,
          .appName = app,
          .isOnScreen = isOnScreen};
}

std::vector<std::string> titles(const HostState& state) {
  std::vector<std::string> result;
  for (const auto& row : targetRows(state)) result.push_back(row.title);
  return result;
}

TEST(TargetRows, beginWithTheMainDisplay) {
  HostState state;
  state.displays = {display(1, "Left", false), display(2, "Right", true)};
  const auto rows = targetRows(state);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].target, StreamTarget(streamTarget::Unified{}));
  EXPECT_EQ(rows[0].detail, "1920 x 1080");
  EXPECT_EQ(rows[1].target, StreamTarget(streamTarget::Display{1}));
  EXPECT_EQ(rows[1].title, "Left");
}

TEST(TargetRows, haveAMainDisplayAlsoWithoutAny) {
  EXPECT_EQ(titles({}), std::vector<std::string>{"Main display"});
}

TEST(TargetRows, sortWindowsByApplicationAndHiddenOnesLast) {
  HostState state;
  state.windows = {window(1, "notes", "Editor", false), window(2, "b", "Terminal"),
                   window(3, "a", "Browser")};
  EXPECT_EQ(titles(state), (std::vector<std::string>{"Main display", "a", "b", "notes"}));
}

TEST(TargetRows, nameAWindowWithoutATitleByItsApplication) {
  HostState state;
  state.windows = {window(1, "", "Editor")};
  const auto rows = targetRows(state);
  EXPECT_EQ(rows[1].title, "Editor");
  EXPECT_EQ(rows[1].detail, "");
}

TEST(TargetRows, listApplicationsWithAWindowOnly) {
  HostState state;
  state.windows = {window(1, "w", "Editor")};
  state.apps = {{.bundleID = "id.Daemon", .name = "Daemon"}, {.bundleID = "id.Editor", .name = "Editor"}};
  const auto rows = targetRows(state);
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[2].target, StreamTarget(streamTarget::App{"id.Editor"}));
  EXPECT_EQ(rows[2].kind, TargetRow::Kind::application);
}

TEST(TargetRows, showNoControlCharactersAndCutLongTitles) {
  HostState state;
  state.windows = {window(1, "a\x1b[31mb\nc", "x"), window(2, std::string(5'000, 'z'), "y")};
  const auto rows = targetRows(state);
  for (const char character : rows[1].title) EXPECT_GE(static_cast<unsigned char>(character), 0x20u);
  EXPECT_LE(rows[2].title.size(), 203u);
}

TEST(TargetRows, cutTitlesBetweenCharacters) {
  HostState state;
  std::string title;
  for (int count = 0; count < 200; ++count) title += "漢";
  state.windows = {window(1, title, "x")};
  const auto cut = targetRows(state)[1].title;
  EXPECT_EQ((cut.size() - std::string("…").size()) % 3, 0u);
}

TEST(TargetRows, areFoundByTheirTarget) {
  HostState state;
  state.windows = {window(7, "w", "Editor")};
  const auto rows = targetRows(state);
  ASSERT_NE(findRow(rows, streamTarget::Window{7}), nullptr);
  EXPECT_EQ(findRow(rows, streamTarget::Window{8}), nullptr);
}

}  // namespace
}  // namespace quorl::viewer
