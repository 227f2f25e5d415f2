// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/KittyText.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/Agents/RestList.h>
#include <QuorlHostLinux/Agents/ScreenText.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

std::string answer(const std::string& json) {
  return "\x1bP@kitty-cmd" + json + "\x1b\\";
}

std::vector<std::pair<std::int64_t, std::int32_t>> windowsIn(const std::string& json) {
  std::vector<std::pair<std::int64_t, std::int32_t>> windows;
  const auto parsed = KittyText::parseWindows(json);
  if (!parsed) return {{-1, -1}};
  for (const KittyText::Window& window : *parsed) windows.emplace_back(window.id, window.pid);
  return windows;
}

TEST(KittyText, findsTheSocketInAnEnvironment) {
  const auto socketIn = [](const std::string& text) { return KittyText::socketIn(text).value_or("none"); };
  EXPECT_EQ(socketIn("A=b\0KITTY_LISTEN_ON=unix:/tmp/kitty-12\0C=d\0"s), "/tmp/kitty-12");
  EXPECT_EQ(socketIn("KITTY_LISTEN_ON=unix:@mine"), "@mine");
  EXPECT_EQ(socketIn("XKITTY_LISTEN_ON=unix:/a\0A=KITTY_LISTEN_ON=unix:/b\0"s), "none");
  EXPECT_EQ(socketIn("\0\0=\0"s), "none");
  EXPECT_EQ(socketIn(""), "none");
}

TEST(KittyText, acceptsOnlyLocalSockets) {
  for (const char* address : {"tcp:localhost:1234", "unix:", "unix:@", "unix:/", "unix:kitty", "fd:5", ""})
    EXPECT_EQ(KittyText::socketIn("KITTY_LISTEN_ON=" + std::string(address)), std::nullopt) << address;
}

TEST(KittyText, readsTheWindowsOfAListing) {
  EXPECT_THAT(windowsIn(R"([
    {"id": 1, "pid": 77, "is_active": true, "platform_window_id": 2097164, "tabs": [
      {"active_window_history": [1], "id": 1, "layout_state": {"main_bias": [0.5, 0.5]}, "windows": [
        {"cmdline": ["cat"], "env": {"pid": "9"}, "foreground_processes": [{"pid": 30, "id": 8}],
         "id": 1, "is_self": false, "pid": 27847, "title": "a \"b\" {[ é"},
        {"id": 5, "pid": 27848}]},
      {"id": 2, "windows": []}]},
    {"tabs": [{"windows": [{"pid": 3, "id": 9}]}]}, {}])"),
              ElementsAre(Pair(1, 27847), Pair(5, 27848), Pair(9, 3)));
}

TEST(KittyText, leavesOutWindowsWithoutAProcess) {
  EXPECT_THAT(windowsIn(R"([{"tabs": [{"windows": [{"id": 1, "pid": null}, {"id": 0, "pid": 5}, {"pid": 5},
    {"id": 2, "pid": -1}, {"id": 3, "pid": 4294967297}, {"id": 4, "pid": 6}]}]}])"),
              ElementsAre(Pair(4, 6)));
}

TEST(KittyText, readsAListingWithTextsThatAreNotUnicode) {
  EXPECT_THAT(windowsIn(
                  R"([{"tabs": [{"windows": [{"cmdline": ["\udcff", "\\udcff", "\\\udcff", "\ud83d\ude42"],
    "env": {"\uDCFF": "\udcff\\"}, "id": 4, "pid": 6}]}]}])"),
              ElementsAre(Pair(4, 6)));
}

TEST(KittyText, refusesOtherTextsAsAListing) {
  for (const char* text : {"", "{}", "[1]", "[{\"tabs\": 1}]", "[{\"tabs\": [{\"windows\": [3]}]}]",
                           "[{\"tabs\": [{\"windows\": [{\"id\": \"1\"}]}]}]", "[] []", "[{\"a\":\"\\ud8\"}]",
                           "[{\"tabs\": [{\"windows\": [{\"id\": 1, \"pid\": 2}]}]}"})
    EXPECT_EQ(KittyText::parseWindows(text), std::nullopt) << text;
}

