// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SimulatedWorld.h"

namespace quorl::test {
namespace {

constexpr int actions = 400;

// QUORL_SEED is one interleaving to replay, QUORL_SEEDS the number of seeds to try.
std::uint64_t environmentOr(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

TEST(Simulation, keepsTheLawsUnderEveryInterleaving) {
  const std::uint64_t first = environmentOr("QUORL_SEED", 1);
  const std::uint64_t count = environmentOr("QUORL_SEEDS", std::getenv("QUORL_SEED") ? 1 : 240);
  SimulatedClient::Tally sum;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    SimulatedWorld world(seed);
    EXPECT_THAT(world.run(actions), testing::IsEmpty()) << "replay with QUORL_SEED=" << seed;
    sum.authentications += world.tally().authentications;
    sum.streams += world.tally().streams;
    sum.videoFrames += world.tally().videoFrames;
    sum.errors += world.tally().errors;
  }
  RecordProperty("authentications", static_cast<int>(sum.authentications));
  // Invariants that nothing exercised would prove nothing.
  if (count < 100) return;
  EXPECT_GT(sum.authentications, count);
  EXPECT_GT(sum.streams, count);
  EXPECT_GT(sum.videoFrames, count);
  EXPECT_GT(sum.errors, count / 2);
}

TEST(Simulation, repeatsARunFromItsSeed) {
  const auto life = [] {
    SimulatedWorld world(7);
    world.run(actions);
    const auto tally = world.tally();
    return std::vector{tally.authentications, tally.streams, tally.videoFrames, tally.errors};
  };
  EXPECT_EQ(life(), life());
}

TEST(Simulation, noticesABrokenLaw) {
  SimulatedWorld world(1, SimulatedWorld::Fault::sharedPort);
  EXPECT_THAT(world.run(actions), testing::Contains("a port has more than one owner"));
}

}  // namespace
}  // namespace quorl::test
