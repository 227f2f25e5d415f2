// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/SeenOutput.h>

#include <random>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using Kind = SeenOutput::Join::Kind;

Bytes noise(std::size_t size, unsigned seed) {
  std::mt19937 random(seed);
  Bytes bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

ByteView part(const Bytes& bytes, std::size_t begin, std::size_t end) {
  return ByteView(bytes).subspan(begin, end - begin);
}

TEST(SeenOutput, findsWhereNewOutputStarts) {
  std::mt19937 random(7);
  for (unsigned round = 0; round < 60; ++round) {
    const auto stream = noise(100 + random() % 400'000, round);
    const auto seenTo = 64 + random() % (stream.size() - 63);
    const auto keptFrom = stream.size() - std::min<std::size_t>(stream.size(), 250'000 + random() % 12'000);
    SeenOutput seen;
    for (std::size_t at = 0; at < seenTo; at += 50'000)
      seen.append(part(stream, at, std::min(at + 50'000, seenTo)));
    const auto join = seen.join(part(stream, keptFrom, stream.size()));
    if (seenTo < keptFrom + 64) {
      EXPECT_EQ(join.kind, Kind::gap) << round;
    } else {
      EXPECT_EQ(join.kind, Kind::follows) << round;
      EXPECT_EQ(join.newFrom, seenTo - keptFrom) << round;
    }
  }
}

TEST(SeenOutput, findsNothingNewInTheSameOutput) {
  for (const std::string text :
       {"$ ", "short", "a longer one, with more than the sixty-four bytes that convince alone"}) {
    SeenOutput seen;
    seen.append(viewOf(text));
    const auto join = seen.join(viewOf(text));
    EXPECT_EQ(join.kind, Kind::follows);
    EXPECT_EQ(join.newFrom, text.size());
  }
}

TEST(SeenOutput, continuesAShortSessionWhereItStopped) {
  SeenOutput seen;
  seen.append(viewOf("a\r\n"));
  const auto join = seen.join(viewOf("a\r\na\r\na\r\n"));
  EXPECT_EQ(join.kind, Kind::follows);
  EXPECT_EQ(join.newFrom, 3U) << "a repetition is news";
}

TEST(SeenOutput, losesNothingOfRepeatingOutputThatIsKeptWhole) {
  std::string text;
  for (int line = 0; line < 2000; ++line) text += "y\r\n";
  SeenOutput seen;
  seen.append(viewOf(text));
  const auto join = seen.join(viewOf(text + "y\r\ny\r\n"));
  EXPECT_EQ(join.kind, Kind::follows);
  EXPECT_EQ(join.newFrom, text.size());
}

TEST(SeenOutput, doesNotTakeLiveOutputForAReplay) {
  SeenOutput seen;
  seen.append(noise(50'000, 1));
  EXPECT_EQ(seen.join(noise(4000, 2)).kind, Kind::live);
  EXPECT_EQ(seen.join(noise(SeenOutput::pieceLimit, 3)).kind, Kind::live);
  EXPECT_EQ(seen.join(noise(SeenOutput::replayLimit, 4)).kind, Kind::gap);
}

TEST(SeenOutput, treatsAllAsNewBeforeAnyOutput) {
  EXPECT_EQ(SeenOutput().join(viewOf("x")).kind, Kind::follows);
  EXPECT_EQ(SeenOutput().join(viewOf("x")).newFrom, 0U);
}

}  // namespace
}  // namespace quorl::client