TEST(KittyText, readsAnAnswer) {
  const auto done =
      KittyText::parseReply(answer(R"({"ok": true, "data": "a\n\u00e9 \ud83d\ude42 \u001b"})") + "more");
  ASSERT_TRUE(done);
  EXPECT_TRUE(done->isDone);
  EXPECT_EQ(done->data, "a\n\u00e9 \U0001F642 \x1b");
  const auto refused =
      KittyText::parseReply(answer(R"({"ok": false, "error": "No matching windows for id:3", "tb": [1]})"));
  ASSERT_TRUE(refused);
  EXPECT_FALSE(refused->isDone);
  EXPECT_TRUE(KittyText::saysWindowIsGone(refused->error));
  EXPECT_FALSE(KittyText::saysWindowIsGone("Remote control is disabled"));
  const auto other = KittyText::parseReply(answer(R"({"ok": true, "data": {"x": 1}})"));
  ASSERT_TRUE(other);
  EXPECT_EQ(other->data, "");
}

TEST(KittyText, refusesOtherTextsAsAnAnswer) {
  for (const std::string& text :
       {""s, "HTTP/1.1 400 Bad Request"s, "\x1bP@kitty-cmd{\"ok\": true}"s, answer("{"), answer("[]"),
        answer(R"({"ok": 1})"), answer("{} {}"), " " + answer(R"({"ok": true})"), "\x1bP\x1b\\"s})
    EXPECT_EQ(KittyText::parseReply(text), std::nullopt) << text;
}

TEST(KittyText, writesTheCommands) {
  EXPECT_EQ(KittyText::listCommand(), answer(R"({"cmd":"ls","version":[0,14,2]})"));
  EXPECT_EQ(KittyText::textCommand(3, KittyText::Extent::screenAndHistory),
            answer(R"({"cmd":"get-text","version":[0,14,2],"payload":{"match":"id:3","extent":"all"}})"));
  EXPECT_THAT(KittyText::textCommand(3, KittyText::Extent::screen), HasSubstr(R"("extent":"screen")"));
  EXPECT_EQ(
      KittyText::typeCommands(4, viewOf("a\xff")),
      answer(R"({"cmd":"send-text","version":[0,14,2],"payload":{"match":"id:4","data":"base64:Yf8="}})"));
  EXPECT_EQ(KittyText::typeCommands(4, {}), "");
}

TEST(KittyText, typesALongTextInCommandsOfTheAllowedSize) {
  const std::string commands = KittyText::typeCommands(4, viewOf(std::string(100'000, 'x')));
  std::size_t count = 0;
  for (std::size_t at = 0; at < commands.size(); ++count) {
    const std::size_t end = commands.find("\x1b\\", at);
    ASSERT_NE(end, std::string::npos);
    EXPECT_LE(end + 2 - at, 65'536U);
    at = end + 2;
  }
  EXPECT_EQ(count, 7U);
}

TEST(ScreenText, dropsTheBlankLinesBelowTheTextAndKeepsTheLastLines) {
  EXPECT_EQ(screenText("a\n\nb  \n\n   \n", 10), "a\n\nb  ");
  EXPECT_EQ(screenText("a\nb\nc\n", 2), "b\nc");
  EXPECT_EQ(screenText("a\nb\n", 2), "a\nb");
  EXPECT_EQ(screenText("\na", 2), "\na");
  EXPECT_EQ(screenText(" \n\n", 2), "");
  EXPECT_EQ(screenText("a\xff", 2), "a\xef\xbf\xbd");
}

TEST(RestList, holdsAServerUntilItsTimeIsOver) {
  RestList rests(30s);
  const auto start = RestList::Clock::now();
  EXPECT_FALSE(rests.holds("a", start));
  rests.add("a", start);
  EXPECT_TRUE(rests.holds("a", start + 29s));
  EXPECT_FALSE(rests.holds("b", start + 29s));
  EXPECT_FALSE(rests.holds("a", start + 30s));
  rests.add("a", start + 40s);
  EXPECT_TRUE(rests.holds("a", start + 69s));
}

}  // namespace
}  // namespace quorl
