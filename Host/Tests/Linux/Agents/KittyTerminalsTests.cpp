// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/KittyTerminals.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/Agents/ProcProcessTable.h>
#include <QuorlHostLinux/Agents/ProcText.h>
#include <QuorlUnix/Descriptor.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServerFixture.h>

#include "AdoptionScenario.h"

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using test::HelperProgram;
using test::TemporaryFolder;
using test::XServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr TerminalKind iterm = TerminalKind::iterm;
constexpr const char* kittyPath = "/usr/bin/kitty";

std::string contentOf(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(KittyTerminals, readNothingWithoutAKitty) {
  int looks = 0;
  KittyTerminals terminals({.children = [&] {
    ++looks;
    return std::vector<std::int32_t>();
  }});
  const TerminalScripting::Report report = [](const TerminalScripting::Failure&) { FAIL(); };
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_EQ(looks, 1);
  EXPECT_EQ(terminals.readContents("/dev/pts/1", iterm, report), "");
  EXPECT_EQ(terminals.readContents("/dev/pts/1", TerminalKind::unknown, report), std::nullopt);
  terminals.sendText("/dev/pts/1", iterm, "x", TextSubmission::submit, report);
}

/// Real instances on a display of their own.
class Kitty : public testing::Test {
 protected:
  TemporaryFolder folder;
  std::vector<std::string> reported;
  TerminalScripting::Report report = [this](const TerminalScripting::Failure& failure) {
    EXPECT_FALSE(failure.denied);
    reported.push_back(failure.description);
  };
  std::optional<XServer> server;
  std::vector<HelperProgram> instances;

  void SetUp() override {
    if (access(kittyPath, X_OK) != 0) GTEST_SKIP() << "kitty is not installed";
    server.emplace();
  }

  std::string path(const std::string& name) const { return folder.file(name); }

  /// Starts an instance with one window that runs `script`. Returns the window's terminal once it runs.
  std::string startKitty(const std::string& script, const std::string& listenOn,
                         const std::string& control = "socket-only") {
    const std::string note = path("tty-" + std::to_string(instances.size()));
    start({"--config", "NONE", "-o", "allow_remote_control=" + control, "--listen-on", listenOn}, note,
          script);
    return noted(note);
  }
  std::string startKitty(const std::string& script) { return startKitty(script, "unix:" + path("s")); }

  void start(const std::vector<std::string>& options, const std::string& note, const std::string& script) {
    std::vector<std::string> words{"/usr/bin/env",   "-u", "XDG_CONFIG_HOME", "-u",
                                   "XDG_CACHE_HOME", "-u", "WAYLAND_DISPLAY"};
    words.insert(words.end(), {"LIBGL_ALWAYS_SOFTWARE=1", "LANG=C.UTF-8",
                               "XDG_RUNTIME_DIR=" + folder.path().string(), kittyPath});
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"sh", "-c", fmt::format("tty > {0}.new; mv {0}.new {0}; {1}", note, script)});
    instances.push_back(server->start(words));
  }

  static std::string noted(const std::string& note) {
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(note); }, 30s)) << "kitty does not start";
    std::string tty = contentOf(note);
    if (tty.ends_with('\n')) tty.pop_back();
    return tty;
  }

  /// Opens or closes a window by remote control.
  std::string command(const std::string& name, const std::string& payload) const {
    const std::string request = fmt::format(
        "\x1bP@kitty-cmd{{\"cmd\":\"{}\",\"version\":[0,14,2],\"payload\":{}}}\x1b\\", name, payload);
    const ExchangeResult result =
        exchangeLocally(path("s"), request, 0, {.time = 20s, .answerSize = 1 << 20});
    EXPECT_THAT(result.answer, HasSubstr("\"ok\": true"));
    return result.answer;
  }

  /// For the instances of this test only.
  KittyTerminals::Settings settings() {
    return {.children =
                [this] {
                  ProcProcessTable table;
                  table.processes();
                  std::vector<std::int32_t> children = table.childrenOf("kitty");
                  std::erase_if(children, [this](std::int32_t pid) { return !isOfATestsKitty(pid); });
                  return children;
                },
            .limit = 10s};
  }
  bool isOfATestsKitty(std::int32_t pid) const {
    const auto stat = ProcText::parseStat(contentOf(fmt::format("/proc/{}/stat", pid)));
    return stat && std::ranges::find(instances, stat->parent, &HelperProgram::pid) != instances.end();
  }

  /// During exec a process briefly shows no environment, so that one reading may miss it.
  bool maps(KittyTerminals& terminals, const std::map<std::string, TerminalKind>& expected) {
    return eventually([&] { return terminals.mapTerminals(report) == expected; });
  }

  /// A program that writes every byte it receives to a file, and prints "ready" first.
  static std::string recorder(const std::string& file) {
    return "stty raw -echo; echo ready; exec cat > " + file;
  }
  std::string recorded(KittyTerminals& terminals, const std::string& tty, const std::string& file,
                       const std::string& bytes) {
    EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "ready"; }));
    terminals.sendRaw(tty, iterm, viewOf(bytes), report);
    eventually([&] { return contentOf(file).size() >= bytes.size(); });
    return contentOf(file);
  }
};

