// SPDX-License-Identifier: GPL-3.0-or-later

// The real client and the real host on a real X server, with the programs of the desktop.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "../Agents/AgentWorld.h"

namespace quorl::client::test {
namespace {

using quorl::test::eventually;
using quorl::test::XServer;
using std::chrono::seconds;

std::string noisyPNG(std::size_t size) {
  std::mt19937 random(7);
  std::string png = "\x89PNG\r\n\x1A\n";
  while (png.size() < size) png.push_back(static_cast<char>(random()));
  return png;
}

class ClipboardScenario : public testing::Test {
 protected:
  void SetUp() override { world.startHost(); }

  std::string write(const std::string& name, const std::string& content) const {
    world.write(name, content);
    return (world.folder() / name).string();
  }
  static std::string read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  std::string pasted(const std::string& target = "UTF8_STRING") const {
    return server.run({"xclip", "-selection", "clipboard", "-t", target, "-o"});
  }
  auto copy(const std::string& file, const std::string& target = "UTF8_STRING") const {
    return server.start({"xclip", "-quiet", "-selection", "clipboard", "-t", target, "-i", file});
  }

  XServer server;
  AgentWorld world{{"DISPLAY=" + server.display()}};
};

TEST_F(ClipboardScenario, textCrossesBothWays) {
  const std::string text = "Grüße 世界 🙂\n";
  ASSERT_EQ(world.run({"clipboard", "set", text}).status, 0);
  EXPECT_TRUE(eventually([&] { return pasted() == text; }, seconds(30)));
  const auto xclip = copy(write("text", "from the desk\n"));
  EXPECT_TRUE(
      eventually([&] { return world.run({"clipboard", "get"}).output == "from the desk\n"; }, seconds(60)));
}

TEST_F(ClipboardScenario, aPictureOfFiveMebibytesCrossesBothWaysAndALargerOneDoesNot) {
  const auto picture = noisyPNG(5'242'880);
  const auto file = write("picture.png", picture);
  ASSERT_EQ(world.run({"clipboard", "set", "--file", file}).status, 0);
  EXPECT_TRUE(eventually([&] { return pasted("image/png") == picture; }, seconds(30)));
  ASSERT_EQ(world.run({"clipboard", "set", "text between"}).status, 0);
  ASSERT_TRUE(eventually([&] { return pasted() == "text between"; }, seconds(30)));
  const auto out = (world.folder() / "out.png").string();
  {
    const auto xclip = copy(file, "image/png");
    EXPECT_TRUE(
        eventually([&] { return world.run({"clipboard", "get", out}).status == 0 && read(out) == picture; },
                   seconds(60)));
  }
  const auto xclip = copy(write("larger.png", picture + "x"), "image/png");
  EXPECT_TRUE(eventually([&] { return world.run({"clipboard", "get", out}).status == 1; }, seconds(60)));
}

TEST_F(ClipboardScenario, aTIFFOfTheDesktopArrivesAsAPNG) {
  const auto tiff = (world.folder() / "in.tiff").string();
  const auto out = (world.folder() / "out.png").string();
  server.run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1", tiff});
  const auto xclip = copy(tiff, "image/tiff");
  EXPECT_TRUE(eventually([&] { return world.run({"clipboard", "get", out}).status == 0; }, seconds(60)));
  EXPECT_TRUE(read(out).starts_with("\x89PNG"));
}

TEST_F(ClipboardScenario, aFollowerSeesWhatIsCopiedAndNotWhatClientsSend) {
  auto follower = world.onTerminal({"clipboard", "--follow"});
  // The follower is connected once it sees a copy.
  int number = 0;
  ASSERT_TRUE(eventually(
      [&] {
        const auto xclip = copy(write("probe", "probe " + std::to_string(++number)));
        return eventually([&] { return follower->count("probe") > 0; }, seconds(3));
      },
      seconds(60)));
  ASSERT_EQ(world.run({"clipboard", "set", "from another client"}).status, 0);
  ASSERT_TRUE(eventually([&] { return pasted() == "from another client"; }, seconds(30)));
  const auto xclip = copy(write("text", "copied at the desk"));
  EXPECT_TRUE(follower->shows("copied at the desk"));
  EXPECT_EQ(follower->count("from another client"), 0U);
}

TEST_F(ClipboardScenario, anOwnerThatHangsDelaysNoOtherRequest) {
  const auto xclip = copy(write("text", "never"));
  ASSERT_TRUE(eventually([&] { return world.run({"clipboard", "get"}).output == "never"; }, seconds(60)));
  ::kill(xclip.pid(), SIGSTOP);
  EXPECT_EQ(world.run({"clipboard", "get"}).status, 1);
  ASSERT_EQ(world.run({"clipboard", "set", "still works"}).status, 0);
  EXPECT_TRUE(eventually([&] { return pasted() == "still works"; }, seconds(30)));
}

}  // namespace
}  // namespace quorl::client::test
