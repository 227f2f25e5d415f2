// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Menu/MenuProcess.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

#include <QuorlHostPosix/ProcessDescriptor.h>
#include <QuorlUnix/SpawnAttributes.h>

namespace quorl {

namespace {

/// The file actions of posix_spawn(3): `input` becomes standard input, everything above standard error is
/// closed.
class SpawnFiles {
 public:
  SpawnFiles(int input, MenuProcess::Errors errors) {
    ::posix_spawn_file_actions_init(&value_);
    ::posix_spawn_file_actions_adddup2(&value_, input, STDIN_FILENO);
    ::posix_spawn_file_actions_addopen(&value_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    if (errors == MenuProcess::Errors::dropped)
      ::posix_spawn_file_actions_addopen(&value_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&value_, STDERR_FILENO + 1);
  }
  SpawnFiles(const SpawnFiles&) = delete;
  SpawnFiles& operator=(const SpawnFiles&) = delete;
  ~SpawnFiles() { ::posix_spawn_file_actions_destroy(&value_); }
  const posix_spawn_file_actions_t* get() const { return &value_; }

 private:
  posix_spawn_file_actions_t value_{};
};

std::string describe(int status) {
  if (WIFSIGNALED(status)) return fmt::format("signal {}", WTERMSIG(status));
  return fmt::format("exit status {}", WEXITSTATUS(status));
}

}  // namespace

MenuProcess::MenuProcess(Settings settings)
    : settings_(std::move(settings)), display_(settings_.display, settings_.socketFolder) {}

MenuProcess::~MenuProcess() {
  close();
}

void MenuProcess::open(SerialQueue queue, Handlers handlers) {
  queue_ = std::move(queue);
  handlers_ = std::move(handlers);
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] {
    pthread_setname_np(pthread_self(), "quorl-menu");
    run();
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void MenuProcess::startProgram() {
  posted_.post([this] { spawn(); });
}

void MenuProcess::send(std::string line) {
  posted_.post([this, line = std::move(line)] {
    if (!stream_.isOpen() || waiting_.size() > maxWaiting) return;
    waiting_ += line;
    write();
  });
}

void MenuProcess::close() {
  if (!thread_.joinable()) return;
  posted_.post([this] {
    isClosing_ = true;
    endStream();
    if (child_ > 0)
      ::kill(child_, SIGTERM);
    else
      posted_.close();
  });
  thread_.join();
}

void MenuProcess::run() {
  while (posted_.run()) wait();
}

void MenuProcess::wait() {
  const short streamEvents = static_cast<short>(waiting_.empty() ? POLLIN : POLLIN | POLLOUT);
  pollfd entries[] = {{posted_.waker()->descriptor(), POLLIN, 0},
                      {display_.descriptor(), POLLIN, 0},
                      {stream_.get(), streamEvents, 0},
                      {process_.get(), POLLIN, 0}};
  int timeout = -1;
  if (killAt_) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*killAt_ - Clock::now()).count();
    timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, 60'000));
  }
  ::poll(entries, std::size(entries), timeout);
  posted_.waker()->drain();
  if (entries[1].revents != 0 && display_.readEvents())
    queue_->async([appeared = handlers_.displayAppeared] { appeared(); });
  if ((entries[2].revents & (POLLIN | POLLHUP | POLLERR)) != 0) receive();
  if ((entries[2].revents & POLLOUT) != 0) write();
  if (entries[3].revents != 0) reap();
  if (child_ > 0 && killAt_ && Clock::now() >= *killAt_) {
    ::kill(child_, SIGKILL);
    reap();
  }
}

void MenuProcess::spawn() {
  if (child_ > 0 || isClosing_) return;
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    finish(std::strerror(errno));
    return;
  }
  stream_ = Descriptor(ends[0]);
  const Descriptor other(ends[1]);
  ::fcntl(stream_.get(), F_SETFL, O_NONBLOCK);
  std::vector<char*> arguments;
  for (const auto& argument : settings_.command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const SpawnAttributes attributes;
  const SpawnFiles files(other.get(), settings_.errors);
  const int failure =
      ::posix_spawn(&child_, arguments[0], files.get(), attributes.get(), arguments.data(), environ);
  if (failure != 0) {
    child_ = -1;
    stream_.reset();
    finish(fmt::format("{}: {}", settings_.command.front(), std::strerror(failure)));
    return;
  }
  process_ = openProcess(child_);
}

void MenuProcess::receive() {
  char buffer[16'384];
  while (stream_.isOpen()) {
    const ssize_t count = ::recv(stream_.get(), buffer, sizeof buffer, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) {
      endStream();
      return;
    }
    input_.append({buffer, static_cast<std::size_t>(count)});
    while (auto line = input_.next())
      queue_->async([received = handlers_.received, line = std::move(*line)] { received(line); });
    if (input_.hasOverflowed()) endStream();
  }
}

void MenuProcess::write() {
  while (stream_.isOpen() && !waiting_.empty()) {
    const ssize_t count = ::send(stream_.get(), waiting_.data(), waiting_.size(), MSG_NOSIGNAL);
    if (count < 0) return;  // try again when it is writable; a stream that broke is also readable
    waiting_.erase(0, static_cast<std::size_t>(count));
  }
}

// The program reads the end of its input and ends; one that does not is killed.
void MenuProcess::endStream() {
  stream_.reset();
  waiting_.clear();
  input_ = {};
  if (child_ > 0 && !killAt_) killAt_ = Clock::now() + farewell;
}

void MenuProcess::reap() {
  if (child_ <= 0) return;
  receive();  // its last lines
  int status = 0;
  while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
  child_ = -1;
  process_.reset();
  endStream();
  killAt_.reset();
  finish(describe(status));
}

void MenuProcess::finish(const std::string& reason) {
  if (isClosing_)
    posted_.close();
  else
    queue_->async([ended = handlers_.ended, reason] { ended(reason); });
}

}  // namespace quorl
