// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/TmuxTerminals.h>

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/Agents/ProcProcessTable.h>
#include <QuorlHostLinux/Agents/TmuxText.h>
#include <QuorlHostPosix/BoundedTool.h>
#include <QuorlUnix/Descriptor.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

#include "AdoptionScenario.h"

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr TerminalKind iterm = TerminalKind::iterm;

TEST(TmuxText, readsThePanesThatAreNotDead) {
  EXPECT_THAT(
      TmuxText::parsePanes("0 %0 71 /dev/pts/1\n1 %1 72 /dev/pts/2\n0 %2 \n0 %3 x /dev/pts/3\n0 %4 73\nx\n"
                           "0 %5 -1 /dev/pts/5\n0 %14 74 /dev/pts/9"),
      ElementsAre(Pair("/dev/pts/1", TmuxText::Pane{"%0", 71}),
                  Pair("/dev/pts/9", TmuxText::Pane{"%14", 74})));
}

class Tmux : public testing::Test {
 protected:
  TemporaryFolder folder;
  std::string sockets = folder.file("s");
  std::vector<std::string> reported;
  TerminalScripting::Report report = [this](const TerminalScripting::Failure& failure) {
    reported.push_back(failure.description);
  };
  std::vector<std::string> servers;

  void SetUp() override {
    std::filesystem::create_directory(sockets);
    std::filesystem::permissions(sockets, std::filesystem::perms::owner_all);
  }
  void TearDown() override {
    for (const std::string& name : servers) tmux(name, {"kill-server"});
  }

  std::string socket(const std::string& name) const { return sockets + "/" + name; }

  std::string tmux(const std::string& name, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"/usr/bin/tmux", "-u", "-f", "/dev/null", "-S", socket(name)});
    std::string output = runBoundedTool(arguments, 20s).output;
    if (output.ends_with('\n')) output.pop_back();
    return output;
  }

  /// Starts a program in a pane of a server. Returns the pane's terminal.
  std::string startPane(const std::string& server, const std::string& command) {
    if (std::ranges::find(servers, server) == servers.end()) servers.push_back(server);
    return tmux(server, {"new-session", "-d", "-P", "-F", "#{pane_tty}", "-x", "100", "-y", "30", command});
  }

  /// A pane that writes every byte it receives to a file, and prints "ready" first.
  std::string startRecorder(const std::string& file, const std::string& server = "default") {
    return startPane(server, "stty raw -echo; echo ready; exec cat > " + file);
  }

  TmuxTerminals::Settings settings() const {
    return {.program = "/usr/bin/tmux", .socketFolder = sockets, .limit = 5s};
  }

  /// Connects to a server until it takes no more.
  static std::vector<Descriptor> fillBacklog(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::strcpy(address.sun_path, path.c_str());
    std::vector<Descriptor> connected;
    for (;;) {
      Descriptor one(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
      if (::connect(one.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) break;
      connected.push_back(std::move(one));
    }
    return connected;
  }

  static std::string contentOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  /// Types into a recorder, waits for that many bytes and returns them.
  std::string recorded(TmuxTerminals& terminals, const std::string& tty, const std::string& file,
                       const std::string& bytes) {
    EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "ready"; }));
    terminals.sendRaw(tty, iterm, viewOf(bytes), report);
    eventually([&] { return contentOf(file).size() >= bytes.size(); });
    return contentOf(file);
  }
};

TEST_F(Tmux, withoutAServerStartsNothing) {
  TmuxTerminals::Settings none = settings();
  none.program = "/no/such/program";
  TmuxTerminals terminals(none);
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  std::strcpy(address.sun_path, socket("dead").c_str());
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  close(listener);
  ASSERT_TRUE(std::filesystem::exists(socket("dead")));
  std::ofstream(socket("file")) << "no socket";
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(reported, IsEmpty()) << "the program was never tried";
  EXPECT_EQ(terminals.readContents("/dev/pts/1", iterm, report), "");
}

TEST_F(Tmux, mapsThePanesOfEveryServer) {
  const std::string first = startPane("default", "sleep 1000");
  const std::string second = startPane("work", "sleep 1000");
  ASSERT_TRUE(first.starts_with("/dev/")) << first;
  const std::map<std::string, TerminalKind> expected{{first, iterm}, {second, iterm}};
  TmuxTerminals terminals(settings());
  EXPECT_EQ(terminals.mapTerminals(report), expected);
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Tmux, trustsNoFolderThatOthersMayWriteIn) {
  startPane("default", "sleep 1000");
  std::filesystem::permissions(sockets, std::filesystem::perms::all);
  EXPECT_THAT(TmuxTerminals(settings()).mapTerminals(report), IsEmpty());
}

