// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Handover/HandOver.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include <QuorlHostCore/Text/TerminalText.h>

namespace quorl {
namespace {

Bytes sampleBytes() {
  return HandOverFormat::encode(HandOverFormat::sample());
}

std::string errorOf(const HandOver& handOver) {
  const auto decoded = HandOverFormat::decode(HandOverFormat::encode(handOver));
  return decoded ? std::string() : decoded.error();
}

TEST(HandOver, comesBackAsItWasWritten) {
  const auto decoded = HandOverFormat::decode(sampleBytes());
  ASSERT_TRUE(decoded) << decoded.error();
  EXPECT_EQ(*decoded, HandOverFormat::sample());
}

TEST(HandOver, mayBeEmpty) {
  const auto decoded = HandOverFormat::decode(HandOverFormat::encode({}));
  ASSERT_TRUE(decoded) << decoded.error();
  EXPECT_EQ(*decoded, HandOver{});
}

TEST(HandOver, keepsAnyBytesInTextsAndTheLargestValues) {
  HandOver handOver = HandOverFormat::sample();
  AgentsSnapshot::Spawned& agent = handOver.agents.spawned[0];
  agent.session.command = std::string("\0\xff\x80\n", 4);
  agent.session.displayName = std::string(100'000, 'n');
  agent.session.scrollback = Bytes(Scrollback::limit, 0xff);
  agent.session.terminal->unwritten = Bytes(3U << 20, 0);
  agent.session.status.sinceCreation = std::chrono::hours(24 * 365 * 50);
  const auto decoded = HandOverFormat::decode(HandOverFormat::encode(handOver));
  ASSERT_TRUE(decoded) << decoded.error();
  EXPECT_TRUE(*decoded == handOver);
}

TEST(HandOver, beginsWithItsNameVersionAndLength) {
  const Bytes bytes = sampleBytes();
  EXPECT_EQ(textOf(ByteView(bytes).first(4)), "QHHO");
  EXPECT_EQ(Bytes(bytes.begin() + 4, bytes.begin() + 8), (Bytes{2, 0, 0, 0}));
  const std::size_t length = bytes.size() - 16;
  EXPECT_EQ(bytes[8], length & 0xff);
  EXPECT_EQ(bytes[9], length >> 8 & 0xff);
}

TEST(HandOver, ofAnotherVersionIsRefused) {
  for (const std::uint8_t version : {0, 3, 255}) {
    Bytes bytes = sampleBytes();
    bytes[4] = version;
    const auto decoded = HandOverFormat::decode(bytes);
    ASSERT_FALSE(decoded);
    EXPECT_EQ(decoded.error(), "version " + std::to_string(version) + " instead of 2");
  }
}

// A host from before tabs had a status: the byte of the status and the mark before it are missing.
TEST(HandOver, ofTheFirstVersionIsReadWithoutTheStatusOfTabs) {
  HandOver expected = HandOverFormat::sample();
  expected.agents.adopted[0].status.reset();
  const std::string bundle = expected.agents.guiAppIDs.begin()->first;
  Bytes bytes = sampleBytes();
  bytes[4] = 1;
  bytes[8] -= 2;
  const std::size_t applications = 4 + 4 + bundle.size() + 16;
  const auto status = bytes.end() - static_cast<std::ptrdiff_t>(applications + 2);
  ASSERT_EQ(*status, 1);
  bytes.erase(status, status + 2);
  const auto decoded = HandOverFormat::decode(bytes);
  ASSERT_TRUE(decoded) << decoded.error();
  EXPECT_EQ(*decoded, expected);
  EXPECT_EQ(HandOverFormat::encode(expected), bytes);
}

TEST(HandOver, isRefusedWhereverItIsCut) {
  const Bytes bytes = sampleBytes();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(HandOverFormat::decode(cut)) << size;
    if (size < 16) continue;
    // With the right length too, so that the fields themselves are cut.
    const auto length = static_cast<std::uint64_t>(size - 16);
    for (std::size_t i = 0; i < 8; ++i) cut[8 + i] = static_cast<std::uint8_t>(length >> (8 * i));
    EXPECT_FALSE(HandOverFormat::decode(cut)) << size;
  }
}

TEST(HandOver, withBytesAfterItsEndIsRefused) {
  Bytes bytes = sampleBytes();
  bytes.push_back(0);
  EXPECT_FALSE(HandOverFormat::decode(bytes));
  ++bytes[8];
  const auto decoded = HandOverFormat::decode(bytes);
  ASSERT_FALSE(decoded);
  EXPECT_EQ(decoded.error(), "bytes after the end");
}

TEST(HandOver, withAnyByteChangedIsReadOrRefusedAndNothingElse) {
  const Bytes bytes = sampleBytes();
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const std::uint8_t value : {0x00, 0x01, 0x7f, 0xff}) {
      Bytes changed = bytes;
      changed[at] = value;
      const auto decoded = HandOverFormat::decode(changed);
      if (decoded) {
        EXPECT_EQ(HandOverFormat::encode(*decoded), changed) << at;
      }
    }
  }
}

