// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/LocalExchange.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <QuorlUnix/Descriptor.h>
#include <Support/TemporaryFolder.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::TemporaryFolder;

constexpr ExchangeBounds roomy{.time = 10s, .answerSize = 1 << 20};

class Listener {
 public:
  explicit Listener(const std::string& name, int backlog = 5)
      : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::memcpy(address.sun_path, name.data(), name.size());
    std::size_t size = offsetof(sockaddr_un, sun_path) + name.size();
    if (name.front() == '@') {
      address.sun_path[0] = '\0';
    } else {
      ++size;
    }
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size)),
              0);
    EXPECT_EQ(listen(socket_.get(), backlog), 0);
  }

  /// Reads one request completely and answers it. Joined at the end.
  void answerOnce(std::function<std::string(std::string)> answer) {
    thread_ = std::jthread([this, answer = std::move(answer)] {
      const Descriptor peer(accept(socket_.get(), nullptr, nullptr));
      std::string request;
      char buffer[65'536];
      for (ssize_t count = 1; (count = read(peer.get(), buffer, sizeof(buffer))) > 0;)
        request.append(buffer, static_cast<std::size_t>(count));
      const std::string text = answer(std::move(request));
      std::string_view rest = text;
      while (!rest.empty()) {
        const ssize_t count = send(peer.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count <= 0) return;
        rest.remove_prefix(static_cast<std::size_t>(count));
      }
    });
  }

 private:
  Descriptor socket_;
  std::jthread thread_;
};

TEST(LocalExchange, sendsARequestAndCollectsTheAnswer) {
  const TemporaryFolder folder;
  Listener listener(folder.file("s"));
  const std::string request(1'000'000, 'r');
  listener.answerOnce(
      [](std::string text) { return std::to_string(text.size()) + std::string(500'000, 'a'); });
  const ExchangeResult result = exchangeLocally(folder.file("s"), request, getpid(), roomy);
  EXPECT_EQ(result.end, ExchangeEnd::done);
  EXPECT_EQ(result.server, getpid());
  EXPECT_EQ(result.answer, "1000000" + std::string(500'000, 'a'));
}

TEST(LocalExchange, reachesAnAbstractName) {
  const std::string name = "@test-exchange-" + std::to_string(getpid());
  Listener listener(name);
  listener.answerOnce([](std::string text) { return "<" + text + ">"; });
  EXPECT_EQ(exchangeLocally(name, "x", 0, roomy).answer, "<x>");
}

TEST(LocalExchange, reportsThatNothingListens) {
  const TemporaryFolder folder;
  {
    const Listener left(folder.file("dead"));
  }
  for (const std::string& name : {folder.file("dead"), folder.file("none"), std::string(),
                                  std::string("@none-x"), std::string(200, 'x')})
    EXPECT_EQ(exchangeLocally(name, "x", 0, roomy).end, ExchangeEnd::absent) << name;
}

TEST(LocalExchange, sendsNothingToAProcessOtherThanTheExpectedOne) {
  const TemporaryFolder folder;
  std::string heard = "nothing yet";
  {
    Listener listener(folder.file("s"));
    listener.answerOnce([&](std::string text) { return heard = std::move(text); });
    EXPECT_EQ(exchangeLocally(folder.file("s"), "x", getpid() + 1, roomy).end, ExchangeEnd::absent);
  }
  EXPECT_EQ(heard, "") << "joined";
}

TEST(LocalExchange, sendsNothingToProcessesOfOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  const std::string name = "@test-stranger-" + std::to_string(getpid());
  std::array<int, 2> ready{};
  ASSERT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
  const Descriptor listens(ready[0]);
  Descriptor tell(ready[1]);
  const pid_t stranger = fork();
  if (stranger == 0) {
    // The user "nobody".
    if (setresuid(65'534, 65'534, 65'534) != 0) _exit(1);
    const Listener listener(name);
    if (write(tell.get(), "x", 1) != 1) _exit(1);
    pause();
    _exit(0);
  }
  tell.reset();
  char byte = 0;
  EXPECT_EQ(read(listens.get(), &byte, 1), 1);
  const ExchangeResult result = exchangeLocally(name, "x", 0, roomy);
  EXPECT_EQ(result.end, ExchangeEnd::absent);
  EXPECT_EQ(result.server, stranger) << "it was reached";
  kill(stranger, SIGKILL);
  waitpid(stranger, nullptr, 0);
}

TEST(LocalExchange, givesUpOnAProcessThatDoesNotAnswer) {
  const TemporaryFolder folder;
  const Listener listener(folder.file("s"), 0);
  const ExchangeBounds brief{.time = 100ms, .answerSize = 100};
  EXPECT_EQ(exchangeLocally(folder.file("s"), "x", 0, brief).end, ExchangeEnd::timedOut);
  EXPECT_EQ(exchangeLocally(folder.file("s"), std::string(10'000'000, 'x'), 0, brief).end,
            ExchangeEnd::timedOut)
      << "and it does not read";
}

TEST(LocalExchange, givesUpAtOnceIfTheBacklogIsFull) {
  const TemporaryFolder folder;
  const Listener listener(folder.file("s"), 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  std::strcpy(address.sun_path, folder.file("s").c_str());
  std::vector<Descriptor> waiting;
  int status = 0;
  while (status == 0 && waiting.size() < 1000) {
    waiting.emplace_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    status = connect(waiting.back().get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  }
  ASSERT_NE(status, 0);
  EXPECT_EQ(exchangeLocally(folder.file("s"), "x", 0, roomy).end, ExchangeEnd::timedOut);
}

TEST(LocalExchange, stopsAtAnAnswerWithoutEnd) {
  const TemporaryFolder folder;
  Listener listener(folder.file("s"));
  listener.answerOnce([](std::string) { return std::string(5'000'000, 'a'); });
  const ExchangeResult result =
      exchangeLocally(folder.file("s"), "x", 0, {.time = 10s, .answerSize = 100'000});
  EXPECT_EQ(result.end, ExchangeEnd::tooLong);
  EXPECT_LE(result.answer.size(), 100'000U + 65'536U);
}

}  // namespace
}  // namespace quorl
