// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-client/Commands/HostStateText.h>
#include <quorl-client/Commands/TextTable.h>

#include "../Support/SampleState.h"

namespace quorl::client {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

TEST(TextTable, alignsItsColumnsAndDoesNotPadTheLast) {
  TextTable table({{"ID", Column::right}, {"NAME"}, {"TITLE"}});
  EXPECT_TRUE(table.isEmpty());
  table.add({"7", "Editor", "a"});
  table.add({"1234", "X", "long title"});
  EXPECT_FALSE(table.isEmpty());
  EXPECT_THAT(table.lines(), ElementsAre("    ID  NAME    TITLE",  //
                                         "     7  Editor  a",      //
                                         "  1234  X       long title"));
}

TEST(TextTable, countsCharactersAndNotBytes) {
  TextTable table({{"NAME"}, {"TITLE"}});
  table.add({"Müller", "a"});
  table.add({"Miller", "b"});
  EXPECT_THAT(table.lines(), ElementsAre("  NAME    TITLE", "  Müller  a", "  Miller  b"));
}

TEST(HostStateText, hasATableOfDisplaysWindowsAndApplications) {
  HostState state = test::sampleState();
  state.displays.push_back({4'000'000'000, "Side", 800, 600, 1.5, false});
  state.apps[0].iconPNG = test::samplePNG();
  EXPECT_THAT(stateLines(state),
              ElementsAre("displays: 2",                                             //
                          "          ID  PIXELS     SCALE  MAIN  NAME",              //
                          "           1  2560x1600  2      yes   Built-in",          //
                          "  4000000000  800x600    1.5          Side",              //
                          "windows: 1",                                              //
                          "  ID  SIZE     AT     SHOWN  APPLICATION  TITLE",         //
                          "  77  300x200  10,20  yes    Editor       note\\x1b[2J",  //
                          "applications: 1",                                         //
                          "  PID  WINDOWS  ICON  IDENTIFIER          NAME",          //
                          "  321        1  yes   org.example.editor  Editor"));
}

TEST(HostStateText, hasNoHeadingsWithoutRows) {
  EXPECT_THAT(stateLines(HostState{}), ElementsAre("displays: 0", "windows: 0", "applications: 0"));
}

TEST(HostStateText, escapesControlCharactersInEveryText) {
  HostState state;
  const std::string evil = "a\x1b]0;b\x07\n\r\xE2\x80\xAE";
  state.displays = {{1, evil, 1, 1, 1, false}};
  state.windows = {{1, evil, evil, evil, {}, false}};
  state.apps = {{evil, evil, 1, 1, std::nullopt}};
  for (const auto& line : stateLines(state)) {
    for (const char* part : {"\x1b", "\x07", "\n", "\r", "\xE2\x80\xAE"})
      EXPECT_EQ(line.find(part), std::string::npos) << line;
  }
}

TEST(HostStateText, hasTheMetricsInOneLine) {
  EXPECT_EQ(metricsLine({0.256, 3ULL << 30U, 8ULL << 30U, 93'784.7, 2}),
            "metrics: processor 26 %, memory 3072 of 8192 MiB, up 1 d 02:03:04, heat serious");
  EXPECT_THAT(metricsLine({0, 0, 0, 59, 0}), HasSubstr("up 00:00:59, heat nominal"));
}

TEST(HostStateText, showsAbsurdMetricsAsTheyAre) {
  EXPECT_THAT(metricsLine({0, 0, 0, 0, 77}), EndsWith("heat 77"));
  EXPECT_THAT(metricsLine({0, 0, 0, 0, -1}), EndsWith("heat -1"));
  EXPECT_THAT(metricsLine({0, 0, 0, -5, 0}), HasSubstr("up -5 s"));
  EXPECT_THAT(metricsLine({0, 0, 0, 1e300, 0}), HasSubstr("up 1e+300 s"));
}

TEST(HostStateText, hasTheNetwork) {
  EXPECT_THAT(networkLines(test::sampleNetwork()),
              ElementsAre("network: overlay tailscale (online), addresses 100.64.0.1; LAN addresses none",
                          "  session port 47900, relay port 47901"));
}

}  // namespace
}  // namespace quorl::client
