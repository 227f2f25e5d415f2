// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Upgrade/UpgradeRequests.h>

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// A signal handler can reach its object only through a global.
std::atomic<int> requestPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void onRequest(int) {
  const int saved = errno;
  const char byte = 1;
  const int descriptor = requestPipe.load();
  if (descriptor >= 0 && ::write(descriptor, &byte, 1) < 0) {
    // The pipe is full, so it is readable already.
  }
  errno = saved;
}

sigset_t heldSignals() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, SIGURG}) ::sigaddset(&set, signal);
  return set;
}

}  // namespace

UpgradeRequests::UpgradeRequests(std::function<void(int)> requested)
    : requested_(std::move(requested)), pipe_(openPipe()) {
  QUORL_CHECK(requestPipe.exchange(pipe_.writeEnd.get()) == -1, "upgrade requests have one owner");
  struct sigaction action{};
  action.sa_handler = onRequest;
  action.sa_flags = SA_RESTART;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(SIGURG, &action, nullptr);
  thread_ = std::thread([this] { run(); });
}

UpgradeRequests::~UpgradeRequests() {
  ::signal(SIGURG, SIG_DFL);
  requestPipe = -1;
  end_.wake();
  thread_.join();
}

void UpgradeRequests::run() {
  for (;;) {
    pollfd entries[] = {{pipe_.readEnd.get(), POLLIN, 0}, {end_.descriptor(), POLLIN, 0}};
    if (::poll(entries, 2, -1) < 0) continue;
    if (entries[1].revents) return;
    char bytes[64];
    while (::read(pipe_.readEnd.get(), bytes, sizeof bytes) == sizeof bytes) {
    }
    requested_(end_.descriptor());
  }
}

void holdSignals(int raised) {
  const sigset_t set = heldSignals();
  ::sigprocmask(SIG_BLOCK, &set, nullptr);
  pollfd entry{raised, POLLIN, 0};
  if (::poll(&entry, 1, 0) > 0) ::kill(::getpid(), SIGTERM);
}

void deliverSignals() {
  const sigset_t set = heldSignals();
  ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace quorl
