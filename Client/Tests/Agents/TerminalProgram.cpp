// SPDX-License-Identifier: GPL-3.0-or-later
#include "TerminalProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>

#include <QuorlKit/Foundation/Check.h>
#include <Support/Eventually.h>

namespace quorl::client::test {
namespace {

using quorl::test::eventually;

[[noreturn]] void become(int terminal, const std::vector<std::string>& words,
                         const std::vector<std::string>& environment) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::setsid();
  ::ioctl(terminal, TIOCSCTTY, 0);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(terminal, stream);
  for (const auto& entry : environment) {
    const auto equals = entry.find('=');
    ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
  }
  std::vector<char*> pointers;
  for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

}  // namespace

TerminalProgram::TerminalProgram(const std::vector<std::string>& words,
                                 const std::vector<std::string>& environment, int columns, int rows) {
  winsize size{};
  size.ws_col = static_cast<unsigned short>(columns);
  size.ws_row = static_cast<unsigned short>(rows);
  int master = -1;
  int slave = -1;
  QUORL_CHECK(::openpty(&master, &slave, nullptr, nullptr, &size) == 0, "a terminal can be opened");
  master_ = Descriptor(master);
  slave_ = Descriptor(slave);
  ::fcntl(master, F_SETFD, FD_CLOEXEC);
  ::fcntl(slave, F_SETFD, FD_CLOEXEC);
  ::fcntl(master, F_SETFL, O_NONBLOCK);
  pid_ = ::fork();
  if (pid_ == 0) become(slave, words, environment);
}

TerminalProgram::~TerminalProgram() {
  if (waitForExit(std::chrono::milliseconds(0))) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

void TerminalProgram::collect() {
  char buffer[65'536];
  for (;;) {
    const auto count = ::read(master_.get(), buffer, sizeof buffer);
    if (count <= 0) return;
    screen_.append(buffer, static_cast<std::size_t>(count));
  }
}

void TerminalProgram::type(std::string_view keys) {
  eventually(
      [&] {
        collect();
        const auto count = ::write(master_.get(), keys.data(), std::min<std::size_t>(keys.size(), 2048));
        if (count > 0) keys.remove_prefix(static_cast<std::size_t>(count));
        return keys.empty();
      },
      std::chrono::seconds(60));
  QUORL_CHECK(keys.empty(), "the program takes what is typed");
}

void TerminalProgram::resize(int columns, int rows) {
  winsize size{};
  size.ws_col = static_cast<unsigned short>(columns);
  size.ws_row = static_cast<unsigned short>(rows);
  ::ioctl(master_.get(), TIOCSWINSZ, &size);
}

void TerminalProgram::signal(int number) const {
  ::kill(pid_, number);
}

const std::string& TerminalProgram::screen() {
  collect();
  return screen_;
}

bool TerminalProgram::shows(std::string_view text, std::size_t from) {
  return eventually([&] { return screen().find(text, from) != std::string::npos; }, std::chrono::seconds(20));
}

std::size_t TerminalProgram::count(std::string_view text) {
  std::size_t found = 0;
  for (auto at = screen().find(text); at != std::string::npos; at = screen_.find(text, at + text.size()))
    ++found;
  return found;
}

std::optional<int> TerminalProgram::waitForExit(std::chrono::milliseconds limit) {
  if (status_) return status_;
  eventually(
      [&] {
        collect();
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) != pid_) return false;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return true;
      },
      limit);
  collect();
  return status_;
}

termios TerminalProgram::modes() const {
  termios modes{};
  ::tcgetattr(slave_.get(), &modes);
  return modes;
}

bool TerminalProgram::isRaw() const {
  return (modes().c_lflag & (ICANON | ECHO | ISIG)) == 0;
}

}  // namespace quorl::client::test
