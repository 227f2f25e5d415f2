// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/PairingAttempt.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <utility>
#include <variant>

#include <quorl-client/Hosts/PairedSession.h>
#include <quorl-client/Hosts/Pairings.h>
#include <quorl-client/Session/Session.h>

namespace quorl::viewer {
namespace {

using namespace std::chrono_literals;
using client::ExitCode;
using client::failed;
using client::Outcome;
using client::within;

constexpr auto answerTime = 10s;
constexpr auto timeToType = 5min;
constexpr auto goodbyeTime = 500ms;
// A host allows four wrong PINs a connection.
constexpr int attempts = 3;

void signal(const Descriptor& event) {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(event.get(), &one, sizeof one);
}

}  // namespace

PairingAttempt::PairingAttempt(client::HostAddress address, client::HostBook book, Handlers handlers)
    : address_(std::move(address)),
      book_(std::move(book)),
      handlers_(std::move(handlers)),
      cancelled_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      entered_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  thread_ = std::thread([this] {
    client::Waiter waiter(cancelled_.get());
    const auto result = run(waiter);
    if (result)
      handlers_.paired(*result);
    else if (result.error().code != ExitCode::interrupted)
      handlers_.failed(result.error());
  });
}

PairingAttempt::~PairingAttempt() {
  signal(cancelled_);
  thread_.join();
}

void PairingAttempt::enter(std::string pin) {
  {
    const std::scoped_lock guard(lock_);
    pin_ = std::move(pin);
  }
  signal(entered_);
}

Outcome<std::string> PairingAttempt::awaitPIN(client::Session& session) {
  const auto deadline = within(timeToType);
  const int entered = entered_.get();
  for (;;) {
    const auto ready = session.wait(deadline, {&entered, 1});
    if (!ready) return std::unexpected(ready.error());
    if (*ready == client::Waiter::Ready::deadline)
      return failed(ExitCode::timedOut, "no PIN was entered", "Try again with the PIN that the host shows.");
    std::uint64_t count = 0;
    const bool wasEntered = ::read(entered, &count, sizeof count) == sizeof count;
    if (!wasEntered) {
      // Nothing that the host sends now matters but its end.
      while (const auto frame = session.takeFrame()) session.decodeControl(*frame);
      continue;
    }
    const std::scoped_lock guard(lock_);
    if (auto pin = std::exchange(pin_, std::nullopt)) return std::move(*pin);
  }
}

Outcome<client::PairedHost> PairingAttempt::run(client::Waiter& waiter) {
  const auto contents = book_.update([](client::HostBookContents&) {});
  if (!contents) return std::unexpected(contents.error());
  auto session = client::Session::connect(address_, waiter, within(answerTime));
  if (!session) return std::unexpected(session.error());
  const auto greeting =
      client::greet(**session, client::clientDevice(contents->deviceID), within(answerTime));
  if (!greeting) return std::unexpected(greeting.error());
  for (int attempt = 0; attempt < attempts; ++attempt) {
    handlers_.asksForPIN(greeting->device.name, attempt > 0);
    const auto pin = awaitPIN(**session);
    if (!pin) return std::unexpected(pin.error());
    auto outcome = client::provePIN(**session, *pin, *greeting, within(answerTime));
    if (!outcome) return std::unexpected(outcome.error());
    if (auto* paired = std::get_if<client::Paired>(&*outcome)) {
      auto host = client::keepPairing(book_, address_, std::move(*paired));
      (*session)->finish(within(goodbyeTime));
      return host;
    }
  }
  return failed(ExitCode::refused, "wrong PIN",
                "The host shows its PIN in its window; after several failures it refuses every PIN for a "
                "while.");
}

}  // namespace quorl::viewer
