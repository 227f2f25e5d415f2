// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>

namespace quorl {

/// A source of unpredictable bytes, injectable so that tests can replay a run.
///
/// *Queue*: as the implementation says. *Ownership*: the composition root's; users borrow it. *Lifetime*:
/// outlives its users.
class SecureRandom {
 public:
  virtual ~SecureRandom() = default;

  virtual void fill(std::span<std::uint8_t> out) = 0;

  /// A value in [0, upperBoundExclusive), all with equal probability. The bound must not be 0.
  std::uint32_t uniform(std::uint32_t upperBoundExclusive);
};

/// The system's cryptographic generator.
///
/// *Queue*: any; it has no state.
class SystemSecureRandom final : public SecureRandom {
 public:
  void fill(std::span<std::uint8_t> out) override;
  static SystemSecureRandom& shared();
};

}  // namespace quorl