TEST(HandOver, withAHugeCountCostsNoMemory) {
  Bytes bytes = HandOverFormat::encode({});
  for (std::size_t at = 16; at + 4 <= bytes.size(); ++at) {
    Bytes changed = bytes;
    for (std::size_t i = 0; i < 4; ++i) changed[at + i] = 0xff;
    EXPECT_FALSE(HandOverFormat::decode(changed)) << at;
  }
}

TEST(HandOver, withValuesThatCannotBeIsRefused) {
  const auto changed = [](const std::function<void(PTYSessionSnapshot&)>& change) {
    HandOver handOver = HandOverFormat::sample();
    change(handOver.agents.spawned[0].session);
    return errorOf(handOver);
  };
  EXPECT_EQ(changed([](auto& session) { session.scrollback = Bytes(Scrollback::limit + 1); }),
            "too many bytes");
  EXPECT_EQ(changed([](auto& session) { session.modesAtBegin = Bytes(1U << 20); }), "too many bytes");
  EXPECT_EQ(changed([](auto& session) { session.terminal->handle = -1; }),
            "a terminal without a process or a descriptor");
  EXPECT_EQ(changed([](auto& session) { session.terminal->pid = 0; }),
            "a terminal without a process or a descriptor");
  EXPECT_EQ(changed([](auto& session) { session.exitCode = 0; }),
            "a session that is neither alive nor ended");
  EXPECT_EQ(changed([](auto& session) { session.terminal.reset(); }),
            "a session that is neither alive nor ended");
  EXPECT_EQ(changed([](auto& session) { session.status.status = AgentStatus::exited; }),
            "a status that contradicts the process");
  EXPECT_EQ(changed([](auto& session) { session.status.status = static_cast<AgentStatus>(9); }),
            "an unknown value");
  EXPECT_EQ(changed([](auto& session) { session.lastOutput = Date{std::nan("")}; }), "not a date");
  EXPECT_EQ(changed([](auto& session) { session.killDelay = Duration::max(); }), "too long a time");
}

TEST(HandOver, withAnAgentThatOccursTwiceIsRefused) {
  HandOver handOver = HandOverFormat::sample();
  handOver.agents.spawned[1].session.id = handOver.agents.spawned[0].session.id;
  EXPECT_EQ(errorOf(handOver), "an agent that occurs twice");
  handOver = HandOverFormat::sample();
  handOver.agents.spawned.push_back(handOver.agents.spawned[0]);
  handOver.agents.spawned.back().session.id = UUID{{9}};
  EXPECT_EQ(errorOf(handOver), "an agent that occurs twice") << "two owners of one terminal";
  handOver = HandOverFormat::sample();
  handOver.agents.adopted.push_back(handOver.agents.adopted[0]);
  EXPECT_EQ(errorOf(handOver), "a tab that occurs twice");
}

}  // namespace
}  // namespace quorl
