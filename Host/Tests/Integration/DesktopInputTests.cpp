// SPDX-License-Identifier: GPL-3.0-or-later
// The real program on a real X server, and the input that programs
// there receive.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "KeyListener.h"
#include "TestClient.h"
#include "TypedTexts.h"

namespace quorl::test {
namespace {

constexpr std::uint16_t letterA = 0x00;

class DesktopInput : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host.listens()) << host.program().output();
    client = std::make_unique<RawClient>(port);
    ASSERT_TRUE(client->pair("314159"));
  }

  void send(const InputEvent& event) {
    client->peer().write(Frame{FrameType::input, event.encoded()}.encoded());
  }
  std::optional<StreamStarted> nextStarted() {
    const auto message = client->next<message::StreamStarted>();
    return message ? std::optional(message->_0) : std::nullopt;
  }
  static long countOf(const std::vector<KeyListener::Input>& inputs, std::uint32_t keysym) {
    return std::ranges::count_if(
        inputs, [keysym](const auto& input) { return input.isKeyDown() && input.keysym == keysym; });
  }

  TemporaryFolder home;
  const std::uint16_t port = freePort();
  XServer server{{.width = 640, .height = 480}};
  TestClient screen{server.display()};
  KeyListener listener{server.display()};
  HostProcess host{{.port = port,
                    .home = home.path(),
                    .options = {"--pin", "314159"},
                    .environment = {"DISPLAY=" + server.display()}}};
  std::unique_ptr<RawClient> client;
};

TEST_F(DesktopInput, typesAHeldKeyOnceAndReleasesItWhenItsLinkBreaks) {
  server.run({"xset", "r", "rate", "60", "100"});
  server.run({"xdotool", "keydown", "b"});
  send(inputEvent::Key{.keyCode = letterA, .down = true, .modifiers = WireModifiers::capsLock});
  ASSERT_TRUE(listener.listenUntil([&](const auto& all) { return countOf(all, 'A') >= 1; }));
  listener.inputs.clear();
  // The repeats of the locally held key serve as the clock.
  ASSERT_TRUE(listener.listenUntil([&](const auto& all) { return countOf(all, 'B') >= 20; }));
  EXPECT_EQ(countOf(listener.inputs, 'A'), 0);
  server.run({"xdotool", "keyup", "b"});
  EXPECT_TRUE(listener.isAnythingDown());
  client.reset();
  EXPECT_TRUE(eventually([&] { return !listener.isAnythingDown() && listener.lockedModifiers() == 0; }));
}

TEST_F(DesktopInput, endsInTheMiddleOfALongTextWithoutDelayAndLeavesTheKeyboardAsItWas) {
  const std::string before = server.run({"xmodmap", "-pke"});
  std::u16string text;
  for (char16_t c = 0x4E00; c < 0x4E00 + 5'000; ++c) text.push_back(c);
  client->send(message::InsertText{utf8Of(text)});
  ASSERT_TRUE(listener.listenUntil([](const auto& all) { return all.size() >= 200; }));
  const auto start = std::chrono::steady_clock::now();
  host.program().signal(SIGTERM);
  EXPECT_EQ(host.program().waitForExit(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(server.run({"xmodmap", "-pke"}), before);
  EXPECT_FALSE(listener.isAnythingDown());
}

TEST_F(DesktopInput, keepsTheStreamOfADisplayThatMovesAndChangesItsSize) {
  screen.setMonitor("LEFT", {0, 0, 320, 480});
  screen.setMonitor("RIGHT", {320, 0, 320, 480});
  StartStream request;
  request.streamID = 5;
  request.target = streamTarget::Display{displayIDOf("RIGHT")};
  request.config = {
      .maxDimension = 4096, .maxFPS = 30, .codec = VideoCodec::h264, .quality = 0.5, .showsCursor = false};
  client->send(message::StartStream{request});
  EXPECT_EQ(nextStarted(), (StreamStarted{5, 320, 480, {{320, 0}, {320, 480}}}));

  server.run({"xrandr", "--delmonitor", "LEFT"});
  screen.setMonitor("RIGHT", {0, 0, 320, 480});
  EXPECT_EQ(nextStarted(), (StreamStarted{5, 320, 480, {{0, 0}, {320, 480}}}));

  screen.setMonitor("RIGHT", {0, 0, 600, 480});
  EXPECT_EQ(nextStarted(), (StreamStarted{5, 320, 480, {{0, 0}, {600, 480}}}));
  EXPECT_EQ(nextStarted(), (StreamStarted{5, 600, 480, {{0, 0}, {600, 480}}}));
  send(inputEvent::Pointer{.streamID = 5, .phase = PointerPhase::hover, .x = 0.5F, .y = 0.5F});
  EXPECT_TRUE(eventually([&] { return screen.pointer() == std::pair(300, 240); }));
}

}  // namespace
}  // namespace quorl::test
