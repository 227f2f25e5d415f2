// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/TerminationSignals.h>

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace quorl::viewer {
namespace {

sigset_t endingSignals() {
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&blocked, number);
  return blocked;
}

}  // namespace

TerminationSignals::TerminationSignals() {
  const auto blocked = endingSignals();
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  signals_ = Descriptor(::signalfd(-1, &blocked, SFD_CLOEXEC | SFD_NONBLOCK));
}

void TerminationSignals::watch(std::function<void()> received) {
  notifier_ = std::make_unique<QSocketNotifier>(signals_.get(), QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                   [this, received = std::move(received)] {
                     signalfd_siginfo info{};
                     if (::read(signals_.get(), &info, sizeof info) != sizeof info) return;
                     notifier_->setEnabled(false);
                     const auto blocked = endingSignals();
                     ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
                     received();
                   });
}

}  // namespace quorl::viewer
