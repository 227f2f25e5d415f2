// SPDX-License-Identifier: GPL-3.0-or-later
// `quorl_client watch`, the real viewer on a display of its own, and the real host on another one.
#include <signal.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>

#include <Integration/HostProcess.h>
#include <KeyListener.h>
#include <Posix/LoopbackPeer.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServerFixture.h>
#include <TestClient.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include "../../Agents/CuttableRelay.h"
#include "../../Session/SSHServer.h"

namespace quorl::viewer {
namespace {

using client::test::SSHServer;
using test::ChildProgram;
using test::eventually;
using test::XServer;
namespace fs = std::filesystem;

constexpr auto patience = std::chrono::seconds(60);
constexpr PixelRect screen{0, 0, 640, 480};
constexpr std::uint32_t orange = 0xE08020;
constexpr std::uint32_t blue = 0x2040C0;
constexpr auto pin = "314159";
constexpr auto passphrase = "secret words";

class WatchHost : public testing::Test {
 protected:
  void SetUp() override {
    hostScreen_.fillRoot(screen, orange);
    startHost();
    fs::create_directories(folder_.path() / "run");
    fs::permissions(folder_.path() / "run", fs::perms::owner_all);
  }
  void startHost() {
    host_ = std::make_unique<test::HostProcess>(
        test::HostProcess::Settings{.port = port_,
                                    .home = folder_.path(),
                                    .options = {"--pin", pin},
                                    .environment = {"DISPLAY=" + hostDesktop_.display()}});
    ASSERT_TRUE(host_->listens(patience)) << host_->program().output();
  }
  std::vector<std::string> environment() const {
    return {"DISPLAY=" + viewerDesktop_.display(),
            "HOME=" + folder_.path().string(),
            "PATH=" + std::string(std::getenv("PATH")),
            "XDG_RUNTIME_DIR=" + (folder_.path() / "run").string(),
            "XDG_CONFIG_HOME=" + (folder_.path() / "config").string(),
            "PULSE_SERVER=none",
            "WAYLAND_DISPLAY=",
            "QT_QPA_PLATFORM",
            "SSH_ASKPASS",
            "XAUTHORITY"};
  }
  std::unique_ptr<ChildProgram> start(std::vector<std::string> words) const {
    words.insert(words.begin(), QUORL_CLIENT_PROGRAM);
    return std::make_unique<ChildProgram>(words, environment());
  }
  // Without a terminal, as from a menu of the desktop; then an address is typed.
  std::unique_ptr<ChildProgram> startAndType(const std::string& address) const {
    auto viewer = std::make_unique<ChildProgram>(
        std::vector<std::string>{"setsid", QUORL_VIEWER_PROGRAM, "--full-screen"}, environment());
    answer("Quorl Viewer", address, [&] { return isOnScreen("Question of ssh"); });
    return viewer;
  }
  std::string plainAddress() const { return fmt::format("127.0.0.1:{}", port_); }
  void pair() const {
    const auto pairing = start({"pair", plainAddress(), "--pin", pin});
    ASSERT_EQ(pairing->waitForExit(patience), 0) << pairing->output();
  }
  bool isShown(std::uint32_t color) {
    const auto pixel = viewerScreen_.read({640, 480, 1, 1}).at(0);
    const auto distance = [&](int shift) {
      return std::abs(static_cast<int>(pixel >> shift & 0xFF) - static_cast<int>(color >> shift & 0xFF));
    };
    return distance(16) <= 6 && distance(8) <= 6 && distance(0) <= 6;
  }
  bool showsHost(std::uint32_t color) {
    return eventually([&] { return isShown(color); }, patience);
  }
  bool isActive(const std::string& title) const {
    return eventually(
        [&] {
          return viewerDesktop_.run({"xdotool", "getactivewindow", "getwindowname"}).starts_with(title);
        },
        patience);
  }
  bool isOnScreen(const std::string& title) const {
    return viewerDesktop_.run({"xwininfo", "-root", "-tree"}).contains('"' + title + '"');
  }
  void press(const std::string& key) const { viewerDesktop_.run({"xdotool", "key", key}); }
  // Keys that come before a field has the focus are lost, and a loaded display repeats them, so the text is
  // typed until it has worked.
  void answer(const std::string& title, const std::string& text,
              const std::function<bool()>& hasWorked) const {
    ASSERT_TRUE(isActive(title));
    EXPECT_TRUE(eventually(
        [&] {
          if (isOnScreen(title)) {
            // The list of hosts has the address in a field of its own.
            press("alt+a");
            press("ctrl+a");
            viewerDesktop_.run({"xdotool", "type", "--delay", "20", text});
            press("Return");
          }
          return eventually(hasWorked, std::chrono::seconds(5));
        },
        patience));
  }
  bool hostHears(std::uint32_t keysym) {
    return listener_.listenUntil([keysym](const auto& inputs) {
      return !inputs.empty() && inputs.back().kind == test::KeyListener::Input::Kind::keyUp &&
             inputs.back().keysym == keysym;
    });
  }