TEST_F(Kitty, mapsTheWindowsOfEveryInstance) {
  const std::string first = startKitty("exec sleep 1000");
  const std::string abstract = startKitty("exec sleep 1000", fmt::format("unix:@test-kitty-{}", getpid()));
  command("launch", fmt::format(R"({{"args":["sh","-c","tty > {0}.new; mv {0}.new {0}; exec sleep 1000"]}})",
                                path("second")));
  const std::string second = noted(path("second"));
  ASSERT_TRUE(first.starts_with("/dev/pts/")) << first;
  const std::map<std::string, TerminalKind> expected{{first, iterm}, {second, iterm}, {abstract, iterm}};
  KittyTerminals terminals(settings());
  EXPECT_TRUE(maps(terminals, expected));
  EXPECT_EQ(expected.size(), 3U);
  EXPECT_THAT(reported, IsEmpty());
}

// The two lines of the documentation.
TEST_F(Kitty, findsAnInstanceThatWasSetUpInItsConfiguration) {
  const std::string file = folder.write(
      "kitty.conf", "allow_remote_control socket-only\nlisten_on unix:${XDG_RUNTIME_DIR}/kitty\n");
  start({"--config", file}, path("tty"), "exec sleep 1000");
  const std::string tty = noted(path("tty"));
  KittyTerminals terminals(settings());
  EXPECT_TRUE(maps(terminals, {{tty, iterm}}));
  EXPECT_TRUE(std::filesystem::is_socket(path(fmt::format("kitty-{}", instances.front().pid()))));
}

TEST_F(Kitty, findsWindowsInFoldersWhoseNamesAreNotUnicode) {
  const std::string tty = startKitty(fmt::format(
      R"sh(odd="{}$(printf '\377')"; mkdir "$odd"; cd "$odd"; echo there; exec sleep 1000)sh", path("")));
  KittyTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "there"; }));
  EXPECT_THAT(command("ls", "{}"), HasSubstr("udcff")) << "half of a surrogate pair";
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(tty, iterm)));
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Kitty, readsAWindowsText) {
  const std::string tty = startKitty(
      "printf 'one\\n\\033[31mtwo\\033[0m \\303\\251 \\344\\270\\226\\347\\225\\214 "
      "\\360\\237\\231\\202 \"q\\\\\\n$ '; exec sleep 1000");
  KittyTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] {
    return terminals.readContents(tty, iterm, report) == "one\ntwo \u00e9 \u4e16\u754c \U0001F642 \"q\\\n$ ";
  })) << *terminals.readContents(tty, iterm, report);
}

TEST_F(Kitty, givesTheLastLinesOfALongHistory) {
  const std::string tty = startKitty("seq 1 1000; exec sleep 1000");
  KittyTerminals terminals(settings());
  std::string text;
  EXPECT_TRUE(eventually([&] {
    text = terminals.readContents(tty, iterm, report).value_or("");
    return text.ends_with("\n1000");
  }));
  EXPECT_EQ(std::ranges::count(text, '\n'), 511);
  EXPECT_TRUE(text.starts_with("489\n"));
}

TEST_F(Kitty, readsOnlyTheScreenIfTheHistoryIsTooLong) {
  const std::string tty = startKitty("yes x$(seq -s- 1 20) | head -n 1000; echo end; exec sleep 1000");
  KittyTerminals::Settings small = settings();
  small.answerLimit = 20'000;
  KittyTerminals terminals(small);
  std::string text;
  EXPECT_TRUE(eventually([&] {
    text = terminals.readContents(tty, iterm, report).value_or("");
    return text.ends_with("\nend");
  }));
  EXPECT_GT(std::ranges::count(text, '\n'), 5);
  EXPECT_LT(std::ranges::count(text, '\n'), 200);
  EXPECT_THAT(reported, IsEmpty());
  EXPECT_TRUE(terminals.mapTerminals(report).contains(tty));
  EXPECT_EQ(terminals.readContents(tty, iterm, report), text);
}

TEST_F(Kitty, deliversEveryByteUnchanged) {
  const std::string tty = startKitty(recorder(path("bytes")));
  std::string bytes = R"(-- --match say "hi\there" $HOME `ls` 'x' \x1b \u00e9 \n ;)";
  bytes += "\u00e9\u4e16\U0001F642\x1b[A\x03\x04\t\n\r";
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  bytes += "trailing\\";
  KittyTerminals terminals(settings());
  EXPECT_EQ(recorded(terminals, tty, path("bytes"), bytes), bytes);
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Kitty, deliversALongTextInOrder) {
  const std::string tty = startKitty(recorder(path("bytes")));
  std::string bytes;
  for (int i = 0; bytes.size() < 300'000; ++i) bytes += std::to_string(i) + "\u00e9;";
  KittyTerminals terminals(settings());
  EXPECT_EQ(recorded(terminals, tty, path("bytes"), bytes), bytes);
}

TEST_F(Kitty, submitsATextWithReturn) {
  const std::string tty = startKitty(recorder(path("bytes")));
  KittyTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "ready"; }));
  terminals.sendText(tty, iterm, "a", TextSubmission::type, report);
  terminals.sendText(tty, iterm, "-b\\n", TextSubmission::submit, report);
  terminals.sendText(tty, iterm, "", TextSubmission::type, report);
  terminals.sendText(tty, TerminalKind::unknown, "no", TextSubmission::type, report);
  EXPECT_TRUE(eventually([&] { return contentOf(path("bytes")) == "a-b\\n\r"; })) << contentOf(path("bytes"));
}

