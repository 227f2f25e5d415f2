// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Display/StreamSession.h>
#include <Support/FakeMainThread.h>
#include <Support/FakeScreenCapture.h>
#include <Support/FakeVideoCompressor.h>
#include <Support/FakeWindowControl.h>
#include <Support/RecordingSink.h>

// Windows, displays and applications that vanish before any call to the port, under a client that does
// everything at random. A failure names its seed.
namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::uint64_t seeds = 400;
constexpr const char* bundleID = "org.example.notes";
const PointRect original{{101, 57}, {647, 473}};

enum class Disturbance : std::uint8_t { none, everything };

class World {
 public:
  World(std::uint64_t seed, Disturbance disturbance)
      : scheduler(seed), random_(seed), disturbance_(disturbance) {
    platform_.scheduler = &scheduler;
    platform_.screen = screen;
    platform_.compressors = compressors;
    platform_.mainThread = mainThread_;
    platform_.windows = windows;
    screen->content = ShareableContent{};
    screen->refresh = [this](ShareableContent& content) { refresh(content); };
    addWindow(77);
    applications_[bundleID] = 42;
    windows->beforeCall = [this](const std::string&) {
      if (disturbance_ == Disturbance::everything && one(20)) disturb();
    };
    StartStream request;
    request.streamID = 7;
    request.target =
        one(2) ? StreamTarget(streamTarget::Window{77}) : StreamTarget(streamTarget::App{bundleID});
    request.config = {.maxDimension = 4096, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.5};
    if (!one(4)) {
      request.clientPointWidth = 500 + number(2000);
      request.clientPointHeight = 500 + number(2000);
    }
    session = std::make_shared<StreamSession>(request, sink, platform_, std::make_shared<OriginalFrames>());
  }

