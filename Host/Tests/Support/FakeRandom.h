// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <random>

#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl::test {

/// Random bytes from a seed.
///
/// *Queue*: the simulation's one thread.
class FakeRandom : public SecureRandom {
 public:
  explicit FakeRandom(std::uint64_t seed = 1) : random_(seed) {}
  void fill(std::span<std::uint8_t> out) override {
    for (std::uint8_t& byte : out) byte = static_cast<std::uint8_t>(random_());
  }

 private:
  std::mt19937_64 random_;
};

}  // namespace quorl::test