TEST_F(Kitty, givesAnEmptyTextForAWindowThatIsGone) {
  const std::string first = startKitty("exec sleep 1000");
  command("launch",
          fmt::format(R"({{"args":["sh","-c","tty > {0}.new; mv {0}.new {0}; echo there; exec cat"]}})",
                      path("second")));
  const std::string second = noted(path("second"));
  KittyTerminals terminals(settings());
  ASSERT_TRUE(maps(terminals, {{first, iterm}, {second, iterm}}));
  ASSERT_TRUE(eventually([&] { return terminals.readContents(second, iterm, report) == "there"; }));
  command("close-window", R"({"match":"id:2"})");
  EXPECT_TRUE(eventually([&] { return terminals.readContents(second, iterm, report) == ""; }));
  terminals.sendRaw(second, iterm, viewOf("x"), report);
  EXPECT_TRUE(maps(terminals, {{first, iterm}}));
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Kitty, losesTheTabsOfAnInstanceThatWasKilled) {
  const std::string tty = startKitty("echo there; exec sleep 1000");
  KittyTerminals terminals(settings());
  ASSERT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "there"; }));
  instances.front().kill();
  EXPECT_EQ(terminals.readContents(tty, iterm, report), "");
  terminals.sendRaw(tty, iterm, viewOf("x"), report);
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Kitty, findsNothingWithoutRemoteControl) {
  startKitty("exec sleep 1000", "unix:" + path("s"), "no");
  ASSERT_TRUE(eventually([&] {
    const std::vector<std::int32_t> children = settings().children();
    return !children.empty() &&
           contentOf(fmt::format("/proc/{}/environ", children.front())).find("KITTY_WINDOW_ID=") !=
               std::string::npos;
  }));
  KittyTerminals terminals(settings());
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(reported, IsEmpty()) << "it does not even listen";
}

TEST_F(Kitty, reportsAnInstanceThatRefusesOnce) {
  startKitty("exec sleep 1000", "unix:" + path("s"), "password");
  KittyTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] { return maps(terminals, {}) && !reported.empty(); }));
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(reported, ElementsAre("kitty refuses remote control on " + path("s")));
}

TEST_F(Kitty, skipsAnInstanceThatDoesNotAnswerForAWhile) {
  const std::string stuck = startKitty(recorder(path("bytes")));
  const std::string good = startKitty("exec sleep 1000", "unix:" + path("good"));
  KittyTerminals::Settings patient = settings();
  patient.limit = 2s;
  patient.rest = 1h;
  KittyTerminals terminals(patient);
  ASSERT_TRUE(maps(terminals, {{stuck, iterm}, {good, iterm}}));
  ASSERT_EQ(kill(instances.front().pid(), SIGSTOP), 0);
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(good, iterm)));
  EXPECT_THAT(reported, ElementsAre("kitty does not answer on " + path("s")));
  EXPECT_EQ(terminals.readContents(stuck, iterm, report), std::nullopt) << "it is not gone";
  terminals.sendRaw(stuck, iterm, viewOf("x"), report);
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(good, iterm)));
  EXPECT_EQ(reported.size(), 1U) << "not asked again";
  ASSERT_EQ(kill(instances.front().pid(), SIGCONT), 0);
}

TEST_F(Kitty, typesNothingIntoTheWindowOfALaterInstanceOnTheSameSocket) {
  const std::string tty = startKitty("exec sleep 1000");
  KittyTerminals terminals(settings());
  ASSERT_TRUE(maps(terminals, {{tty, iterm}}));
  // Keeps the device's number from being reused.
  const Descriptor held(open(tty.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(held.isOpen());
  instances.front().kill();
  std::filesystem::remove(path("s"));
  const std::string later = startKitty(recorder(path("bytes")));
  ASSERT_NE(later, tty);
  EXPECT_TRUE(eventually([&] { return terminals.readContents(later, iterm, report) == "ready"; }));
  terminals.sendRaw(tty, iterm, viewOf("x"), report);
  terminals.sendRaw(later, iterm, viewOf("y"), report);
  EXPECT_TRUE(eventually([&] { return !contentOf(path("bytes")).empty(); }));
  EXPECT_EQ(contentOf(path("bytes")), "y");
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Kitty, findsAdoptsReadsAndTypesIntoAScriptInAWindow) {
  const std::string tty = startKitty("exec " + test::writeAskingAgent(folder));
  test::findAdoptAnswerAndEnd(tty, std::make_shared<KittyTerminals>(settings()));
}

}  // namespace
}  // namespace quorl
