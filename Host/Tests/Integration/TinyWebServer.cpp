// SPDX-License-Identifier: GPL-3.0-or-later
#include <Integration/TinyWebServer.h>

#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
#include <QuorlKit/Foundation/Check.h>

namespace quorl::test {

namespace {

bool sendAll(int socket, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// The next request's head, or nothing at the end. `rest` keeps what follows it.
std::string nextHead(int socket, std::string& rest) {
  for (;;) {
    const std::size_t end = rest.find("\r\n\r\n");
    if (end != std::string::npos) {
      std::string head = rest.substr(0, end + 4);
      rest.erase(0, end + 4);
      return head;
    }
    char buffer[4096];
    const ssize_t count = ::recv(socket, buffer, sizeof buffer, 0);
    if (count <= 0) return {};
    rest.append(buffer, static_cast<std::size_t>(count));
  }
}

void returnEverything(int socket) {
  char buffer[4096];
  for (;;) {
    const ssize_t count = ::recv(socket, buffer, sizeof buffer, 0);
    if (count <= 0 || !sendAll(socket, {buffer, static_cast<std::size_t>(count)})) return;
  }
}

std::string answerWith(const std::string& body) {
  return fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\n\r\n{}", body.size(), body);
}

// Answers one request. False at the end of the connection.
bool answer(int socket, const std::string& head) {
  const std::size_t start = head.find(' ') + 1;
  const std::string path = head.substr(start, head.find(' ', start) - start);
  if (path.starts_with("/bytes/")) return sendAll(socket, answerWith(webBytes(std::stoul(path.substr(7)))));
  if (path == "/echo") {
    sendAll(socket, "HTTP/1.1 101 Switching Protocols\r\nUpgrade: echo\r\nConnection: Upgrade\r\n\r\n");
    returnEverything(socket);
    return false;
  }
  if (path == "/partial") {
    sendAll(socket, "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
    return false;
  }
  if (path == "/reset") {
    const linger now{1, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    return false;
  }
  if (path == "/hang") {
    char byte = 0;
    return ::recv(socket, &byte, 1, 0) > 0;
  }
  return sendAll(socket, answerWith(head));
}

}  // namespace

TinyWebServer::TinyWebServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  for (;;) {
    port_ = freePort();
    address.sin_port = htons(port_);
    if (::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) break;
  }
  QUORL_CHECK(::listen(listener_.get(), 1024) == 0, "a bound socket listens");
  accepter_ = std::thread([this] { accept(); });
}

TinyWebServer::~TinyWebServer() {
  ::shutdown(listener_.get(), SHUT_RDWR);
  accepter_.join();
  {
    const std::scoped_lock lock(mutex_);
    for (const int socket : open_) ::shutdown(socket, SHUT_RDWR);
  }
  for (std::thread& thread : threads_) thread.join();
}

void TinyWebServer::accept() {
  for (;;) {
    const int socket = ::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    ++count_;
    const std::scoped_lock lock(mutex_);
    open_.push_back(socket);
    threads_.emplace_back([this, socket] { serve(socket); });
  }
}

void TinyWebServer::serve(int socket) {
  const Descriptor owner(socket);
  std::string rest;
  for (;;) {
    const std::string head = nextHead(socket, rest);
    if (head.empty() || !answer(socket, head)) break;
  }
  const std::scoped_lock lock(mutex_);
  std::erase(open_, socket);
}

std::string webBytes(std::size_t count) {
  return textOf(pattern(count));
}

}  // namespace quorl::test
