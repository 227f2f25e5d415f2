// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/ListenerText.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Reach = ListeningSocket::Reach;

const std::string header = "COMMAND     PID USER   FD   TYPE             DEVICE SIZE/OFF NODE NAME\n";

std::vector<ListeningSocket> socketsOf(const std::string& lines) {
  return listeningSocketsIn(header + lines);
}
ListeningSocket socket(std::string name, std::int32_t pid, Reach reach, std::uint16_t port) {
  return {.port = port, .processName = std::move(name), .pid = pid, .reach = reach};
}

TEST(ListenerText, hasASocketALine) {
  EXPECT_THAT(
      socketsOf("node      4711 anna   23u  IPv4 0x1234567890abcdef      0t0  TCP 127.0.0.1:5173 (LISTEN)\n"
                "python3.1  812 anna    4u  IPv6 0x1234567890abcdee      0t0  TCP *:8000 (LISTEN)\n"),
      ElementsAre(socket("node", 4711, Reach::loopback, 5173),
                  socket("python3.1", 812, Reach::everywhere, 8000)));
}

TEST(ListenerText, distinguishesTheLoopbackAndAllAddressesFromOneAddress) {
  const auto reachOf = [](const std::string& address) {
    return socketsOf("a 1 u 3u IPv4 0x1 0t0 TCP " + address + ":80 (LISTEN)\n").at(0).reach;
  };
  for (const char* host : {"127.0.0.1", "[::1]", "localhost"})
    EXPECT_EQ(reachOf(host), Reach::loopback) << host;
  for (const char* host : {"*", "[::]", "0.0.0.0"}) EXPECT_EQ(reachOf(host), Reach::everywhere) << host;
  for (const char* host : {"192.168.1.5", "127.0.0.2", "[fe80::1]", "[::ffff:127.0.0.1]", ""})
    EXPECT_EQ(reachOf(host), Reach::oneAddress) << host;
}

TEST(ListenerText, skipsLinesThatDoNotFit) {
  EXPECT_THAT(socketsOf("a 1 u 3u IPv4 0x1 0t0 TCP\n"), IsEmpty()) << "eight columns";
  for (const char* address : {"*", "*:", "*:http", "*:65536", "*:-1", "*:80x", "*:0x50", ":"})
    EXPECT_THAT(socketsOf("a 1 u 3u IPv4 0x1 0t0 TCP " + std::string(address) + "\n"), IsEmpty()) << address;
  EXPECT_THAT(socketsOf("\n\n   \nrubbish\na 1 u 3u IPv4 0x1 0t0 TCP *:80"),
              ElementsAre(socket("a", 1, Reach::everywhere, 80)));
}

TEST(ListenerText, readsANameWithBlanksByPosition) {
  EXPECT_THAT(socketsOf("Web Server 12 anna 3u IPv4 0x1 0t0 TCP *:80 (LISTEN)\n"), IsEmpty())
      << "the ninth column is \"TCP\", which has no port";
}

TEST(ListenerText, countsAPIDThatIsNoNumberAsZero) {
  EXPECT_THAT(socketsOf("a x1 u 3u IPv4 0x1 0t0 TCP *:80\na 99999999999 u 3u IPv4 0x1 0t0 TCP *:81\n"),
              ElementsAre(socket("a", 0, Reach::everywhere, 80), socket("a", 0, Reach::everywhere, 81)));
}

TEST(ListenerText, isEmptyWithoutALineAfterTheHeader) {
  EXPECT_THAT(listeningSocketsIn(""), IsEmpty());
  EXPECT_THAT(listeningSocketsIn("\n\n"), IsEmpty());
  EXPECT_THAT(listeningSocketsIn("a 1 u 3u IPv4 0x1 0t0 TCP *:80\n"), IsEmpty())
      << "the first line is the header";
}

TEST(ListenerText, isEmptyIfItIsNotUTF8) {
  EXPECT_THAT(socketsOf("a\xFF 1 u 3u IPv4 0x1 0t0 TCP *:80\n"), IsEmpty());
  EXPECT_EQ(socketsOf("é 1 u 3u IPv4 0x1 0t0 TCP *:80\n").at(0).processName, "é");
}

}  // namespace
}  // namespace quorl::test
