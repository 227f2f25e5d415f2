// SPDX-License-Identifier: GPL-3.0-or-later
#include "TerminalPeer.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace quorl::bench {

namespace {

constexpr winsize size{.ws_row = 40, .ws_col = 100, .ws_xpixel = 0, .ws_ypixel = 0};

}  // namespace

TerminalPeer::TerminalPeer(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment, Modes modes) {
  termios raw{};
  ::cfmakeraw(&raw);
  pid_ = ::forkpty(&master_, nullptr, modes == Modes::raw ? &raw : nullptr, &size);
  if (pid_ < 0) throw std::runtime_error("cannot create a terminal");
  if (pid_ == 0) {
    for (const auto& entry : environment) {
      const auto equals = entry.find('=');
      ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
    }
    std::vector<char*> pointers;
    for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    ::execvp(pointers[0], pointers.data());
    ::_exit(127);
  }
  ::fcntl(master_, F_SETFD, FD_CLOEXEC);
}

TerminalPeer::~TerminalPeer() {
  ::kill(pid_, SIGKILL);
  ::close(master_);
  ::waitpid(pid_, nullptr, 0);
}

void TerminalPeer::type(std::string_view keys) {
  if (::write(master_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
    throw std::runtime_error("cannot write to the terminal");
}

std::span<const std::uint8_t> TerminalPeer::read(std::chrono::milliseconds limit) {
  pollfd waiting{.fd = master_, .events = POLLIN, .revents = 0};
  if (::poll(&waiting, 1, static_cast<int>(limit.count())) <= 0) return {};
  const auto count = ::read(master_, buffer_.data(), buffer_.size());
  hasEnded_ = count <= 0;
  return std::span(buffer_).first(count > 0 ? static_cast<std::size_t>(count) : 0);
}

std::span<const std::uint8_t> TerminalPeer::readUntil(std::string_view text, bool& isFound,
                                                      std::chrono::seconds limit) {
  const auto deadline = Clock::now() + limit;
  std::string before;
  isFound = false;
  while (!hasEnded_ && Clock::now() < deadline) {
    const auto part = read(std::chrono::milliseconds(100));
    const auto old = before.size();
    before.append(reinterpret_cast<const char*>(part.data()), part.size());
    const auto found = before.find(text);
    if (found != std::string::npos) {
      isFound = true;
      return part.subspan(found + text.size() - old);
    }
    if (before.size() > 4096) before.erase(0, before.size() - 4096);
  }
  return {};
}

void TerminalPeer::drain(std::chrono::milliseconds quiet) {
  while (!read(quiet).empty()) {
  }
}

}  // namespace quorl::bench