TEST_F(Tmux, readsAPanesText) {
  const std::string tty =
      startPane("default", "printf 'one\\n\\033[31mtwo\\033[0m é 世界 🙂\\n'; exec sleep 1000");
  TmuxTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "one\ntwo é 世界 🙂"; }))
      << *terminals.readContents(tty, iterm, report);
}

TEST_F(Tmux, givesTheLastLinesOfALongHistory) {
  const std::string tty = startPane("default", "seq 1 1000; exec sleep 1000");
  TmuxTerminals terminals(settings());
  std::string text;
  EXPECT_TRUE(eventually([&] {
    text = terminals.readContents(tty, iterm, report).value_or("");
    return text.ends_with("\n1000");
  }));
  EXPECT_EQ(std::ranges::count(text, '\n'), 511);
  EXPECT_TRUE(text.starts_with("489\n"));
}

TEST_F(Tmux, deliversEveryByteUnchanged) {
  const std::string file = folder.file("bytes");
  const std::string tty = startRecorder(file);
  std::string bytes = R"(say "hi\there" $HOME `ls` 'x' #{pane_id} %1 ;)";
  bytes += "\u00e9\u4e16\U0001F642\x1b[A\x03\x04\t\n\r";
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  bytes += "trailing;";
  TmuxTerminals terminals(settings());
  EXPECT_EQ(recorded(terminals, tty, file, bytes), bytes);
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Tmux, deliversALongTextInOrder) {
  const std::string file = folder.file("bytes");
  const std::string tty = startRecorder(file);
  std::string bytes;
  for (int i = 0; bytes.size() < 20'000; ++i) bytes += std::to_string(i) + "\u00e9;";
  TmuxTerminals terminals(settings());
  EXPECT_EQ(recorded(terminals, tty, file, bytes), bytes);
}

TEST_F(Tmux, submitsATextWithReturn) {
  const std::string file = folder.file("bytes");
  const std::string tty = startRecorder(file);
  TmuxTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "ready"; }));
  terminals.sendText(tty, iterm, "a", TextSubmission::type, report);
  terminals.sendText(tty, iterm, "-b;", TextSubmission::submit, report);
  terminals.sendText(tty, iterm, "", TextSubmission::type, report);
  terminals.sendText(tty, TerminalKind::unknown, "no", TextSubmission::type, report);
  EXPECT_TRUE(eventually([&] { return contentOf(file) == "a-b;\r"; })) << contentOf(file);
}

TEST_F(Tmux, typesIntoAPaneThatShowsItsHistory) {
  const std::string file = folder.file("bytes");
  const std::string tty = startRecorder(file);
  TmuxTerminals terminals(settings());
  EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "ready"; }));
  tmux("default", {"copy-mode"});
  ASSERT_EQ(tmux("default", {"display-message", "-p", "#{pane_in_mode}"}), "1");
  terminals.sendRaw(tty, iterm, viewOf("qx"), report);
  EXPECT_TRUE(eventually([&] { return contentOf(file) == "qx"; })) << contentOf(file);
}

TEST_F(Tmux, givesAnEmptyTextForAPaneThatIsGone) {
  startPane("default", "sleep 1000");
  const std::string tty = startPane("default", "sleep 1001");
  TmuxTerminals terminals(settings());
  ASSERT_TRUE(terminals.mapTerminals(report).contains(tty));
  tmux("default", {"kill-session", "-t", "1"});
  EXPECT_EQ(terminals.readContents(tty, iterm, report), "");
  terminals.sendRaw(tty, iterm, viewOf("x"), report);
  EXPECT_FALSE(terminals.mapTerminals(report).contains(tty));
  tmux("default", {"kill-server"});
  EXPECT_EQ(terminals.readContents(tty, iterm, report), "");
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(Tmux, skipsAServerThatDoesNotAnswerForAWhile) {
  const std::string good = startPane("good", "sleep 1000");
  const std::string stuck = startPane("stuck", "sleep 1000");
  const pid_t server = std::stoi(tmux("stuck", {"display-message", "-p", "#{pid}"}));
  ASSERT_EQ(kill(server, SIGSTOP), 0);
  TmuxTerminals::Settings quick = settings();
  quick.limit = 300ms;
  quick.rest = 1h;
  TmuxTerminals terminals(quick);
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(good, iterm)));
  EXPECT_THAT(reported, ElementsAre(HasSubstr("does not answer on " + socket("stuck"))));
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(good, iterm)));
  EXPECT_EQ(reported.size(), 1U) << "not asked again";
  ASSERT_EQ(kill(server, SIGCONT), 0);
}

