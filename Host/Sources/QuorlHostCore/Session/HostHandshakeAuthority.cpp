// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/HostHandshakeAuthority.h>

#include <QuorlHostCore/Ports/MachineFacts.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlKit/Auth/Pairing.h>

namespace quorl {

namespace {

std::string orMac(std::string text) {
  return text.empty() ? "Mac" : std::move(text);
}

}  // namespace

DeviceInfo HostHandshakeAuthority::hostDevice() {
  MachineFacts& machine = *services_->platform.machine;
  DeviceInfo device;
  services_->platform.scheduler->blocking([&] {
    device.name = orMac(machine.computerName());
    device.model = orMac(machine.hardwareModel());
    device.osVersion = machine.operatingSystemVersion();
  });
  device.deviceID = services_->trustStore->hostDeviceID();
  return device;
}

Bytes HostHandshakeAuthority::freshNonce() {
  return Pairing::randomNonce(*services_->platform.random);
}

UUID HostHandshakeAuthority::freshDeviceID() {
  return UUID::random(*services_->platform.random);
}

bool HostHandshakeAuthority::matchesAnyToken(ByteView proof, ByteView nonce) {
  return services_->trustStore->matchesAnyToken(proof, nonce);
}

PairingVerdict HostHandshakeAuthority::attemptPIN(ByteView proof, ByteView nonce) {
  return services_->pairing->attempt(proof, nonce);
}

Bytes HostHandshakeAuthority::addDevice(const UUID& deviceID, const std::string& name) {
  return services_->trustStore->addDevice(deviceID, name);
}

}  // namespace quorl
