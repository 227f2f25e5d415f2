// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/ViewerOptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using client::ExitCode;

client::Outcome<ViewerOptions> parsed(const std::vector<std::string>& words) {
  return ViewerOptions::parse(words);
}

template <class T>
ExitCode codeOf(const client::Outcome<T>& result) {
  return result ? ExitCode::ok : result.error().code;
}

TEST(ViewerOptionsParsing, readsTheHostTheTargetAndTheSwitches) {
  const auto options = parsed({"--host", "desk", "--window=77", "--full-screen", "--mute"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->host, "desk");
  EXPECT_FALSE(options->mayPair);
  EXPECT_EQ(options->target, StreamTarget(streamTarget::Window{77}));
  EXPECT_TRUE(options->isFullScreen);
  EXPECT_TRUE(options->isMuted);
  EXPECT_EQ(parsed({"window/Notes"})->wanted, client::ViewTarget(client::viewTarget::Window{"Notes"}));
}

TEST(ViewerOptionsParsing, knowsFromWrongWordsThatErrorsBelongInAWindow) {
  const std::vector<std::string> wrong{"--no-such", "--dialogs"};
  EXPECT_FALSE(parsed(wrong));
  EXPECT_TRUE(wantsDialogs(wrong));
  EXPECT_FALSE(wantsDialogs(std::vector<std::string>{"--dialogs=1", "display/2"}));
  EXPECT_TRUE(parsed({"--dialogs"})->wantsDialogs);
}

TEST(ViewerOptionsParsing, anAddressNamesAHostAndATarget) {
  const auto options = parsed({"quorl://desk.lan:50000/display/2"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->host, "desk.lan:50000");
  EXPECT_TRUE(options->mayPair);
  EXPECT_EQ(options->wanted, client::ViewTarget(client::viewTarget::Display{2}));
  EXPECT_EQ(parsed({"quorl://[fe80::1]:1"})->host, "[fe80::1]:1");
}

TEST(ViewerOptionsParsing, refusesAnAddressThatIsMore) {
  for (const auto* address : {"quorl://", "quorl:///etc/passwd", "quorl://desk/../x",
                              "quorl://desk/app/..%2Fsh", "quorl://desk?x=1", "quorl://-oProxyCommand=x",
                              "quorl://desk --mute", "quorl://ada@desk", "quorl://desk/window/%00"})
    EXPECT_EQ(codeOf(parsed({address})), ExitCode::usage) << address;
}

TEST(ViewerOptionsParsing, refusesWordsThatMeanNothing) {
  for (const auto& words : std::vector<std::vector<std::string>>{{"nonsense"},
                                                                 {""},
                                                                 {"--nonsense"},
                                                                 {"-platform", "offscreen"},
                                                                 {"--host"},
                                                                 {"--host", ""},
                                                                 {"--window", "x"},
                                                                 {"--display", "4294967296"},
                                                                 {"--window", "1", "--app", "a"},
                                                                 {"--window", "1", "display/1"},
                                                                 {"quorl://a", "--host", "b"},
                                                                 {"quorl://a/display/1", "display/2"},
                                                                 {"--mute=yes"}})
    EXPECT_EQ(codeOf(parsed(words)), ExitCode::usage) << testing::PrintToString(words);
}

TEST(ViewerOptionsParsing, aSecondViewerSendsWordsThatMeanTheSame) {
  for (const auto& words :
       std::vector<std::vector<std::string>>{{},
                                             {"--host", "desk", "--window", "7", "--mute"},
                                             {"--display", "3", "--full-screen"},
                                             {"--app", "org.example.editor"},
                                             {"--host", "desk", "window/a%2Fb%20c"}})
    EXPECT_EQ(wordsOf(*parsed(words)), words);
}

TEST(ViewerOptionsHost, isTheNamedOneOrTheOnlyOne) {
  const client::PairedHost desk{"Desk", "desk.local", 47900, UUID::random(), Bytes(32)};
  client::HostBookContents book{UUID::random(), {}};
  EXPECT_EQ(chosenHost({}, book), std::nullopt);
  book.hosts = {desk};
  EXPECT_EQ(chosenHost({}, book), desk);
  EXPECT_EQ(chosenHost({.host = "desk"}, book), desk);
  EXPECT_EQ(codeOf(chosenHost({.host = "attic"}, book)), ExitCode::refused);
  book.hosts.push_back({"Attic", "attic", 47900, UUID::random(), Bytes(32)});
  EXPECT_EQ(chosenHost({}, book), std::nullopt) << "a person chooses";
}

}  // namespace
}  // namespace quorl::viewer
