// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/MainLoop.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include <poll.h>
#include <unistd.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// A signal handler can reach its object only through a global.
std::atomic<int> signalPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void onTermination(int) {
  const int saved = errno;
  const char byte = 1;
  const int descriptor = signalPipe.load();
  if (descriptor >= 0 && ::write(descriptor, &byte, 1) < 0) {
    // The pipe is full, so it is readable already.
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

}  // namespace

TerminationSignals::TerminationSignals() : pipe_(openPipe()) {
  QUORL_CHECK(signalPipe.exchange(pipe_.writeEnd.get()) == -1, "the signals have one owner");
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

void MainLoop::post(std::move_only_function<void()> work) {
  posted_.post(std::move(work));
}

void MainLoop::quit() {
  posted_.close();
}

void MainLoop::run(const TerminationSignals& signals) {
  while (posted_.run()) {
    pollfd entries[] = {{posted_.waker()->descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}};
    if (::poll(entries, 2, -1) < 0) continue;
    if (entries[1].revents) break;
    posted_.waker()->drain();
  }
  posted_.close();
}

}  // namespace quorl
