// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Input/XTestPoster.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "TypedTexts.h"

namespace quorl::test {
namespace {

constexpr int count = 500;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class ToolkitTyping : public testing::Test {
 protected:
  /// Whether the window of this title has the focus.
  bool isActive(const std::string& title) {
    return eventually(
        [&] {
          const auto text = server.run({"xprop", "-root", "_NET_ACTIVE_WINDOW"});
          const auto id = text.rfind("0x");
          if (id == std::string::npos) return false;
          const auto window = text.substr(id, text.find_first_of("\n ,", id) - id);
          return server.run({"xprop", "-id", window, "WM_NAME"}).find(title) != std::string::npos;
        },
        std::chrono::seconds(30));
  }

  XServer server{{.width = 800, .height = 600, .windowManager = XServer::WindowManager::openbox}};
  XTestPoster poster{[name = server.display()] { return name; }};
  std::string path = server.folder() + "/typed";
};

TEST_F(ToolkitTyping, typesFiveHundredCharactersOfManyScriptsIntoQt) {
  const auto target = server.start({QUORL_QT_TYPING_TARGET, path});
  ASSERT_TRUE(isActive("Typing target"));
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(path); }));
  const auto text = randomText(1, count);
  type(poster, text);
  EXPECT_TRUE(eventually([&] { return contentOf(path).size() >= utf8Of(text).size(); }));
  EXPECT_EQ(contentOf(path), utf8Of(text));
}

TEST_F(ToolkitTyping, typesFiveHundredCharactersOfManyScriptsIntoATerminal) {
  const auto terminal = server.start(
      {"env", "LC_ALL=C.UTF-8", "xterm", "-u8", "-T", "Typing terminal", "-e", "sh", "-c", "cat > " + path});
  ASSERT_TRUE(isActive("Typing terminal"));
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(path); }));
  std::u16string text = randomText(2, count);
  // The terminal's line discipline delivers whole lines.
  text += u"\n";
  type(poster, text);
  EXPECT_TRUE(eventually([&] { return contentOf(path).size() >= utf8Of(text).size(); }));
  EXPECT_EQ(contentOf(path), utf8Of(text));
}

}  // namespace
}  // namespace quorl::test