  test::TemporaryFolder folder_;
  const std::uint16_t port_ = test::freePort();
  XServer hostDesktop_{{.width = screen.width, .height = screen.height}};
  XServer viewerDesktop_{{.width = 1280, .height = 960, .windowManager = XServer::WindowManager::openbox}};
  test::TestClient hostScreen_{hostDesktop_.display()};
  test::TestClient viewerScreen_{viewerDesktop_.display()};
  test::KeyListener listener_{hostDesktop_.display()};
  std::unique_ptr<test::HostProcess> host_;
};

TEST_F(WatchHost, showsItsScreenAndSendsItKeys) {
  pair();
  const auto viewer = start({"watch", "--full-screen"});
  ASSERT_TRUE(showsHost(orange)) << viewer->output();
  hostScreen_.fillRoot(screen, blue);
  EXPECT_TRUE(showsHost(blue));
  press("q");
  EXPECT_TRUE(hostHears(XKB_KEY_q));
  EXPECT_EQ(listener_.inputs.size(), 2U);
}

TEST_F(WatchHost, showsItAgainAfterARestart) {
  pair();
  const auto viewer = start({"watch", "--full-screen"});
  ASSERT_TRUE(showsHost(orange)) << viewer->output();
  host_.reset();
  startHost();
  hostScreen_.fillRoot(screen, blue);
  EXPECT_TRUE(showsHost(blue)) << viewer->output();
  press("q");
  EXPECT_TRUE(hostHears(XKB_KEY_q));
}

// A program that takes over what is copied, as a desktop's does, and PRIMARY as well.
class ManagedClipboards : public WatchHost, public testing::WithParamInterface<std::string> {
 protected:
  static bool isInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
  }
  static void copy(const XServer& desktop, const std::string& text) {
    desktop.run({"sh", "-c", "printf %s \"$0\" | xclip -i -selection clipboard >/dev/null 2>&1", text});
  }
  static bool has(const XServer& desktop, const std::string& text) {
    return eventually([&] { return desktop.run({"xclip", "-o", "-selection", "clipboard"}) == text; },
                      patience);
  }
  // On the relay's thread.
  void count(int connection, bool isFromHost, ByteView bytes) {
    const auto frames = deframers_[{connection, isFromHost}].feed(bytes);
    if (!frames) return;
    for (const auto& frame : *frames)
      if (frame.type == FrameType::control && ControlCoder::judge(frame.payload) == message::Clipboard::key)
        ++(isFromHost ? fromHost_ : toHost_);
  }

