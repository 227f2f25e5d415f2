// SPDX-License-Identifier: GPL-3.0-or-later
#include "Backend.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include <fmt/format.h>

#include "Sockets.h"

namespace quorl::bench {

namespace {

constexpr std::size_t pieceSize = 262'144;

void closeInOrder(int socket) {
  ::shutdown(socket, SHUT_WR);
  ::close(socket);
}

bool sendAll(int socket, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = ::send(socket, data, size, MSG_NOSIGNAL);
    if (count <= 0) return false;
    data += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

// On a thread of its own, because it blocks.
void sendBigBody(int socket) {
  ::fcntl(socket, F_SETFL, 0);
  const std::string head =
      fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\nConnection: close\r\n\r\n", Backend::bigSize);
  const std::vector<char> piece(pieceSize, 'x');
  bool isOpen = sendAll(socket, head.data(), head.size());
  for (std::uint64_t sent = 0; isOpen && sent < Backend::bigSize; sent += piece.size())
    isOpen = sendAll(socket, piece.data(), piece.size());
  closeInOrder(socket);
}

struct Conversation {
  std::string received;
  bool isEcho = false;
};

enum class Next : std::uint8_t { keep, close, handOver };

// Requests have no body and arrive whole, or nearly so.
Next serve(int socket, Conversation& conversation) {
  constexpr std::string_view answer = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";
  constexpr std::string_view lastAnswer =
      "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello";
  constexpr std::string_view upgrade =
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n";
  char buffer[16'384];
  for (;;) {
    const ssize_t count = ::recv(socket, buffer, sizeof buffer, 0);
    if (count == 0) return Next::close;
    if (count < 0) return errno == EAGAIN ? Next::keep : Next::close;
    const std::string_view bytes(buffer, static_cast<std::size_t>(count));
    if (conversation.isEcho) {
      ::send(socket, buffer, bytes.size(), MSG_NOSIGNAL);
      continue;
    }
    conversation.received += bytes;
    const std::size_t end = conversation.received.find("\r\n\r\n");
    if (end == std::string::npos) continue;
    const std::string head = conversation.received.substr(0, end);
    conversation.received.erase(0, end + 4);
    const auto path = head.substr(head.find(' ') + 1);
    if (path.starts_with("/big")) return Next::handOver;
    if (path.starts_with("/echo")) {
      ::send(socket, upgrade.data(), upgrade.size(), MSG_NOSIGNAL);
      conversation.isEcho = true;
    } else if (head.find("onnection: close") != std::string::npos) {
      ::send(socket, lastAnswer.data(), lastAnswer.size(), MSG_NOSIGNAL);
      return Next::close;
    } else {
      ::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL);
    }
  }
}

[[noreturn]] void runBackend(int listener) {
  const int epoll = ::epoll_create1(EPOLL_CLOEXEC);
  epoll_event event{.events = EPOLLIN, .data = {.fd = listener}};
  ::epoll_ctl(epoll, EPOLL_CTL_ADD, listener, &event);
  std::unordered_map<int, Conversation> open;
  epoll_event ready[256];
  for (;;) {
    const int count = ::epoll_wait(epoll, ready, 256, -1);
    for (int index = 0; index < count; ++index) {
      const int socket = ready[index].data.fd;
      if (socket == listener) {
        int accepted = -1;
        while ((accepted = ::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0) {
          const int on = 1;
          ::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
          event = {.events = EPOLLIN | EPOLLRDHUP | EPOLLET, .data = {.fd = accepted}};
          ::epoll_ctl(epoll, EPOLL_CTL_ADD, accepted, &event);
          open.emplace(accepted, Conversation{});
        }
        continue;
      }
      const Next next = serve(socket, open[socket]);
      if (next == Next::keep) continue;
      open.erase(socket);
      if (next == Next::close) {
        ::close(socket);
      } else {
        ::epoll_ctl(epoll, EPOLL_CTL_DEL, socket, nullptr);
        std::thread(sendBigBody, socket).detach();
      }
    }
  }
}

bool spliceOnce(int from, int to, const int (&pipe)[2]) {
  const ssize_t count = ::splice(from, nullptr, pipe[1], nullptr, pieceSize, SPLICE_F_MOVE);
  if (count <= 0) return false;
  for (ssize_t left = count; left > 0;) {
    const ssize_t sent =
        ::splice(pipe[0], nullptr, to, nullptr, static_cast<std::size_t>(left), SPLICE_F_MOVE);
    if (sent <= 0) return false;
    left -= sent;
  }
  return true;
}

void copy(int from, int to, BarePipe::Way way) {
  std::vector<char> buffer(pieceSize);
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) return;
  ::fcntl(pipe[1], F_SETPIPE_SZ, static_cast<int>(pieceSize));
  for (;;) {
    if (way == BarePipe::Way::splice) {
      if (!spliceOnce(from, to, pipe)) break;
    } else {
      const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
      if (count <= 0 || !sendAll(to, buffer.data(), static_cast<std::size_t>(count))) break;
    }
  }
  ::shutdown(to, SHUT_WR);
  ::close(pipe[0]);
  ::close(pipe[1]);
}

[[noreturn]] void runBarePipe(int listener, std::uint16_t backend, BarePipe::Way way) {
  ::fcntl(listener, F_SETFL, 0);
  for (;;) {
    const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) continue;
    const int other = connectTo(backend, Mode::blocking);
    std::thread([=] { copy(client, other, way); }).detach();
    std::thread([=] {
      copy(other, client, way);
      ::close(other);
      ::close(client);
    }).detach();
  }
}

template <class Body>
pid_t startProcess(const Body& body) {
  const pid_t parent = ::getpid();
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(1);
  body();
  ::_exit(0);
}

void endProcess(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

}  // namespace

Backend::Backend(std::uint16_t port) {
  const int listener = listenOn(port);
  pid_ = startProcess([listener] { runBackend(listener); });
  ::close(listener);
}

Backend::~Backend() {
  endProcess(pid_);
}

BarePipe::BarePipe(std::uint16_t port, std::uint16_t backend, Way way) {
  const int listener = listenOn(port);
  pid_ = startProcess([=] { runBarePipe(listener, backend, way); });
  ::close(listener);
}

BarePipe::~BarePipe() {
  endProcess(pid_);
}

}  // namespace quorl::bench
