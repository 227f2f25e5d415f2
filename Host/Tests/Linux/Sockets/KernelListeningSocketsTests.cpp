// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sockets/KernelListeningSockets.h>

#include <pwd.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <QuorlHostCore/Scanner/ListenerText.h>
#include <QuorlHostCore/Scanner/Listeners.h>

#include "TestSockets.h"

namespace quorl::test {
namespace {

using Reach = ListeningSocket::Reach;
using Version6 = TestSocket::Version6;

std::optional<ListeningSocket> socketAt(std::uint16_t port) {
  KernelListeningSockets sockets;
  const auto list = sockets.list();
  EXPECT_TRUE(list) << list.error().description;
  if (!list) return std::nullopt;
  const auto found = std::ranges::find(*list, port, &ListeningSocket::port);
  return found == list->end() ? std::nullopt : std::optional(*found);
}

std::string ownName() {
  std::string name;
  std::getline(std::ifstream("/proc/self/comm"), name);
  return name;
}

std::string outputOfLsof() {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen("lsof -nP -iTCP -sTCP:LISTEN 2>/dev/null", "r"),
                                                   pclose);
  std::string output;
  std::array<char, 4096> buffer;
  while (pipe && !feof(pipe.get()))
    output.append(buffer.data(), fread(buffer.data(), 1, buffer.size(), pipe.get()));
  return output;
}

TEST(KernelListeningSockets, haveTheProcessAndThePort) {
  const TestSocket socket("127.0.0.1");
  const auto found = socketAt(socket.port());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->pid, getpid());
  EXPECT_EQ(found->processName, ownName());
  EXPECT_NE(found->identity, 0U);
}

TEST(KernelListeningSockets, distinguishTheLoopbackAllAddressesAndOneAddress) {
  const auto reach = [](const std::string& address, Version6 version6 = Version6::alsoVersion4) {
    const TestSocket socket(address, version6);
    const auto found = socketAt(socket.port());
    return found ? std::optional(found->reach) : std::nullopt;
  };
  EXPECT_EQ(reach("127.0.0.1"), Reach::loopback);
  EXPECT_EQ(reach("::1"), Reach::loopback);
  EXPECT_EQ(reach("::ffff:127.0.0.1"), Reach::loopback);
  EXPECT_EQ(reach("0.0.0.0"), Reach::everywhere);
  EXPECT_EQ(reach("::"), Reach::everywhere);
  EXPECT_EQ(reach("::", Version6::only), Reach::everywhere);
  EXPECT_EQ(reach("::ffff:0.0.0.0"), Reach::everywhere);
  EXPECT_EQ(reach("127.0.0.2"), Reach::oneAddress);
}

TEST(KernelListeningSockets, agreeWithLsof) {
  const TestSocket sockets[] = {TestSocket("127.0.0.1"),
                                TestSocket("0.0.0.0"),
                                TestSocket("127.0.0.2"),
                                TestSocket("::1"),
                                TestSocket("::"),
                                TestSocket("::", Version6::only),
                                TestSocket("::ffff:127.0.0.1"),
                                TestSocket("::ffff:0.0.0.0")};
  const auto ours = [&](std::vector<Listener> listeners) {
    std::erase_if(listeners, [&](const Listener& listener) {
      return std::ranges::find(sockets, listener.port, &TestSocket::port) == std::end(sockets);
    });
    for (Listener& listener : listeners) {
      listener.identity = 0;
      listener.processName.resize(std::min<std::size_t>(listener.processName.size(), 9));  // as lsof cuts it
    }
    return listeners;
  };
  const auto list = KernelListeningSockets().list();
  ASSERT_TRUE(list);
  const auto listeners = ours(listenersByPort(*list));
  EXPECT_EQ(listeners.size(), 7U);
  EXPECT_EQ(listeners, ours(listenersByPort(listeningSocketsIn(outputOfLsof()))));
}

TEST(KernelListeningSockets, doNotHaveASocketThatIsClosedOrDoesNotListen) {
  TestSocket closed("127.0.0.1");
  closed.close();
  EXPECT_FALSE(socketAt(closed.port()));

  const Descriptor bound(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(bound.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(getsockname(bound.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  EXPECT_FALSE(socketAt(ntohs(address.sin_port)));
}

TEST(KernelListeningSockets, giveALaterSocketOnThePortAnotherIdentity) {
  TestSocket first("127.0.0.1");
  const auto found = socketAt(first.port());
  ASSERT_TRUE(found);
  EXPECT_EQ(socketAt(first.port())->identity, found->identity);
  const int duplicate = dup(first.descriptor());
  first.close();
  EXPECT_EQ(socketAt(first.port())->identity, found->identity);
  ::close(duplicate);
  TestSocket second("127.0.0.1");
  ASSERT_TRUE(socketAt(second.port()));
  EXPECT_NE(socketAt(second.port())->identity, found->identity);
}

TEST(KernelListeningSockets, doNotHaveThoseOfAnotherNetworkNamespace) {
  std::unique_ptr<TestSocket> hidden;
  std::optional<ListeningSocket> seenInside;
  std::thread([&] {
    if (unshare(CLONE_NEWNET) != 0) return;
    hidden = std::make_unique<TestSocket>("0.0.0.0");
    seenInside = socketAt(hidden->port());
  }).join();
  if (!hidden) GTEST_SKIP() << "needs the right to create a network namespace";
  EXPECT_TRUE(seenInside);
  const auto found = socketAt(hidden->port());
  EXPECT_FALSE(found && found->identity == seenInside->identity);
}

// Only root can become another user, whose processes are then readable no longer.
TEST(KernelListeningSockets, nameTheUserOfASocketWhoseProcessCannotBeRead) {
  if (getuid() != 0) GTEST_SKIP() << "needs root";
  const passwd* nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  const TestSocket socket("127.0.0.1");
  const pid_t child = fork();
  if (child == 0) {
    if (setgid(nobody->pw_gid) != 0 || setuid(nobody->pw_uid) != 0) _exit(2);
    // The child's own copy of the socket would be readable.
    ::close(socket.descriptor());
    const auto found = socketAt(socket.port());
    _exit(found && found->pid == 0 && found->processName == "root" && found->reach == Reach::loopback ? 0
                                                                                                      : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace quorl::test
