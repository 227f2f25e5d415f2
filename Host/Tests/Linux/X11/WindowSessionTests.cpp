// SPDX-License-Identifier: GPL-3.0-or-later
// A server that dies, comes back, or does not answer.
#include <atomic>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Displays/X11DisplayCatalog.h>
#include <QuorlHostLinux/X11/Windows/X11AccessibleWindow.h>

#include "TestWindows.h"

namespace quorl::test {
namespace {

TEST(WindowSession, answersNothingWithoutADisplay) {
  const auto session = std::make_shared<WindowSession>([] { return std::nullopt; });
  X11WindowControl control(session);
  EXPECT_FALSE(control.windowList(WindowScope::all));
  EXPECT_TRUE(control.screens().empty());
  EXPECT_EQ(control.windowBounds(1), std::nullopt);
  EXPECT_EQ(control.frontmostApplication(), std::nullopt);
  EXPECT_EQ(control.mainWindow(1), nullptr);
  control.activate(1, 1);
  X11AccessibleWindow window(session, 1);
  EXPECT_EQ(window.setSize({100, 100}), noAnswer);
  EXPECT_EQ(window.setPosition({1, 1}), noAnswer);
  EXPECT_EQ(window.setMinimized(true), noAnswer);
  EXPECT_EQ(window.setMinimized(false), noAnswer);
}

TEST(WindowSession, usesTheServerThatComesBack) {
  std::optional<XServer> server(std::in_place);
  std::string display = server->display();
  const auto session = std::make_shared<WindowSession>([&display] { return std::optional(display); });
  X11WindowControl control(session);
  EXPECT_EQ(control.screens().size(), 1U);
  server->kill();
  EXPECT_TRUE(eventually([&] { return control.screens().empty(); }, patience));
  server.reset();
  server.emplace(XServer::Options{.width = 640, .height = 480});
  display = server->display();
  EXPECT_TRUE(eventually(
      [&] {
        const auto screens = control.screens();
        return screens.size() == 1 && screens[0].frame.size == PointSize{640, 480};
      },
      patience));
}

TEST(WindowSession, returnsWhenTheServerDiesInTheMiddleOfACall) {
  for (int round = 0; round < 10; ++round) {
    std::optional<XServer> server(std::in_place);
    const auto session =
        std::make_shared<WindowSession>([display = server->display()] { return std::optional(display); });
    X11WindowControl control(session);
    TestClient client(server->display());
    const auto window = client.makeWindow({10, 10, 100, 80}, TestClient::Managed::yes, "victim");
    std::atomic<int> calls{0};
    std::atomic<bool> isOver{false};
    std::thread caller([&] {
      X11AccessibleWindow element(session, window);
      while (!isOver) {
        control.windowList(WindowScope::all);
        element.setSize({100.0 + calls % 50, 100});
        element.setMinimized(false);
        control.screens();
        ++calls;
      }
    });
    EXPECT_TRUE(eventually([&] { return calls > round; }, patience));
    server->kill();
    const int atDeath = calls;
    EXPECT_TRUE(eventually([&] { return calls > atDeath + 3; }, patience));
    isOver = true;
    caller.join();
    EXPECT_FALSE(control.windowList(WindowScope::all));
  }
}

TEST(WindowSession, givesUpWhenTheServerDoesNotAnswerAndContinuesWhenItDoes) {
  const XServer server;
  TestClient client(server.display());
  const auto window = client.makeWindow({10, 10, 100, 80}, TestClient::Managed::yes, "late");
  const auto session =
      std::make_shared<WindowSession>([display = server.display()] { return std::optional(display); });
  X11WindowControl control(session);
  ASSERT_TRUE(control.windowBounds(window));
  server.pause();
  EXPECT_FALSE(control.windowBounds(window)) << "after the limit";
  X11AccessibleWindow element(session, window);
  for (int call = 0; call < 100; ++call) {
    EXPECT_EQ(element.setSize({300, 300}), noAnswer);
    EXPECT_FALSE(control.windowList(WindowScope::all));
  }
  server.resume();
  EXPECT_TRUE(eventually([&] { return control.windowBounds(window).has_value(); }, patience));
  EXPECT_EQ(control.windowBounds(window)->size, (PointSize{100, 80}))
      << "what was given up is not done later";
}

TEST(WindowSession, neverRunsAQuestionThatWasGivenUp) {
  const XServer server;
  WindowSession session([display = server.display()] { return std::optional(display); });
  std::atomic<int> runs{0};
  const auto count = [&runs](X11Connection& connection) {
    ++runs;
    return connection.rootSize();
  };
  ASSERT_TRUE(session.ask(count));
  server.pause();
  std::thread first([&] { EXPECT_FALSE(session.ask(count)); });
  ASSERT_TRUE(eventually([&] { return runs == 2; }, patience)) << "it waits for the server";
  EXPECT_FALSE(session.ask(count)) << "it waits for the first";
  first.join();
  server.resume();
  EXPECT_TRUE(eventually([&] { return session.ask(count).has_value(); }, patience));
  EXPECT_EQ(runs, 3);
}

TEST(WindowSession, endsWhileTheServerDoesNotAnswer) {
  const XServer server;
  const auto name = [display = server.display()] { return std::optional(display); };
  auto session = std::make_shared<WindowSession>(name);
  auto catalog = std::make_unique<X11DisplayCatalog>(name);
  EXPECT_EQ(X11WindowControl(session).screens().size(), 1U);
  EXPECT_TRUE(eventually([&] { return catalog->activeDisplays(16).size() == 1; }, patience));
  server.pause();
  EXPECT_TRUE(X11WindowControl(session).screens().empty());
  EXPECT_EQ(catalog->activeDisplays(16).size(), 1U) << "the facts are kept";
  session.reset();
  catalog.reset();
  server.resume();
}

}  // namespace
}  // namespace quorl::test
