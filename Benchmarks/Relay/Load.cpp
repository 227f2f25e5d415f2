// SPDX-License-Identifier: GPL-3.0-or-later
#include "Load.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "Backend.h"
#include "Sockets.h"

namespace quorl::bench {

namespace {

using Clock = std::chrono::steady_clock;

std::string requestFor(const Target& target, const std::string& path, const std::string& more = "") {
  return "GET " + target.prefix + path + " HTTP/1.1\r\nHost: localhost\r\n" + target.headers + more + "\r\n";
}

void sendText(int socket, const std::string& text) {
  if (::send(socket, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("a request does not fit");
}

// Connections with one request under way each.
class Crowd {
 public:
  Crowd() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {}
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;
  ~Crowd() {
    for (const auto& [socket, text] : received_) ::close(socket);
    ::close(epoll_);
  }

  void add(int socket) {
    epoll_event event{.events = EPOLLIN, .data = {.fd = socket}};
    ::epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &event);
    received_.emplace(socket, std::string());
  }
  void close(int socket) {
    received_.erase(socket);
    ::close(socket);
  }

  // Calls `use` with each socket that has input, what it has received, and whether it has ended.
  template <class Use>
  void wait(const Use& use) {
    epoll_event ready[128];
    const int count = ::epoll_wait(epoll_, ready, 128, 5000);
    if (count == 0) throw std::runtime_error("no answer");
    for (int index = 0; index < count; ++index) {
      const int socket = ready[index].data.fd;
      char buffer[16'384];
      const ssize_t size = ::recv(socket, buffer, sizeof buffer, 0);
      std::string& text = received_[socket];
      if (size > 0) text.append(buffer, static_cast<std::size_t>(size));
      use(socket, text, size <= 0);
    }
  }

 private:
  int epoll_;
  std::unordered_map<int, std::string> received_;
};

double perSecond(std::size_t count, Clock::time_point start) {
  return static_cast<double>(count) / std::chrono::duration<double>(Clock::now() - start).count();
}

bool isAnswer(std::string_view text) {
  return text.starts_with("HTTP/1.1 200") && text.ends_with("hello");
}

}  // namespace

double keptAliveRate(const Target& target, int connections, std::chrono::milliseconds duration) {
  Crowd crowd;
  const std::string request = requestFor(target, "/x");
  for (int index = 0; index < connections; ++index) {
    const int socket = connectTo(target.port, Mode::nonBlocking);
    crowd.add(socket);
    sendText(socket, request);
  }
  std::size_t answers = 0;
  const auto start = Clock::now();
  while (Clock::now() - start < duration)
    crowd.wait([&](int socket, std::string& text, bool hasEnded) {
      if (hasEnded) throw std::runtime_error("a kept-alive connection was closed: " + text);
      if (!isAnswer(text)) return;
      ++answers;
      text.clear();
      sendText(socket, request);
    });
  return perSecond(answers, start);
}

double connectionRate(const Target& target, int parallel, std::chrono::milliseconds duration) {
  Crowd crowd;
  const std::string request = requestFor(target, "/x", "Connection: close\r\n");
  const auto begin = [&] {
    const int socket = connectTo(target.port, Mode::nonBlocking);
    crowd.add(socket);
    sendText(socket, request);
  };
  for (int index = 0; index < parallel; ++index) begin();
  std::size_t answers = 0;
  const auto start = Clock::now();
  while (Clock::now() - start < duration)
    crowd.wait([&](int socket, std::string& text, bool hasEnded) {
      if (!hasEnded) return;
      if (!isAnswer(text)) throw std::runtime_error("a bad answer: " + text);
      ++answers;
      crowd.close(socket);
      begin();
    });
  return perSecond(answers, start);
}

double bodyRate(const Target& target) {
  const int socket = connectTo(target.port, Mode::blocking);
  sendText(socket, requestFor(target, "/big"));
  std::vector<char> buffer(1'048'576);
  std::string head;
  while (!head.ends_with("\r\n\r\n") && ::recv(socket, buffer.data(), 1, 0) == 1) head += buffer.front();
  std::uint64_t sum = 0;
  const auto start = Clock::now();
  while (sum < Backend::bigSize) {
    const ssize_t count = ::recv(socket, buffer.data(), buffer.size(), 0);
    if (count <= 0) break;
    sum += static_cast<std::uint64_t>(count);
  }
  const double rate = perSecond(sum, start);
  ::close(socket);
  if (sum < Backend::bigSize) throw std::runtime_error("the body was cut short");
  return rate;
}

std::vector<int> openIdlePipes(const Target& target, int count) {
  std::vector<int> sockets;
  const std::string request = requestFor(target, "/echo", "Upgrade: websocket\r\nConnection: Upgrade\r\n");
  for (int index = 0; index < count; ++index) {
    const int socket = connectTo(target.port, Mode::blocking);
    sendText(socket, request);
    std::string head;
    char byte = 0;
    while (!head.ends_with("\r\n\r\n")) {
      if (::recv(socket, &byte, 1, 0) != 1) throw std::runtime_error("no upgrade");
      head += byte;
    }
    sendText(socket, "ping");
    char answer[4];
    if (::recv(socket, answer, sizeof answer, MSG_WAITALL) != 4) throw std::runtime_error("no echo");
    sockets.push_back(socket);
  }
  return sockets;
}

}  // namespace quorl::bench
