// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Input/XTestPoster.h>
#include <QuorlKit/Protocol/KeyCodes.h>
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

  /// A shortcut as a tablet with a keyboard sends it.
  void press(std::uint16_t code, std::uint64_t flags, std::uint16_t modifierKey = keyCode::command) {
    const auto send = [this](std::uint16_t key, bool down, std::uint64_t held) {
      poster.post(KeyboardEvent{.keyCode = key, .down = down, .flags = held});
    };
    send(modifierKey, true, flags);
    send(code, true, flags);
    send(code, false, flags);
    send(modifierKey, false, 0);
  }
  bool holds(const std::string& text, const std::string& file) {
    return eventually([&] { return contentOf(file) == text; }, std::chrono::seconds(30));
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

TEST_F(ToolkitTyping, copiesPastesAndUndoesWithCommandInQt) {
  constexpr std::uint16_t letterA = 0x00;
  constexpr std::uint16_t letterZ = 0x06;
  constexpr std::uint16_t letterC = 0x08;
  const auto target = server.start({QUORL_QT_TYPING_TARGET, path});
  ASSERT_TRUE(isActive("Typing target"));
  type(poster, u"one two");
  ASSERT_TRUE(holds("one two", path));
  press(letterA, eventFlags::command);
  press(letterC, eventFlags::command);
  EXPECT_TRUE(eventually([&] { return server.run({"xclip", "-selection", "clipboard", "-o"}) == "one two"; },
                         std::chrono::seconds(30)));
  press(keyCode::rightArrow, eventFlags::command);
  press(keyCode::letterV, eventFlags::command);
  EXPECT_TRUE(holds("one twoone two", path));
  press(letterZ, eventFlags::command);
  EXPECT_TRUE(holds("one two", path));
  // To the start of the line, over a word, and a word deleted.
  press(keyCode::leftArrow, eventFlags::command);
  press(keyCode::rightArrow, eventFlags::option, keyCode::option);
  press(keyCode::backspace, eventFlags::option, keyCode::option);
  EXPECT_TRUE(holds("two", path));
}

TEST_F(ToolkitTyping, pastesWithCommandInXtermAndInterruptsOnlyWithControl) {
  constexpr std::uint16_t letterC = 0x08;
  const auto signalled = server.folder() + "/signalled";
  const auto terminal =
      server.start({"xterm", "-T", "Typing terminal", "-e", "sh", "-c",
                    "trap 'echo INT > " + signalled + "' INT; cat > " + path + "; sleep 9"});
  ASSERT_TRUE(isActive("Typing terminal"));
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(path); }));
  const auto selection =
      server.start({"sh", "-c", "printf 'pasted\\n' | exec xclip -quiet -selection primary -i"});
  ASSERT_TRUE(eventually([&] { return server.run({"xclip", "-selection", "primary", "-o"}) == "pasted\n"; }));
  press(letterC, eventFlags::command);
  press(0x06, eventFlags::command);
  press(0x02, eventFlags::command);
  type(poster, u"alive\n");
  EXPECT_TRUE(holds("alive\n", path)) << "interrupted, stopped or ended";
  press(keyCode::letterV, eventFlags::command);
  EXPECT_TRUE(holds("alive\npasted\n", path));
  EXPECT_FALSE(std::filesystem::exists(signalled));
  press(letterC, eventFlags::control, keyCode::control);
  EXPECT_TRUE(holds("INT\n", signalled)) << "Control stays Control";
}

}  // namespace
}  // namespace quorl::test
