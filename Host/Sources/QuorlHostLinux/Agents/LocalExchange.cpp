// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/LocalExchange.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>

#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

bool isTransient(int number) {
  return number == EINTR || number == EAGAIN;
}

/// One request and its answer, step by step.
class Exchange {
 public:
  Exchange(std::string_view request, const ExchangeBounds& bounds)
      : request_(request), bounds_(bounds), deadline_(Clock::now() + bounds.time) {}

  ExchangeResult run(std::string_view name, pid_t server) {
    if (std::optional<ExchangeEnd> end = connectTo(name)) return ended(*end);
    if (!isExpected(server)) return ended(ExchangeEnd::absent);
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
      if (left <= 0) return ended(ExchangeEnd::timedOut);
      pollfd event{.fd = socket_.get(), .events = POLLIN, .revents = 0};
      if (!request_.empty()) event.events |= POLLOUT;
      if (poll(&event, 1, static_cast<int>(left)) < 0 && errno != EINTR) return ended(ExchangeEnd::absent);
      if ((event.revents & POLLOUT) != 0 && !send()) return ended(ExchangeEnd::absent);
      if ((event.revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
      if (const std::optional<ExchangeEnd> end = receive()) return ended(*end);
    }
  }

 private:
  std::optional<ExchangeEnd> connectTo(std::string_view name) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (name.empty() || name.size() >= sizeof(address.sun_path)) return ExchangeEnd::absent;
    std::memcpy(address.sun_path, name.data(), name.size());
    const bool isAbstract = name.front() == '@';
    if (isAbstract) address.sun_path[0] = '\0';
    const std::size_t length = offsetof(sockaddr_un, sun_path) + name.size() + (isAbstract ? 0 : 1);
    socket_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_.isOpen()) return ExchangeEnd::absent;
    if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(length)) ==
        0)
      return std::nullopt;
    // The listener's backlog is full: it accepts no connection.
    return errno == EAGAIN ? ExchangeEnd::timedOut : ExchangeEnd::absent;
  }

  bool isExpected(pid_t server) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket_.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    server_ = peer.pid;
    return peer.uid == geteuid() && (server <= 0 || server == peer.pid);
  }

  bool send() {
    const ssize_t count = ::send(socket_.get(), request_.data(), request_.size(), MSG_NOSIGNAL);
    if (count < 0) return isTransient(errno);
    request_.remove_prefix(static_cast<std::size_t>(count));
    if (request_.empty()) shutdown(socket_.get(), SHUT_WR);
    return true;
  }

  std::optional<ExchangeEnd> receive() {
    std::array<char, 65'536> buffer;
    const ssize_t count = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (count < 0 && isTransient(errno)) return std::nullopt;
    if (count < 0) return ExchangeEnd::absent;
    if (count == 0) return request_.empty() ? ExchangeEnd::done : ExchangeEnd::absent;
    answer_.append(buffer.data(), static_cast<std::size_t>(count));
    if (answer_.size() > bounds_.answerSize) return ExchangeEnd::tooLong;
    return std::nullopt;
  }

  ExchangeResult ended(ExchangeEnd end) {
    return {.end = end, .server = server_, .answer = std::move(answer_)};
  }

  std::string_view request_;
  const ExchangeBounds bounds_;
  const Clock::time_point deadline_;
  Descriptor socket_;
  pid_t server_ = 0;
  std::string answer_;
};

}  // namespace

ExchangeResult exchangeLocally(std::string_view name, std::string_view request, pid_t server,
                               const ExchangeBounds& bounds) {
  return Exchange(request, bounds).run(name, server);
}

}  // namespace quorl
