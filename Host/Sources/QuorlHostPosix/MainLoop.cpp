// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/MainLoop.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// A signal handler has no other way to its object.
std::atomic<int> signalPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void onTermination(int) {
  const int saved = errno;
  const char byte = 1;
  const int descriptor = signalPipe.load();
  if (descriptor >= 0 && ::write(descriptor, &byte, 1) < 0) {
    // The pipe is full: the loop has been told already.
  }
  errno = saved;
}

void onBrokenPipe(int) {}

void install(int signal, void (*handler)(int)) {
  struct sigaction action{};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
}

void openPipe(Descriptor& readEnd, Descriptor& writeEnd) {
  int ends[2];
  QUORL_CHECK(::pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0, "no descriptors left for the application loop");
  readEnd = Descriptor(ends[0]);
  writeEnd = Descriptor(ends[1]);
}

}  // namespace

TerminationSignals::TerminationSignals() {
  openPipe(readEnd_, writeEnd_);
  QUORL_CHECK(signalPipe.exchange(writeEnd_.get()) == -1, "the signals have one owner");
  install(SIGTERM, onTermination);
  install(SIGINT, onTermination);
}

TerminationSignals::~TerminationSignals() {
  install(SIGTERM, SIG_DFL);
  install(SIGINT, SIG_DFL);
  signalPipe = -1;
}

void turnBrokenPipesIntoErrors() {
  install(SIGPIPE, onBrokenPipe);
}

MainLoop::MainLoop() {
  openPipe(wakeUp_, wakeUpWriter_);
}

MainLoop::~MainLoop() = default;

void MainLoop::post(std::move_only_function<void()> work) {
  std::lock_guard lock(mutex_);
  if (ended_) return;
  posted_.push_back(std::move(work));
  wake();
}

void MainLoop::quit() {
  std::lock_guard lock(mutex_);
  ended_ = true;
  wake();
}

// A full pipe is as good as another byte in it.
void MainLoop::wake() {
  const char byte = 1;
  [[maybe_unused]] const ssize_t ignored = ::write(wakeUpWriter_.get(), &byte, 1);
}

bool MainLoop::runPosted() {
  for (;;) {
    std::move_only_function<void()> work;
    {
      std::lock_guard lock(mutex_);
      if (ended_) return false;
      if (posted_.empty()) return true;
      work = std::move(posted_.front());
      posted_.pop_front();
    }
    work();
  }
}

void MainLoop::run(const TerminationSignals& signals) {
  while (runPosted()) {
    pollfd entries[] = {{wakeUp_.get(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}};
    if (::poll(entries, 2, -1) < 0) continue;
    if (entries[1].revents) break;
    char bytes[64];
    while (::read(wakeUp_.get(), bytes, sizeof bytes) > 0) continue;
  }
  std::deque<std::move_only_function<void()>> dropped;
  std::lock_guard lock(mutex_);
  ended_ = true;
  dropped.swap(posted_);
}

}  // namespace quorl
