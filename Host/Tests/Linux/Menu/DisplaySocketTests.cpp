// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstring>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <QuorlHostLinux/Menu/DisplaySocket.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

Descriptor listenAt(const std::string& path) {
  Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  EXPECT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::listen(socket.get(), 5), 0);
  return socket;
}

bool isReadable(int descriptor) {
  pollfd entry{descriptor, POLLIN, 0};
  return ::poll(&entry, 1, 0) == 1;
}

TEST(DisplayName, hasANumberOnThisMachineOnly) {
  EXPECT_EQ(localDisplayNumber(":0"), 0U);
  EXPECT_EQ(localDisplayNumber(":12.1"), 12U);
  EXPECT_EQ(localDisplayNumber("unix:3"), 3U);
  for (const char* other : {"", ":", ":x", ":1x", "server:0", "10.0.0.1:0.0", "12"})
    EXPECT_EQ(localDisplayNumber(other), std::nullopt) << other;
}

TEST(DisplaySocket, acceptsOnlyWhileAServerListens) {
  TemporaryFolder folder;
  const DisplaySocket display(":5", folder.path());
  EXPECT_FALSE(display.accepts());
  Descriptor server = listenAt(folder.file("X5"));
  EXPECT_TRUE(display.accepts());
  server.reset();
  EXPECT_FALSE(display.accepts()) << "the socket of a server that was killed remains";
}

TEST(DisplaySocket, assumesThatADisplayOfAnotherMachineAccepts) {
  const DisplaySocket display("server:0");
  EXPECT_TRUE(display.accepts());
  EXPECT_EQ(display.descriptor(), -1);
}

TEST(DisplaySocket, noticesItsServerAndNoOther) {
  TemporaryFolder folder;
  DisplaySocket display(":5", folder.path());
  EXPECT_FALSE(isReadable(display.descriptor()));
  const Descriptor other = listenAt(folder.file("X6"));
  ASSERT_TRUE(isReadable(display.descriptor()));
  EXPECT_FALSE(display.readEvents());
  const Descriptor server = listenAt(folder.file("X5"));
  EXPECT_TRUE(display.readEvents());
  EXPECT_FALSE(isReadable(display.descriptor()));
}

TEST(DisplaySocket, noticesTheFirstServerOfTheMachine) {
  TemporaryFolder folder;
  const auto sockets = folder.path() / "sockets";
  DisplaySocket display(":5", sockets);
  std::filesystem::create_directory(sockets);
  EXPECT_TRUE(display.readEvents()) << "its folder";
  const Descriptor server = listenAt(sockets / "X5");
  EXPECT_TRUE(display.readEvents());
  std::filesystem::remove_all(sockets);
  display.readEvents();
  std::filesystem::create_directory(sockets);
  EXPECT_TRUE(display.readEvents()) << "a folder that was removed";
}

}  // namespace
}  // namespace quorl::test
