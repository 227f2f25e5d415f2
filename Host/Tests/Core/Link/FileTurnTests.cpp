// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Link/PictureGate.h>

#include "SimulatedLink.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr double fiveMegabits = 625'000;

// A transport that takes everything at once and delivers it over a simulated link.
class LinkTransport final : public NetworkConnection {
 public:
  LinkTransport(const Scheduler& scheduler, double rate, Duration roundTrip)
      : scheduler_(scheduler), link_([rate](MonotonicTime) { return rate; }, roundTrip) {}
  void start(SerialQueue, StateHandler) override {}
  void receive(std::size_t, Receive) override {}
  void send(OutgoingFrame, Sent) override {}
  void sendBytes(SharedBytes, Sent) override {}
  void cancel() override {}
  std::optional<HostPort> remoteEndpoint() const override { return std::nullopt; }
  std::optional<HostPort> localEndpoint() const override { return std::nullopt; }
  TransportProgress progress() override {
    link_.advanceTo(scheduler_.now());
    return {link_.acknowledged(), link_.roundTrip()};
  }
  void limitUnsent(std::size_t) override {}

  SimulatedLink& link() {
    link_.advanceTo(scheduler_.now());
    return link_;
  }

 private:
  const Scheduler& scheduler_;
  SimulatedLink link_;
};

class FileTurnTest : public testing::Test {
 protected:
  void connect(double rate, Duration roundTrip) {
    transport_ = std::make_shared<LinkTransport>(simulation_, rate, roundTrip);
    gate_ = std::make_shared<PictureGate>(queue_, transport_);
  }
  void sent(std::size_t bytes) {
    transport_->link().send(bytes);
    gate_->accepted(bytes);
    longestQueue_ = std::max(longestQueue_, transport_->link().waiting());
  }
  // A file that always has more to send.
  void sendFile() {
    for (;;) {
      const FileTurn turn = gate_->admitFile([this] { queue_.async([this] { sendFile(); }); });
      if (turn.kind != FileTurn::Kind::go) return;
      sent(turn.bytes);
      fileBytes_ += turn.bytes;
    }
  }
  // A stream that makes its next picture as soon as it may, as large as its budget allows at 30 a second.
  void sendPictures() {
    const auto budget = gate_->admit({.streamID = 1, .wantedRate = 3'000'000, .whenOpen = [this] {
                                        queue_.async([this] { sendPictures(); });
                                      }});
    if (!budget) return;
    const auto bytes = static_cast<std::size_t>(budget->bytesPerSecond / 30);
    sent(bytes);
    pictureBytes_ += bytes;
    picture_ = queue_.after(milliseconds(33), [this] { sendPictures(); });
  }

  SimulatedScheduler simulation_;
  SerialQueue queue_{simulation_, "test", QueueRank::connection};
  std::shared_ptr<LinkTransport> transport_;
  std::shared_ptr<PictureGate> gate_;
  std::size_t fileBytes_ = 0;
  std::size_t pictureBytes_ = 0;
  double longestQueue_ = 0;  // bytes
  Timer picture_;
};

TEST_F(FileTurnTest, aFileUsesTheLinkAndKeepsTheQueueInFrontOfItShort) {
  connect(fiveMegabits, milliseconds(40));
  sendFile();
  simulation_.advance(seconds(5));
  fileBytes_ = 0;
  longestQueue_ = 0;
  simulation_.advance(seconds(10));
  EXPECT_GT(static_cast<double>(fileBytes_), fiveMegabits * 10 * 0.85);
  EXPECT_LT(longestQueue_ / fiveMegabits, 0.12) << "seconds that an echo waits";
}

TEST_F(FileTurnTest, aFileAndPicturesShareTheLink) {
  connect(fiveMegabits, milliseconds(40));
  sendPictures();
  simulation_.advance(seconds(5));
  sendFile();
  simulation_.advance(seconds(5));
  fileBytes_ = 0;
  pictureBytes_ = 0;
  longestQueue_ = 0;
  simulation_.advance(seconds(20));
  EXPECT_GT(static_cast<double>(fileBytes_), fiveMegabits * 20 * 0.15) << "files are not starved";
  EXPECT_GT(static_cast<double>(pictureBytes_), fiveMegabits * 20 * 0.45) << "pictures have the larger share";
  EXPECT_LT(longestQueue_ / fiveMegabits, 0.15) << "seconds that an echo waits";
}

TEST_F(FileTurnTest, aFastLinkIsUsed) {
  connect(125'000'000, milliseconds(1));
  sendFile();
  simulation_.advance(seconds(2));
  fileBytes_ = 0;
  simulation_.advance(seconds(1));
  EXPECT_GT(static_cast<double>(fileBytes_), 125'000'000 * 0.85);
}

TEST_F(FileTurnTest, isEndedAfterTheSession) {
  connect(fiveMegabits, milliseconds(40));
  gate_->close();
  EXPECT_EQ(gate_->admitFile([] { FAIL(); }), FileTurn{.kind = FileTurn::Kind::ended});
}

TEST_F(FileTurnTest, noFileIsWokenAfterTheSession) {
  connect(fiveMegabits, milliseconds(40));
  sendFile();
  const std::size_t before = fileBytes_;
  gate_->close();
  simulation_.advance(seconds(5));
  EXPECT_EQ(fileBytes_, before);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(FileTurnTest, noTimerRunsAfterTheLastFile) {
  connect(fiveMegabits, milliseconds(40));
  const FileTurn turn = gate_->admitFile([] {});
  ASSERT_EQ(turn.kind, FileTurn::Kind::go);
  sent(turn.bytes);
  simulation_.advance(seconds(5));
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorl::test
