// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Session/HandshakeMachine.h>

namespace quorl {

struct HostServices;

/// Answers a handshake from the host's stores and the machine's facts.
///
/// *Queue*: any thread.
/// *Blocking*: waits for the stores, and reads the facts as blocking work.
/// *Ownership*: its connection's; shares the services.
class HostHandshakeAuthority final : public HandshakeAuthority {
 public:
  explicit HostHandshakeAuthority(std::shared_ptr<HostServices> services) : services_(std::move(services)) {}

  DeviceInfo hostDevice() override;
  Bytes freshNonce() override;
  UUID freshDeviceID() override;
  bool matchesAnyToken(ByteView proof, ByteView nonce) override;
  PairingVerdict attemptPIN(ByteView proof, ByteView nonce) override;
  Bytes addDevice(const UUID& deviceID, const std::string& name) override;

 private:
  const std::shared_ptr<HostServices> services_;
};

}  // namespace quorl
