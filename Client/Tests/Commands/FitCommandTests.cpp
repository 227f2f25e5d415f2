// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <array>
#include <string_view>

#include <gtest/gtest.h>

#include <QuorlUnix/Descriptor.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using test::HostBehaviour;
using test::SampleVideo;

class FitCommandTest : public testing::Test {
 protected:
  void begin() {
    host_ = std::make_unique<FakeHost>(
        HostBehaviour{.video = &SampleVideo::shortClip(), .contentRect = {{5, 6}, {320, 240}}});
    run_.addHost(host_->pairedHost());
  }
  /// Makes `lines` the command's input, followed by the end of the input.
  void type(std::string_view lines) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    input_ = Descriptor(ends[0]);
    const Descriptor writer(ends[1]);
    ASSERT_EQ(::write(writer.get(), lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
    run_.inputDescriptor = input_.get();
  }

  Descriptor input_;
  std::unique_ptr<FakeHost> host_;
  CommandRun run_;
};

TEST_F(FitCommandTest, asksForTheWindowAndTheViewAndShowsWhereTheWindowIs) {
  begin();
  type("quit\n");
  const auto result = run_({"fit", "--window", "7", "--view", "1024x768", "--seconds", "30"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  const auto request = host_->messagesOf<message::StartStream>().at(0)._0;
  EXPECT_EQ(request.target, StreamTarget(streamTarget::Window{7}));
  EXPECT_EQ(request.clientPointWidth, 1024);
  EXPECT_EQ(request.clientPointHeight, 768);
  EXPECT_EQ(host_->messagesOf<message::StopStream>().size(), 1U);
}

TEST_F(FitCommandTest, sendsTheInstructionsOfItsInputInOrder) {
  begin();
  type("view 400x300\n\nfit off\nscale 0.5\nnonsense\nfit on\nquit\n");
  const auto result = run_({"fit", "--app", "org.example.editor", "--seconds", "30"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  const auto infos = host_->messagesOf<message::ScreenInfo>();
  ASSERT_EQ(infos.size(), 1U);
  EXPECT_EQ(infos[0], (message::ScreenInfo{1, 400, 300}));
  const auto fits = host_->messagesOf<message::FitToScreen>();
  ASSERT_EQ(fits.size(), 2U);
  EXPECT_FALSE(fits[0].enabled);
  EXPECT_TRUE(fits[1].enabled);
  const auto scales = host_->messagesOf<message::WindowScale>();
  ASSERT_EQ(scales.size(), 1U);
  EXPECT_EQ(scales[0].scale, 0.5);
  EXPECT_NE(result.notes.find("\"nonsense\" is not understood"), std::string::npos);
}

TEST_F(FitCommandTest, goesOnAfterTheEndOfItsInputUntilTheTimeIsOver) {
  begin();
  type("scale 0.4");
  const auto result = run_({"fit", "--window", "7", "--seconds", "0.5"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(result.out, "320x240 pixels, window at 5,6 with 320x240 points\n");
  EXPECT_TRUE(host_->messagesOf<message::WindowScale>().empty()) << "the line has no end";
}

TEST_F(FitCommandTest, needsAWindowOrAnApplication) {
  begin();
  const auto result = run_({"fit", "--view", "400x300"});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_NE(result.notes.find("--window or --app"), std::string::npos);
  EXPECT_EQ(run_({"fit", "--window", "7", "--view", "wide"}).code, ExitCode::usage);
}

}  // namespace
}  // namespace quorl::client