  void act() {
    switch (number(12)) {
      case 0:
        return session->updateAspect(anyLength(), anyLength());
      case 1:
        return session->setAutoFit(one(2));
      case 2:
        return session->setWindowScale(one(10) ? std::numeric_limits<double>::quiet_NaN()
                                               : number(11) / 10.0);
      case 3:
        return session->update({.maxDimension = number(5000) - 100,
                                .maxFPS = number(100) - 10,
                                .codec = one(2) ? VideoCodec::h264 : VideoCodec::hevc,
                                .quality = number(20) / 10.0 - 0.5});
      case 4:
        return session->requestKeyframe();
      case 5:
      case 6:
        return session->raiseForInput({});
      case 7:
        if (!screen->streams().empty()) screen->deliverPicture(1, milliseconds(1));
        return;
      case 8:
        if (disturbance_ == Disturbance::everything) disturb();
        return;
      default:
        advance(milliseconds(number(3'000)));
    }
  }
  void advance(Duration span) {
    scheduler.advance(span);
    mainThread_->runPending();
    scheduler.runReady();
  }
  void settle() { advance(Duration::zero()); }
  /// Runs a part of the work that is ready.
  void runAWhile() {
    for (int count = number(8); count > 0; --count) scheduler.step();
  }
  bool one(int of) { return number(of) == 0; }
  int number(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  SimulatedScheduler scheduler;
  std::shared_ptr<FakeScreenCapture> screen = std::make_shared<FakeScreenCapture>(scheduler);
  std::shared_ptr<FakeWindowControl> windows = std::make_shared<FakeWindowControl>();
  std::shared_ptr<FakeVideoCompressorFactory> compressors = std::make_shared<FakeVideoCompressorFactory>();
  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::shared_ptr<StreamSession> session;

 private:
  double anyLength() {
    if (one(10)) return std::numeric_limits<double>::infinity();
    return one(10) ? 0 : 100 + number(3000);
  }

  void addWindow(std::uint32_t windowID) {
    if (windows->find(windowID)) return;
    FakeWindowControl::Entry entry;
    entry.windowID = windowID;
    entry.pid = 42;
    entry.title = "Notes";
    entry.frame = original;
    windows->entries.push_back(entry);
  }

  void refresh(ShareableContent& content) const {
    content = hasDisplay_ ? oneDisplay({1440, 832}, 5) : ShareableContent{};
    for (const auto& entry : windows->entries)
      content.windows.push_back({.windowID = entry.windowID,
                                 .pid = entry.pid,
                                 .title = entry.title,
                                 .frame = entry.frame,
                                 .isOnScreen = entry.isOnScreen});
    for (const auto& [identifier, pid] : applications_)
      content.applications.push_back({identifier, identifier, pid});
  }

  void disturb() {
    switch (number(10)) {
      case 0:
      case 1:
        return destroyOne();
      case 2:
        applications_.clear();
        while (!windows->entries.empty()) destroyOne();
        return;
      case 3:
      case 4:
        applications_[bundleID] = 42;
        return addWindow(one(2) ? 77 : 78);
      case 5:
        hasDisplay_ = !hasDisplay_;
        windows->screenFrames.clear();
        if (hasDisplay_)
          windows->screenFrames.push_back({{{0, 0}, {1440, 832}}, {{0, 32}, {1440, 800}}, true});
        return;
      default:
        change();
    }
  }

  // The last stream's capture reports most losses of its window.
  void destroyOne() {
    if (windows->entries.empty()) return;
    const auto windowID =
        windows->entries[static_cast<std::size_t>(number(static_cast<int>(windows->entries.size())))]
            .windowID;
    windows->destroy(windowID);
    if (screen->streams().empty() || one(5)) return;
    const auto* shown = std::get_if<WindowFilter>(&screen->lastStream().filter);
    if (shown && shown->windowID == windowID) screen->endCapture({"the window is gone", 0});
  }

  void change() {
    if (windows->entries.empty()) return;
    auto& entry = windows->entries.front();
    switch (number(6)) {
      case 0:
        entry.frame.size = {static_cast<double>(number(2000)), static_cast<double>(number(1000))};
        break;
      case 1:
        entry.frame.origin = {static_cast<double>(number(2000)), static_cast<double>(number(1000))};
        break;
      case 2:
        entry.isMinimized = true;
        entry.isOnScreen = false;
        break;
      case 3:
        entry.status = one(2) ? -25205 : 0;
        break;
      case 4:
        entry.isAccessible = one(2);
        break;
      default:
        entry.title = one(2) ? "" : "Other";
    }
  }

  std::mt19937_64 random_;
  const Disturbance disturbance_;
  Platform platform_;
  std::shared_ptr<FakeMainThread> mainThread_ = std::make_shared<FakeMainThread>();
  std::map<std::string, std::int32_t> applications_;
  bool hasDisplay_ = true;
};

void expectNothingLeft(World& world) {
  const std::size_t sent = world.sink->order.size();
  const std::size_t calls = world.windows->calls.size();
  EXPECT_EQ(world.screen->runningStreams(), 0U);
  EXPECT_EQ(world.compressors->runningSessions(), 0U);
  EXPECT_EQ(world.scheduler.pendingTimers(), 0U);
  world.advance(seconds(30));
  EXPECT_EQ(world.sink->order.size(), sent) << "sent after the stop";
  EXPECT_EQ(world.windows->calls.size(), calls) << "touched windows after the stop";
}

// Half of the streams end with work of the client still to do.
void end(World& world) {
  const bool isIdle = world.one(2);
  if (isIdle) world.settle();
  const std::size_t before = world.windows->callsOf("setPosition").size();
  if (!world.one(3)) world.session->stop();
  if (world.one(2)) world.runAWhile();
  if (world.one(3)) world.session->stop();
  if (world.one(2)) world.session.reset();
  world.settle();
  if (world.session) world.session->stop();
  world.settle();
  if (isIdle) {
    EXPECT_LE(world.windows->callsOf("setPosition").size(), before + 1) << "given back once";
  }
  expectNothingLeft(world);
}

void expectNoSecondReturn(const World& world) {
  const std::string back = "setPosition 77 101,57";
  const auto positions = world.windows->callsOf("setPosition");
  for (std::size_t index = 1; index < positions.size(); ++index)
    EXPECT_FALSE(positions[index] == back && positions[index - 1] == back) << "given back twice in a row";
}

TEST(Vanishing, leavesNothingRunningWhateverVanishes) {
  std::size_t failures = 0;
  std::size_t pictures = 0;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    World world(seed, Disturbance::everything);
    world.scheduler.afterEachStep([&] { ASSERT_LE(world.screen->runningStreams(), 1U); });
    world.session->start();
    world.runAWhile();
    for (int step = 0; step < 40; ++step) world.act();
    failures += world.sink->messages<message::Error>().size();
    pictures += world.sink->videos.size();
    end(world);
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(failures, seeds / 10) << "too little vanished";
  EXPECT_GT(pictures, seeds / 2) << "too few streams ran";
}

TEST(Vanishing, givesTheFrameBackWhenNothingElseChangesTheWindow) {
  std::size_t fits = 0;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    World world(seed, Disturbance::none);
    world.session->start();
    world.runAWhile();
    for (int step = 0; step < 40; ++step) world.act();
    fits += world.windows->callsOf("setPosition").size();
    end(world);
    EXPECT_EQ(world.windows->find(77)->frame, original);
    expectNoSecondReturn(world);
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(fits, seeds) << "too little was fitted";
}

}  // namespace
}  // namespace quorl::test