  std::map<std::pair<int, bool>, Deframer> deframers_;
  std::atomic<int> fromHost_ = 0;
  std::atomic<int> toHost_ = 0;
  client::test::CuttableRelay relay_{port_, [this](int connection, bool isFromHost, ByteView bytes) {
                                       count(connection, isFromHost, bytes);
                                     }};
};

TEST_P(ManagedClipboards, aCopyIsOneMessageInEachDirection) {
  const auto manager = GetParam();
  if (!isInstalled(manager)) GTEST_SKIP() << "needs " << manager;
  const auto home = "HOME=" + folder_.path().string();
  const auto here = viewerDesktop_.start({"env", home, manager});
  const auto there = hostDesktop_.start({"env", home, manager});
  const auto address = fmt::format("127.0.0.1:{}", relay_.port());
  const auto pairing = start({"pair", address, "--pin", pin});
  ASSERT_EQ(pairing->waitForExit(patience), 0) << pairing->output();
  const auto viewer = start({"watch", "--full-screen"});
  ASSERT_TRUE(showsHost(orange)) << viewer->output();
  constexpr int rounds = 3;
  for (int round = 1; round <= rounds; ++round) {
    copy(viewerDesktop_, fmt::format("from here {}", round));
    ASSERT_TRUE(has(hostDesktop_, fmt::format("from here {}", round)));
  }
  // Longer than a copy at the host may have crossed one from here, for which the viewer asks once more.
  EXPECT_FALSE(eventually([&] { return toHost_ > rounds || fromHost_ > 0; }, std::chrono::seconds(2)));
  for (int round = 1; round <= rounds; ++round) {
    copy(hostDesktop_, fmt::format("from there {}", round));
    ASSERT_TRUE(has(viewerDesktop_, fmt::format("from there {}", round)));
  }
  EXPECT_FALSE(eventually([&] { return toHost_ > rounds || fromHost_ > rounds; }, std::chrono::seconds(2)));
  EXPECT_EQ(toHost_, rounds);
  EXPECT_EQ(fromHost_, rounds);
  for (const auto* program : {&here, &there})
    EXPECT_EQ(::waitpid(program->pid(), nullptr, WNOHANG), 0) << "the manager runs to the end";
}

INSTANTIATE_TEST_SUITE_P(Managers, ManagedClipboards,
                         testing::Values("autocutsel", "parcellite", "xfce4-clipman"),
                         [](const auto& manager) {
                           return manager.param.substr(manager.param.find('-') + 1);
                         });

TEST_F(WatchHost, throughSSHItAsksForThePassphraseAndThePINInWindows) {
  if (!SSHServer::isInstalled()) GTEST_SKIP() << "needs the package openssh-server";
  SSHServer server(folder_.path(), passphrase);
  const auto viewer = startAndType(server.addressFor(port_));
  ASSERT_TRUE(isActive("Question of ssh")) << viewer->output();
  EXPECT_EQ(server.tunnels().size(), 1U);
  answer("Question of ssh", passphrase, [&] { return server.output().contains("Accepted publickey"); });
  answer("Pair with a host", pin, [&] { return !isOnScreen("Pair with a host"); });
  // The session is another login.
  answer("Question of ssh", passphrase, [&] { return isShown(orange); });
  EXPECT_TRUE(showsHost(orange)) << viewer->output();
  press("q");
  EXPECT_TRUE(hostHears(XKB_KEY_q));
}

TEST_F(WatchHost, throughSSHItIsBackAfterTheTunnelBreaks) {
  if (!SSHServer::isInstalled()) GTEST_SKIP() << "needs the package openssh-server";
  const SSHServer server(folder_.path());
  const auto address = server.addressFor(port_);
  const auto pairing = start({"pair", address, "--pin", pin});
  ASSERT_EQ(pairing->waitForExit(patience), 0) << pairing->output();
  const auto viewer = start({"watch", "--host", address, "--full-screen"});
  ASSERT_TRUE(showsHost(orange)) << viewer->output();
  const auto tunnels = server.tunnels();
  ASSERT_EQ(tunnels.size(), 1U);
  ASSERT_EQ(::kill(tunnels[0], SIGKILL), 0);
  hostScreen_.fillRoot(screen, blue);
  EXPECT_TRUE(showsHost(blue)) << viewer->output();
  EXPECT_EQ(server.tunnels().size(), 1U);
  press("q");
  EXPECT_TRUE(hostHears(XKB_KEY_q));
}

TEST_F(WatchHost, aQuestionOfSSHGoesWithTheDialogThatWaitsForIt) {
  if (!SSHServer::isInstalled()) GTEST_SKIP() << "needs the package openssh-server";
  const SSHServer server(folder_.path(), passphrase);
  const auto viewer = startAndType(server.addressFor(port_));
  ASSERT_TRUE(isActive("Question of ssh")) << viewer->output();
  viewer->signal(SIGTERM);
  EXPECT_EQ(viewer->waitForExit(patience), 0) << viewer->output();
  EXPECT_TRUE(
      eventually([&] { return server.tunnels().empty() && !isOnScreen("Question of ssh"); }, patience));
}

}  // namespace
}  // namespace quorl::viewer
