// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>

#include <QuorlHostCore/Agents/Registry/AgentsSnapshot.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// What one program image leaves to the next one when the program replaces itself. A value.
struct HandOver {
  PairingSnapshot pairing;
  AgentsSnapshot agents;

  bool operator==(const HandOver&) const = default;
};

/// The form in which it crosses execve(2). Integers are little-endian; texts and byte strings have a 32-bit
/// length.
///
/// | field    | bytes | content |
/// |----------|-------|---------|
/// | magic    | 4     | "QHHO" |
/// | version  | 4     | `version`, or 1 if no tab has a status |
/// | length   | 8     | of everything that follows |
/// | pairing  |       | PIN, dates of failures, date until which pairing is locked |
/// | spawned  |       | count, then each session |
/// | adopted  |       | count, then each tab, from version 2 with its status |
/// | apps     |       | count, then bundle identifier and identity of each |
///
/// Version 1 is read too. Reading is strict: any other version, a byte too few or too many, a value that
/// cannot occur, a bound exceeded, applications out of order, and a terminal or an identity that occurs twice
/// are errors.
namespace HandOverFormat {

inline constexpr std::uint32_t version = 2;
/// The largest encoded size that is read: room for all agents of a busy machine, each with a full scrollback.
inline constexpr std::size_t maxSize = 1U << 30;

Bytes encode(const HandOver& handOver);
/// The error is a text for the log.
std::expected<HandOver, std::string> decode(ByteView bytes);

/// A hand-over with a value in every field, which a new version is asked to read before it is trusted. Its
/// terminals and processes do not exist.
HandOver sample();

}  // namespace HandOverFormat

}  // namespace quorl
