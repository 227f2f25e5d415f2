// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sound/PulseSoundCapture.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Log/Log.h>
#include <Support/Eventually.h>

#include "DecodedSound.h"
#include "SoundServer.h"

namespace quorl::test {
namespace {

using std::chrono::seconds;

/// Collects what a capture delivers and waits for it.
class Collected {
 public:
  void add(const PCMBuffer& buffer) {
    const std::lock_guard lock(mutex_);
    const auto count = buffer.samples.size() / sizeof(float) / 2;
    for (std::size_t frame = 0; frame < count; ++frame) {
      float sample = 0;
      std::memcpy(&sample, buffer.samples.data() + frame * 2 * sizeof sample, sizeof sample);
      left_.push_back(sample);
    }
    ++buffers_;
    changed_.notify_all();
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    left_.clear();
  }
  std::size_t buffers() {
    const std::lock_guard lock(mutex_);
    return buffers_;
  }
  /// Waits until the last second is whole and has this pitch.
  bool waitForPitch(double pitch, seconds limit = seconds(30)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
      if (left_.size() < 48'000) return false;
      const std::vector<float> last(left_.end() - 48'000, left_.end());
      return std::abs(pitchOf(last, 48'000) - pitch) < 1 && peakOf(last) > 0.1F;
    });
  }
  bool waitForFrames(std::size_t count, seconds limit = seconds(30)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return left_.size() >= count; });
  }
  bool isSilent() {
    const std::lock_guard lock(mutex_);
    return std::ranges::all_of(left_, [](float sample) { return sample == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<float> left_;
  std::size_t buffers_ = 0;
};

/// The error lines of the system log, from any thread.
class ErrorLog {
 public:
  ErrorLog() { Log::setSink(sink_); }
  ~ErrorLog() { Log::setSink(nullptr); }
  std::size_t count(const std::string& text) const {
    const std::lock_guard lock(sink_->mutex);
    return static_cast<std::size_t>(std::ranges::count(sink_->lines, text));
  }

 private:
  struct Sink final : LogSink {
    void write(LogLevel level, std::string_view, std::string_view text) override {
      const std::lock_guard lock(mutex);
      if (level == LogLevel::error) lines.emplace_back(text);
    }
    std::mutex mutex;
    std::vector<std::string> lines;
  };
  std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

class PulseSoundCaptureTest : public testing::Test {
 protected:
  ~PulseSoundCaptureTest() override { stop(); }

  void start(const PCMFormat& format = {}) {
    queue.sync([&] {
      auto made = capture.makeStream(format, queue, {.captured = [this](const PCMBuffer& buffer) {
                                       queue.assertCurrent();
                                       collected.add(buffer);
                                     }});
      ASSERT_TRUE(made);
      stream = std::move(*made);
      stream->start([this](std::optional<PortError> error) {
        queue.assertCurrent();
        EXPECT_FALSE(error);
        ++answers;
      });
    });
  }
  void stop() {
    queue.sync([this] { stream.reset(); });
  }

  bool waitForComplaint(const std::string& cause) {
    return eventually([&] { return log.count("audio capture waits for the sound server: " + cause) > 0; },
                      seconds(30));
  }

  ErrorLog log;
  SoundServer server;
  PoolScheduler scheduler;
  SerialQueue queue{scheduler, "test.audio", QueueRank::service};
  Collected collected;
  PulseSoundCapture capture;
  std::unique_ptr<SoundStream> stream;
  std::atomic<int> answers = 0;
};

TEST_F(PulseSoundCaptureTest, hearsWhatTheMachinePlays) {
  server.start();
  start();
  server.playTone(997);
  EXPECT_TRUE(collected.waitForPitch(997));
  EXPECT_EQ(answers, 1);
}

TEST_F(PulseSoundCaptureTest, deliversSilenceWhileNothingPlays) {
  server.start();
  start();
  EXPECT_TRUE(collected.waitForFrames(24'000));
  EXPECT_TRUE(collected.isSilent());
}

TEST_F(PulseSoundCaptureTest, deliversSmallPieces) {
  server.start();
  start();
  server.playTone(997);
  ASSERT_TRUE(collected.waitForPitch(997));
  collected.clear();
  const std::size_t before = collected.buffers();
  ASSERT_TRUE(collected.waitForFrames(96'000));
  const auto pieces = collected.buffers() - before;
  EXPECT_GE(pieces, 96'000U / 1'024) << "21 ms on average at most";
  EXPECT_LE(pieces, 96'000U / 128);
}

TEST_F(PulseSoundCaptureTest, followsAnotherDefaultOutput) {
  server.start();
  server.addOutput("second");
  server.playTone(1499, "second");
  start();
  ASSERT_TRUE(collected.waitForFrames(24'000));
  EXPECT_TRUE(collected.isSilent()) << "the tone is on the other output";
  server.setDefaultOutput("second");
  EXPECT_TRUE(collected.waitForPitch(1499));
  EXPECT_EQ(server.recordedDevices(), "second.monitor\n");
  // The server moves what plays with the default.
  server.setDefaultOutput("first");
  EXPECT_TRUE(eventually([this] { return server.recordedDevices() == "first.monitor\n"; }));
  collected.clear();
  EXPECT_TRUE(collected.waitForPitch(1499));
}

TEST_F(PulseSoundCaptureTest, followsWhenTheDefaultOutputIsUnplugged) {
  server.start();
  server.addOutput("second");
  start();
  server.playTone(1499, "second");
  ASSERT_TRUE(collected.waitForFrames(4'800));
  server.removeOutput("first");
  EXPECT_TRUE(collected.waitForPitch(1499));
}

TEST_F(PulseSoundCaptureTest, hearsAgainWhenALastOutputComesBack) {
  server.start();
  start();
  ASSERT_TRUE(collected.waitForFrames(4'800));
  server.removeOutput("first");
  server.addOutput("second");
  server.playTone(1499, "second");
  EXPECT_TRUE(collected.waitForPitch(1499));
}

TEST_F(PulseSoundCaptureTest, usesAServerThatWasKilledAndStartedAgain) {
  server.start();
  start();
  ASSERT_TRUE(collected.waitForFrames(4'800));
  server.kill();
  EXPECT_TRUE(waitForComplaint("Connection terminated"));
  server.start();
  server.playTone(997);
  EXPECT_TRUE(collected.waitForPitch(997));
  EXPECT_EQ(answers, 1) << "the start was answered before";
}

TEST_F(PulseSoundCaptureTest, usesAServerThatStartsLater) {
  start();
  EXPECT_TRUE(waitForComplaint("Connection refused"));
  EXPECT_EQ(answers, 0);
  server.start();
  server.playTone(997);
  EXPECT_TRUE(collected.waitForPitch(997));
  EXPECT_EQ(answers, 1);
}

TEST_F(PulseSoundCaptureTest, usesAServerThatHungAndGoesOn) {
  server.start();
  start();
  ASSERT_TRUE(collected.waitForFrames(4'800));
  server.pause();
  EXPECT_TRUE(waitForComplaint("the sound server does not answer"));
  server.resume();
  server.playTone(997);
  EXPECT_TRUE(collected.waitForPitch(997));
  EXPECT_TRUE(eventually([this] { return server.recordedDevices() == "first.monitor\n"; }))
      << "the old connection has ended";
}

TEST_F(PulseSoundCaptureTest, isNotConnectedWithoutAStream) {
  server.start();
  EXPECT_EQ(server.clients(), 0U);
  start();
  ASSERT_TRUE(collected.waitForFrames(4'800));
  EXPECT_EQ(server.recordedDevices(), "first.monitor\n");
  stop();
  EXPECT_TRUE(eventually([this] { return server.clients() == 0; }));
  EXPECT_EQ(server.recordedDevices(), "");
}

TEST_F(PulseSoundCaptureTest, capturesAgainAfterAnEnd) {
  server.start();
  for (int round = 0; round < 3; ++round) {
    collected.clear();
    start();
    EXPECT_TRUE(collected.waitForFrames(4'800));
    stop();
  }
  EXPECT_EQ(answers, 3);
}

TEST_F(PulseSoundCaptureTest, callsNothingAfterItsEnd) {
  server.start();
  for (int round = 0; round < 50; ++round) {
    start();
    if (round % 2 == 0) {
      ASSERT_TRUE(collected.waitForFrames(1));
    }
    std::size_t atEnd = 0;
    queue.sync([&] {
      stream->stop();
      stream.reset();
      atEnd = collected.buffers();
    });
    queue.sync([] {});
    EXPECT_EQ(collected.buffers(), atEnd);
    collected.clear();
  }
}

TEST_F(PulseSoundCaptureTest, endsWhileItWaitsForAServer) {
  start();
  stop();
  start();
  EXPECT_TRUE(waitForComplaint("Connection refused"));
  stop();
  EXPECT_EQ(answers, 0);
}

TEST_F(PulseSoundCaptureTest, mayEndInItsHandler) {
  server.start();
  std::atomic<bool> ended = false;
  queue.sync([&] {
    auto made = capture.makeStream({}, queue, {.captured = [&](const PCMBuffer&) {
                                     EXPECT_FALSE(ended);
                                     stream.reset();
                                     ended = true;
                                   }});
    stream = std::move(*made);
    stream->start([](const std::optional<PortError>&) {});
  });
  EXPECT_TRUE(eventually([&] { return ended.load(); }));
  EXPECT_TRUE(eventually([this] { return server.clients() == 0; }));
}

TEST_F(PulseSoundCaptureTest, aStreamMayOutliveItsCapture) {
  server.start();
  auto other = std::make_unique<PulseSoundCapture>();
  queue.sync([&] {
    stream = std::move(*other->makeStream(
        {}, queue, {.captured = [this](const PCMBuffer& buffer) { collected.add(buffer); }}));
    stream->start([](const std::optional<PortError>&) {});
  });
  other.reset();
  EXPECT_TRUE(collected.waitForFrames(4'800));
  stop();
}

TEST_F(PulseSoundCaptureTest, refusesAFormatThatDoesNotExist) {
  for (const PCMFormat& format : {PCMFormat{.sampleRate = 0}, PCMFormat{.channels = 0},
                                  PCMFormat{.channels = 33}, PCMFormat{.sampleRate = 1'000'000}}) {
    const auto made = capture.makeStream(format, queue, {});
    ASSERT_FALSE(made);
    EXPECT_NE(made.error().description.find("channels at"), std::string::npos);
  }
}

TEST_F(PulseSoundCaptureTest, capturesTheWantedFormat) {
  server.start();
  const PCMFormat wanted{.sampleRate = 44'100, .channels = 1, .samples = SampleType::int16};
  std::atomic<std::size_t> bytes = 0;
  queue.sync([&] {
    stream = std::move(*capture.makeStream(wanted, queue, {.captured = [&](const PCMBuffer& buffer) {
                                             EXPECT_EQ(buffer.format, wanted);
                                             EXPECT_EQ(buffer.samples.size() % 2, 0U);
                                             bytes += buffer.samples.size();
                                           }}));
    stream->start([](const std::optional<PortError>&) {});
  });
  EXPECT_TRUE(eventually([&] { return bytes > 8'820; }));
}

}  // namespace
}  // namespace quorl::test
