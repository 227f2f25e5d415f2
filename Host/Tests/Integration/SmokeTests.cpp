// SPDX-License-Identifier: GPL-3.0-or-later
// The real host with everything at once: a stream, an agent and two clients. Short, so that it can run under
// each sanitizer, whose findings the host's exit status reports.
#include <csignal>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Linux/X11/TestClient.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

class SmokeTest : public ::testing::Test {
 protected:
  HostProcess::Settings settings() const {
    HostProcess::Settings settings;
    settings.port = port_;
    settings.home = home_.path();
    settings.options = {"--pin", "314159"};
    settings.environment = {"DISPLAY=" + server_.display()};
    return settings;
  }

  XServer server_{{.width = 640, .height = 480}};
  TestClient painter_{server_.display()};
  TemporaryFolder home_;
  const std::uint16_t port_ = freePort();
};

// What the agent has written until `text` was among it; everything when the stream ends first.
std::string outputUntil(RawClient& client, std::string_view text) {
  std::string output;
  while (output.find(text) == std::string::npos) {
    const auto frame = client.nextFrame(FrameType::terminal);
    if (!frame) break;
    output += textOf(frame->payload);
  }
  return output;
}

TEST_F(SmokeTest, aStreamAnAgentAndTwoClientsEndInOrder) {
  HostProcess host(settings());
  ASSERT_TRUE(host.listens(std::chrono::seconds(60))) << host.program().output();
  RawClient viewer(port_);
  ASSERT_TRUE(viewer.pair("314159"));
  RawClient typist(port_);
  ASSERT_TRUE(typist.pair("314159"));

  StartStream request;
  request.streamID = 1;
  request.target = streamTarget::Unified{};
  request.config = {.maxDimension = 640, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.8};
  viewer.send(message::StartStream{request});
  ASSERT_TRUE(viewer.next<message::StreamStarted>());

  typist.send(message::AgentCommand{
      agentCommand::Spawn{{.displayName = "agent",
                           .command = "echo ready; while read word; do echo \"<$word>\"; done",
                           .workingDirectory = "~",
                           .env = {}}}});
  std::optional<UUID> agent;
  while (!agent) {
    const auto list = typist.next<message::AgentList>();
    ASSERT_TRUE(list);
    for (const auto& row : list->_0)
      if (row.name == "agent") agent = row.id;
  }
  typist.send(message::AgentCommand{agentCommand::Subscribe{*agent}});

  for (int round = 0; round < 20; ++round) {
    painter_.fillRoot({round * 30, 0, 30, 480}, 0x10F0A0U + static_cast<unsigned>(round));
    painter_.sync();
    ASSERT_TRUE(viewer.nextFrame(FrameType::video)) << round;
    const std::string word = "word" + std::to_string(round);
    typist.send(message::AgentCommand{agentCommand::Write{*agent, bytesOf(word + "\n")}});
    EXPECT_NE(outputUntil(typist, "<" + word + ">").find("<" + word + ">"), std::string::npos);
    typist.send(message::RequestHostState{});
  }

  viewer.send(message::StopStream{.streamID = 1});
  EXPECT_TRUE(viewer.echoes());
  viewer.send(message::Bye{});
  typist.send(message::AgentCommand{agentCommand::Kill{*agent}});
  EXPECT_TRUE(typist.echoes());
  host.program().signal(SIGTERM);
  EXPECT_EQ(host.program().waitForExit(), 0) << host.program().output();
}

}  // namespace
}  // namespace quorl::test