TEST_F(Tmux, knowsThatThePanesOfASkippedServerCannotBeReadAndHaveNotGone) {
  const std::string stuck = startPane("stuck", "sleep 1000");
  const pid_t server = std::stoi(tmux("stuck", {"display-message", "-p", "#{pid}"}));
  TmuxTerminals::Settings quick = settings();
  quick.limit = 300ms;
  quick.rest = 1h;
  TmuxTerminals terminals(quick);
  ASSERT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(stuck, iterm)));
  ASSERT_EQ(kill(server, SIGSTOP), 0);
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty()) << "its call takes too long";
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty()) << "it is skipped";
  EXPECT_EQ(terminals.readContents(stuck, iterm, report), std::nullopt);
  ASSERT_EQ(kill(server, SIGCONT), 0);
}

TEST_F(Tmux, keepsThePanesOfAServerThatCannotBeAskedNow) {
  const std::string file = folder.file("bytes");
  const std::string tty = startRecorder(file);
  const std::string broken = folder.file("broken");
  const std::string program = folder.write(
      "tmux", "#!/bin/sh\n[ -e " + broken + " ] && echo 'protocol version mismatch' >&2 && exit 1\n" +
                  "exec /usr/bin/tmux \"$@\"\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  TmuxTerminals::Settings failing = settings();
  failing.program = program;
  TmuxTerminals terminals(failing);
  EXPECT_TRUE(eventually([&] { return terminals.readContents(tty, iterm, report) == "ready"; }));
  std::ofstream(broken) << "now";
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty()) << "nothing that cannot be adopted is offered";
  EXPECT_THAT(reported, ElementsAre(HasSubstr("tmux error: protocol version mismatch")));
  EXPECT_EQ(terminals.readContents(tty, iterm, report), std::nullopt) << "it has not gone";
  std::filesystem::remove(program);
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(reported.back(), HasSubstr("tmux launch failed"));
  EXPECT_EQ(terminals.readContents(tty, iterm, report), std::nullopt);
}

TEST_F(Tmux, keepsThePanesOfAServerThatAcceptsNobody) {
  const std::string tty = startPane("default", "sleep 1000");
  const pid_t server = std::stoi(tmux("default", {"display-message", "-p", "#{pid}"}));
  TmuxTerminals::Settings quick = settings();
  quick.limit = 300ms;
  quick.rest = 0ms;
  TmuxTerminals terminals(quick);
  ASSERT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(tty, iterm)));
  ASSERT_EQ(kill(server, SIGSTOP), 0);
  const std::vector<Descriptor> waiting = fillBacklog(socket("default"));
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_EQ(terminals.readContents(tty, iterm, report), std::nullopt) << "it has not gone";
  ASSERT_EQ(kill(server, SIGCONT), 0);
  EXPECT_TRUE(eventually([&] { return terminals.mapTerminals(report).contains(tty); }));
}

TEST_F(Tmux, offersNoPaneOfAServerInAContainer) {
  if (std::system("unshare --mount true 2>/dev/null") != 0) GTEST_SKIP() << "needs the right to mount";
  const std::string ours = startPane("ours", "sleep 1000");
  const std::string start =
      "mount -t devpts -o newinstance,ptmxmode=0666 devpts /dev/pts && "
      "mount --bind /dev/pts/ptmx /dev/ptmx && tmux -f /dev/null -S '" +
      socket("theirs") + "' new-session -d 'sleep 1000'";
  ASSERT_EQ(std::system(("unshare --mount sh -c \"" + start + "\"").c_str()), 0);
  ASSERT_EQ(tmux("theirs", {"list-panes", "-a", "-F", "#{pane_tty}"}), "/dev/pts/0");
  TmuxTerminals terminals(settings());
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair(ours, iterm)));
  tmux("theirs", {"kill-server"});
}

TEST_F(Tmux, findsAdoptsReadsAndTypesIntoAScriptInAPane) {
  const std::string tty = startPane("default", "exec " + test::writeAskingAgent(folder));
  test::findAdoptAnswerAndEnd(tty, std::make_shared<TmuxTerminals>(settings()));
}

}  // namespace
}  // namespace quorl
