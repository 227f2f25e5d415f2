// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <QuorlUnix/Descriptor.h>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Session/Handshake.h>

namespace quorl::viewer {

/// One pairing with a host, on a thread of its own: connects, asks for PINs until one is right, and keeps the
/// token in the book. The host allows a few wrong PINs a connection; then it has failed and another one may
/// be made.
///
/// *Queue*: made, used and destroyed on one thread; the handlers run on the attempt's own. *Lifetime*:
/// destruction cancels it at once and waits for a running handler.
class PairingAttempt {
 public:
  struct Handlers {
    /// The name is the host's own and may be anything.
    std::function<void(const std::string& hostName, bool wasWrong)> asksForPIN;
    std::function<void(const client::PairedHost&)> paired;
    std::function<void(const client::ClientError&)> failed;
  };

  PairingAttempt(client::HostAddress address, client::HostBook book, Handlers handlers);
  ~PairingAttempt();
  PairingAttempt(const PairingAttempt&) = delete;
  PairingAttempt& operator=(const PairingAttempt&) = delete;

  /// Six digits, once after each `asksForPIN`.
  void enter(std::string pin);

 private:
  client::Outcome<client::PairedHost> run(client::Waiter& waiter);
  client::Outcome<std::string> awaitPIN(client::Session& session);

  const client::HostAddress address_;
  client::HostBook book_;
  const Handlers handlers_;
  Descriptor cancelled_;
  Descriptor entered_;
  std::mutex lock_;
  std::optional<std::string> pin_;
  std::thread thread_;
};

}  // namespace quorl::viewer
