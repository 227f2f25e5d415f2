// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/ViewerLaunch.h>

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ViewerLaunch : public testing::Test {
 protected:
  Outcome<std::vector<std::string>> launch(const std::vector<std::string_view>& words) const {
    const auto table = commandTable();
    const auto command = std::ranges::find(table, "watch", &Command::name);
    if (command == table.end()) return failed(ExitCode::failure, "no watch");
    const auto arguments = Arguments::parse(*command, words);
    if (!arguments) return std::unexpected(arguments.error());
    return viewerArguments(*arguments, contents);
  }
  ExitCode errorOf(const std::vector<std::string_view>& words) const {
    const auto result = launch(words);
    return result ? ExitCode::ok : result.error().code;
  }

  static PairedHost host(const std::string& name, const std::string& address, std::uint16_t port) {
    return {name, address, port, UUID::random(), Bytes(32)};
  }
  HostBookContents contents{UUID::random(), {host("Desk", "desk.local", 47900)}};
};

TEST_F(ViewerLaunch, theOnlyPairedHostNeedsNoName) {
  EXPECT_EQ(launch({}), (std::vector<std::string>{"--host", "desk.local"}));
}

TEST_F(ViewerLaunch, theViewerAsksWhichOfSeveralHosts) {
  contents.hosts.push_back(host("Attic", "10.0.0.2", 47905));
  EXPECT_THAT(*launch({}), IsEmpty());
  EXPECT_THAT(*launch({"--mute", "display/2"}), ElementsAre("--mute", "display/2"));
  contents.hosts.clear();
  EXPECT_THAT(*launch({}), IsEmpty());
}

TEST_F(ViewerLaunch, aHostIsFoundByNameAddressSSHAndURL) {
  contents.hosts.push_back(host("Attic", "10.0.0.2", 47905));
  contents.hosts.push_back(host("Cellar", "ssh://ada@cellar", 47900));
  EXPECT_THAT(*launch({"--host", "attic"}), ElementsAre("--host", "10.0.0.2:47905"));
  EXPECT_THAT(*launch({"--host", "ssh://ada@cellar"}), ElementsAre("--host", "ssh://ada@cellar"));
  EXPECT_THAT(*launch({"quorl://desk.local"}), ElementsAre("--host", "desk.local"));
  EXPECT_THAT(*launch({"--host", "quorl://10.0.0.2:47905/display/3"}),
              ElementsAre("--host", "10.0.0.2:47905", "display/3"));
  EXPECT_THAT(*launch({"quorl://desk/window/a%20b"}), ElementsAre("--host", "desk.local", "window/a%20b"));
}

TEST_F(ViewerLaunch, targetsAndSwitchesReachTheViewer) {
  EXPECT_THAT(*launch({"window/My Notes", "--full-screen", "--mute"}),
              ElementsAre("--host", "desk.local", "--full-screen", "--mute", "window/My%20Notes"));
  EXPECT_THAT(*launch({"--window", "77"}), ElementsAre("--host", "desk.local", "--window", "77"));
  EXPECT_THAT(*launch({"--app=org.example.editor"}),
              ElementsAre("--host", "desk.local", "--app", "org.example.editor"));
}

TEST_F(ViewerLaunch, refusesWordsThatMeanNothing) {
  for (const auto& words :
       std::vector<std::vector<std::string_view>>{{"nonsense"},
                                                  {""},
                                                  {"display/x"},
                                                  {"app/../../bin/sh"},
                                                  {"display/1", "display/2"},
                                                  {"--window", "4294967296"},
                                                  {"--window", "-1"},
                                                  {"--display", "one"},
                                                  {"--app", ""},
                                                  {"--window", "1", "--display", "1"},
                                                  {"--window", "1", "display/1"},
                                                  {"--host", "two words"},
                                                  {"quorl://"},
                                                  {"quorl://desk/etc/passwd"},
                                                  {"quorl://-oProxyCommand=x"},
                                                  {"quorl://desk", "--host", "desk"},
                                                  {"--host", "quorl://desk/display/1", "display/2"},
                                                  {"--full-screen=yes"}})
    EXPECT_EQ(errorOf(words), ExitCode::usage) << testing::PrintToString(words);
}

TEST_F(ViewerLaunch, refusesAHostThatIsNotPaired) {
  EXPECT_EQ(errorOf({"--host", "elsewhere"}), ExitCode::refused);
  EXPECT_EQ(errorOf({"quorl://elsewhere/display/1"}), ExitCode::refused);
}

}  // namespace
}  // namespace quorl::client
