// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/FocusProbe.h>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlHostLinux/X11/Input/XTestPoster.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "TestClient.h"

namespace quorl::test {
namespace {

class FocusProbeTest : public testing::Test {
 protected:
  void SetUp() override {
    auto opened = X11Connection::open([name = server.display()] { return name; });
    ASSERT_TRUE(opened);
    connection = std::move(*opened);
    probe = std::make_unique<FocusProbe>(*connection);
    window = client.makeWindow({0, 0, 100, 100});
    setProperty(client.root(), "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, window);
  }

  void setProperty(std::uint32_t on, const char* name, std::uint32_t type, std::uint32_t value) {
    xcb_change_property(client.xcb(), XCB_PROP_MODE_REPLACE, on, connection->atom(name), type, 32, 1, &value);
    client.sync();
  }
  void answerPings() { setProperty(window, "WM_PROTOCOLS", XCB_ATOM_ATOM, connection->atom("_NET_WM_PING")); }
  /// The next message that the window gets.
  std::optional<xcb_client_message_event_t> nextMessage() {
    std::optional<xcb_client_message_event_t> found;
    eventually([&] {
      while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(client.xcb())}) {
        if ((event->response_type & 0x7F) != XCB_CLIENT_MESSAGE) continue;
        found = *reinterpret_cast<const xcb_client_message_event_t*>(event.get());
      }
      return found.has_value();
    });
    return found;
  }
  void answer(xcb_client_message_event_t message) {
    message.window = client.root();
    xcb_send_event(client.xcb(), 0, client.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    client.sync();
  }
  void takeEvents() {
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection->xcb())})
      probe->take(event.get());
  }

  XServer server{{.width = 320, .height = 240}};
  TestClient client{server.display()};
  std::unique_ptr<X11Connection> connection;
  std::unique_ptr<FocusProbe> probe;
  std::uint32_t window = 0;
};

TEST_F(FocusProbeTest, waitsUntilTheActiveProgramAnswers) {
  answerPings();
  EXPECT_TRUE(probe->isAnswered());
  probe->ask();
  const auto ping = nextMessage();
  ASSERT_TRUE(ping);
  EXPECT_EQ(ping->data.data32[2], window);
  takeEvents();
  EXPECT_FALSE(probe->isAnswered());
  auto older = *ping;
  --older.data.data32[1];
  answer(older);
  answer(*ping);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(eventually([&] {
    takeEvents();
    return probe->isAnswered();
  }));
  EXPECT_LT(std::chrono::steady_clock::now() - start, FocusProbe::patience);
}

TEST_F(FocusProbeTest, acceptsOnlyTheAnswerToItsLastPing) {
  answerPings();
  probe->ask();
  const auto first = nextMessage();
  ASSERT_TRUE(first);
  probe->ask();
  ASSERT_TRUE(nextMessage());
  answer(*first);
  // After a reply of the server, the ping's answer has reached the other connection.
  XcbReply<xcb_get_input_focus_reply_t>(
      xcb_get_input_focus_reply(connection->xcb(), xcb_get_input_focus(connection->xcb()), nullptr));
  takeEvents();
  EXPECT_FALSE(probe->isAnswered());
}

TEST_F(FocusProbeTest, doesNotWaitForAProgramThatAnswersNoPings) {
  probe->ask();
  EXPECT_TRUE(probe->isAnswered());
  answerPings();
  client.destroy(window);
  probe->ask();
  EXPECT_TRUE(probe->isAnswered());
}

TEST_F(FocusProbeTest, givesUpOnAProgramThatHangs) {
  answerPings();
  probe->ask();
  EXPECT_FALSE(probe->isAnswered());
  EXPECT_TRUE(eventually([&] { return probe->isAnswered(); }));
}

TEST_F(FocusProbeTest, keepsTheSymbolsOfKeysThatTheProgramHasNotRead) {
  answerPings();
  XTestPoster poster([name = server.display()] { return name; });
  std::u16string text;
  for (char16_t c = 0x4E00; c < 0x4E00 + 300; ++c) text.push_back(c);
  std::size_t start = 0;
  const auto typesAPiece = [&](std::chrono::milliseconds limit) {
    constexpr std::size_t length = 20;
    if (start < text.size())
      poster.post(KeyboardEvent{.keyCode = 0, .down = true, .unicode = text.substr(start, length)});
    start += length;
    return eventually([&] { return poster.finishText(text.substr(start)) == Duration::zero(); }, limit);
  };
  constexpr std::chrono::milliseconds soon{600};
  // The map has room for 128 symbols here.
  while (start < 120) ASSERT_TRUE(typesAPiece(soon)) << start;
  EXPECT_FALSE(typesAPiece(soon)) << "the time for looking up has passed, the answer is missing";
  const auto ping = nextMessage();
  ASSERT_TRUE(ping);
  answer(*ping);
  EXPECT_TRUE(eventually([&] { return poster.finishText({}) == Duration::zero(); }, soon));
}

}  // namespace
}  // namespace quorl::test
