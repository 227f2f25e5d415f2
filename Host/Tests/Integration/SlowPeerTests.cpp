// SPDX-License-Identifier: GPL-3.0-or-later
// The real host on a real display, with clients that read too little.
#include <fstream>
#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Linux/X11/TestClient.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

constexpr std::size_t mebibyte = 1U << 20;

class SlowPeerTest : public ::testing::Test {
 protected:
  SlowPeerTest() {
    HostProcess::Settings settings;
    settings.port = port_;
    settings.home = home_.path();
    settings.options = {"--pin", "314159"};
    settings.environment = {"DISPLAY=" + server_.display()};
    host_.emplace(settings);
    EXPECT_TRUE(host_->listens()) << host_->program().output();
  }

  // The host's resident memory.
  std::size_t memory() {
    std::ifstream status("/proc/" + std::to_string(host_->program().pid()) + "/status");
    for (std::string word; status >> word;) {
      std::size_t kibibytes = 0;
      if (word == "VmRSS:" && status >> kibibytes) return kibibytes * 1'024;
    }
    return 0;
  }
  static void useSmallBuffer(RawClient& client) {
    const int small = 16'384;
    ::setsockopt(client.peer().descriptor(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  }
  static void watch(RawClient& client) {
    StartStream request;
    request.streamID = 1;
    request.target = streamTarget::Unified{};
    request.config = {.maxDimension = 640, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.8};
    client.send(message::StartStream{request});
    EXPECT_TRUE(client.next<message::StreamStarted>());
  }
  // Draws content that no encoder compresses well.
  void draw(int pictures) {
    for (int picture = 0; picture < pictures; ++picture) {
      for (int block = 0; block < 200; ++block) {
        const auto at = [this](int most) {
          return static_cast<int>(random_() % static_cast<unsigned>(most));
        };
        painter_.fillRoot({at(640), at(480), 40, 40}, random_() & 0xFFFFFF);
      }
      painter_.sync();
    }
  }

  XServer server_{{.width = 640, .height = 480}};
  TestClient painter_{server_.display()};
  TemporaryFolder home_;
  const std::uint16_t port_ = freePort();
  std::optional<HostProcess> host_;
  std::mt19937 random_{1};
};

TEST_F(SlowPeerTest, floodOfRequestsCostsLittleAndDelaysNoOtherClient) {
  RawClient flooding(port_);
  useSmallBuffer(flooding);
  ASSERT_TRUE(flooding.pair("314159"));
  RawClient other(port_);
  ASSERT_TRUE(other.pair("314159"));
  other.send(message::RequestHostState{});
  ASSERT_TRUE(other.next<message::HostState>());
  const std::size_t before = memory();
  const Bytes json = *ControlCoder::encode(message::RequestHostState{});
  const Bytes question = Frame{FrameType::control, json}.encoded();
  Bytes questions;
  for (int count = 0; count < 40'000; ++count)
    questions.insert(questions.end(), question.begin(), question.end());
  ASSERT_TRUE(flooding.peer().write(questions));
  ASSERT_TRUE(other.echoes());
  for (int count = 0; count < 20; ++count) {
    other.send(message::RequestHostState{});
    const auto state = other.next<message::HostState>();
    ASSERT_TRUE(state);
    EXPECT_EQ(state->_0.displays.size(), 1U);
  }
  EXPECT_LE(memory(), before + 16 * mebibyte);
}

TEST_F(SlowPeerTest, clientThatReadsNoPictureCostsBoundedMemoryAndIsStillServed) {
  RawClient other(port_);
  ASSERT_TRUE(other.pair("314159"));
  RawClient silent(port_);
  useSmallBuffer(silent);
  ASSERT_TRUE(silent.pair("314159"));
  watch(silent);
  draw(60);
  // Each client gets the state of the host every five seconds; one of them is among what is measured.
  ASSERT_TRUE(other.next<message::HostState>());
  const std::size_t before = memory();
  for (int round = 0; round < 200; ++round) {
    draw(4);
    silent.send(message::RequestKeyframe{.streamID = 1});
    ASSERT_TRUE(other.echoes());
  }
  EXPECT_LE(memory(), before + 4 * mebibyte);
  silent.send(message::Bye{});
  EXPECT_TRUE(host_->program().waitForOutput("client disconnected: Test Pad"));
}

}  // namespace
}  // namespace quorl::test
