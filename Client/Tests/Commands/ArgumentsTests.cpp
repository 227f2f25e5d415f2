// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/Arguments.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/StreamOptions.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

const Command sample{.name = "sample",
                     .arguments = "A [B]",
                     .summary = "",
                     .details = "",
                     .options = {{"--count", "N", ""}, {"--fast", "", ""}},
                     .minimumPositional = 1,
                     .maximumPositional = 2,
                     .examples = {},
                     .run = nullptr};

Outcome<Arguments> parse(const std::vector<std::string_view>& words) {
  return Arguments::parse(sample, words);
}

TEST(Arguments, takesOptionsAnywhereAndInBothForms) {
  const auto arguments = parse({"--count", "3", "a", "--fast", "b", "--host=desk"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->positional(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(arguments->integer("--count", 0, 0, 10), 3);
  EXPECT_TRUE(arguments->has("--fast"));
  EXPECT_EQ(arguments->text("--host"), "desk");
}

TEST(Arguments, usesTheLastOfSeveralValues) {
  const auto arguments = parse({"a", "--count=1", "--count=2"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->integer("--count", 0, 0, 10), 2);
}

TEST(Arguments, readsNegativeNumbersAndADashAsPositional) {
  const auto arguments = parse({"-3", "-.5"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->positionalNumber(0, "A"), -3);
  EXPECT_EQ(arguments->positionalNumber(1, "B"), -0.5);
  const auto dash = parse({"-"});
  ASSERT_TRUE(dash);
  EXPECT_EQ(dash->positional().front(), "-");
}

TEST(Arguments, readsEverythingAfterTwoDashesAsPositional) {
  const auto arguments = parse({"--", "--count", "-x"});
  ASSERT_TRUE(arguments);
  EXPECT_EQ(arguments->positional(), (std::vector<std::string>{"--count", "-x"}));
}

TEST(Arguments, rejectsInvalidCommandLines) {
  for (const std::vector<std::string_view>& words : {std::vector<std::string_view>{},
                                                     {"a", "b", "c"},
                                                     {"a", "--unknown"},
                                                     {"a", "-x"},
                                                     {"a", "--count"},
                                                     {"a", "--fast=1"}}) {
    const auto arguments = parse(words);
    ASSERT_FALSE(arguments) << testing::PrintToString(words);
    EXPECT_EQ(arguments.error().code, ExitCode::usage);
    EXPECT_FALSE(arguments.error().advice.empty());
  }
}

TEST(Arguments, checksNumbersAgainstTheirRange) {
  for (const auto* text : {"0", "11", "x", "", "3.5", "3x", "99999999999999999999"}) {
    const auto arguments = parse({"a", "--count", text});
    ASSERT_TRUE(arguments);
    const auto value = arguments->integer("--count", 5, 1, 10);
    ASSERT_FALSE(value) << text;
    EXPECT_EQ(value.error().code, ExitCode::usage);
  }
  const auto infinite = parse({"a", "--count", "inf"});
  EXPECT_FALSE(infinite->number("--count", 5, 1, 1e300));
  const auto absent = parse({"a"});
  EXPECT_EQ(absent->integer("--count", 5, 1, 10), 5);
}

TEST(Arguments, acceptsHelpOnAnIncompleteCommandLine) {
  EXPECT_TRUE(parse({"--help"})->has("--help"));
}

const Command& command(std::string_view name) {
  for (const auto& row : commandTable())
    if (row.name == name) return row;
  throw std::out_of_range(std::string(name));
}

Outcome<StreamOptions> optionsOf(const std::vector<std::string_view>& words) {
  const auto arguments = Arguments::parse(command("stats"), words);
  if (!arguments) return std::unexpected(arguments.error());
  return streamOptions(*arguments);
}

TEST(StreamOptions, chooseTheTarget) {
  EXPECT_EQ(optionsOf({})->target, StreamTarget(streamTarget::Unified{}));
  EXPECT_EQ(optionsOf({"--display", "7"})->target, StreamTarget(streamTarget::Display{7}));
  EXPECT_EQ(optionsOf({"--window", "4294967295"})->target, StreamTarget(streamTarget::Window{4294967295U}));
  EXPECT_EQ(optionsOf({"--app", "x.y"})->target, StreamTarget(streamTarget::App{"x.y"}));
}

TEST(StreamOptions, giveTheConfigurationAndTheTransport) {
  const auto options =
      optionsOf({"--codec=hevc", "--max=640", "--fps=30", "--quality=0.25", "--no-cursor", "--udp"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->config, (StreamConfig{640, 30, VideoCodec::hevc, 0.25, false}));
  EXPECT_EQ(options->transport, VideoTransport::udp);
  EXPECT_EQ(optionsOf({})->transport, VideoTransport::tcp);
}

TEST(StreamOptions, refuseTwoTargetsAndBadValues) {
  for (const std::vector<std::string_view>& words :
       {std::vector<std::string_view>{"--display=1", "--window=2"},
        {"--window=-1"},
        {"--window=4294967296"},
        {"--codec=av1"},
        {"--quality=1.5"},
        {"--fps=0"},
        {"--max=1"}})
    EXPECT_FALSE(optionsOf(words)) << testing::PrintToString(words);
}

TEST(CommandTable, hasASummaryAndValidExamplesForEveryCommand) {
  for (const auto& row : commandTable()) {
    EXPECT_FALSE(row.summary.empty()) << row.name;
    EXPECT_FALSE(row.examples.empty()) << row.name;
    EXPECT_NE(row.run, nullptr) << row.name;
    for (const auto example : row.examples) EXPECT_TRUE(example.starts_with(row.name)) << example;
    EXPECT_NE(overviewHelp(commandTable()).find(row.summary), std::string::npos) << row.name;
  }
}

}  // namespace
}  // namespace quorl::client
