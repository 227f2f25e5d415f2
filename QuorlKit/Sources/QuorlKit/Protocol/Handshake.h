// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

struct DeviceInfo {
  std::string name;
  std::string model;
  std::string osVersion;
  UUID deviceID;

  bool operator==(const DeviceInfo&) const = default;
};
BOOST_DESCRIBE_STRUCT(DeviceInfo, (), (name, model, osVersion, deviceID))

struct Hello {
  std::uint32_t protocolVersion = 0;
  DeviceInfo device;               // the client
  std::optional<Bytes> authProof;  // of a stored token; absent on a first contact

  bool operator==(const Hello&) const = default;
};
BOOST_DESCRIBE_STRUCT(Hello, (), (protocolVersion, device, authProof))

struct HelloAck {
  std::uint32_t protocolVersion = 0;
  DeviceInfo device;           // the host
  Bytes nonce;                 // for the proofs
  bool authenticated = false;  // the Hello has already proved the client

  bool operator==(const HelloAck&) const = default;
};
BOOST_DESCRIBE_STRUCT(HelloAck, (), (protocolVersion, device, nonce, authenticated))

struct PairRequest {
  Bytes pinProof;

  bool operator==(const PairRequest&) const = default;
};
BOOST_DESCRIBE_STRUCT(PairRequest, (), (pinProof))

struct PairResponse {
  bool success = false;
  std::optional<Bytes> token;

  bool operator==(const PairResponse&) const = default;
};
BOOST_DESCRIBE_STRUCT(PairResponse, (), (success, token))

struct WireError {
  std::string code;  // a stable dotted key
  std::string message;

  bool operator==(const WireError&) const = default;
};
BOOST_DESCRIBE_STRUCT(WireError, (), (code, message))

}  // namespace quorl
