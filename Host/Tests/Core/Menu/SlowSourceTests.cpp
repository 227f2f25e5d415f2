// SPDX-License-Identifier: GPL-3.0-or-later
// Real threads: a source that hangs must not hold up the windows.
#include <atomic>
#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Menu/Service/MenuService.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <Support/Eventually.h>
#include <Support/FakeMenuSurface.h>
#include <Support/FakePlatform.h>

namespace quorl::test {
namespace {

/// Blocks readers until it is released.
class Gate {
 public:
  void pass() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOpen_; });
  }
  void waitForReader() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_ > 0; });
  }
  void release() {
    const std::scoped_lock lock(mutex_);
    isOpen_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOpen_ = false;
  int waiting_ = 0;
};

/// Drops the log, which comes from several threads.
class QuietLog {
 public:
  QuietLog() { Log::setSink(std::make_shared<Sink>()); }
  ~QuietLog() { Log::setSink(nullptr); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  struct Sink final : LogSink {
    void write(LogLevel, std::string_view, std::string_view) override {}
  };
};

/// Counts the snapshots, from any thread.
class CountingSurface final : public FakeMenuSurface {
 public:
  void send(std::string line) override {
    const std::scoped_lock lock(mutex_);
    FakeMenuSurface::send(std::move(line));
  }
  std::optional<PopoverSnapshot> newest() {
    const std::scoped_lock lock(mutex_);
    return popover();
  }

 private:
  std::mutex mutex_;
};

TEST(SlowSource, doesNotHoldUpThePopover) {
  const QuietLog log;
  PoolScheduler pool;
  SimulatedScheduler unused;
  FakePlatform fakes(unused);
  Platform platform = fakes.platform();
  platform.scheduler = &pool;
  HostCoreConfig config = HostCoreConfig::menuBar;
  config.enableBackgroundServices = false;
  config.fixedPIN = "123456";
  const auto runtime = HostRuntime::make(config, platform);
  const auto surface = std::make_shared<CountingSurface>();
  Gate gate;
  const auto menu = MenuService::make(pool,
                                      {.port = config.port,
                                       .server = runtime->server(),
                                       .trustStore = runtime->trustStore(),
                                       .pairing = runtime->pairing(),
                                       .permissions = platform.permissions,
                                       .machine = platform.machine,
                                       .loginItem = nullptr,
                                       .network =
                                           [&gate] {
                                             gate.pass();
                                             NetworkStatus status;
                                             status.lanAddresses = {"192.168.1.5"};
                                             return std::optional(status);
                                           }},
                                      {.surface = surface, .notifier = nullptr, .quit = [] {}});
  menu->start();
  surface->say(menuAction::PanelOpened{});
  gate.waitForReader();
  // The source blocks until the gate opens, so a snapshot now did not wait for it.
  EXPECT_TRUE(eventually([&] { return surface->newest().has_value(); }, std::chrono::seconds(30)));
  EXPECT_EQ(surface->newest()->pin, "123456");
  EXPECT_EQ(surface->newest()->reachability, "LAN only");
  runtime->trustStore()->addDevice(UUID{}, "Pad");
  EXPECT_TRUE(eventually([&] { return surface->newest()->pairedDevices == "1 paired device"; },
                         std::chrono::seconds(30)))
      << "later changes appear too";
  gate.release();
  EXPECT_TRUE(eventually([&] { return surface->newest()->reachability == "LAN only · 192.168.1.5"; },
                         std::chrono::seconds(30)));
  menu->stop();
}

/// A login manager that hangs until the gate opens.
class HangingLoginSessions final : public FakeLoginSessions {
 public:
  explicit HangingLoginSessions(Gate& gate)
      : FakeLoginSessions("ada", std::make_shared<FakeConsole>()), gate_(gate) {}
  std::optional<std::string> consoleUser() override {
    gate_.pass();
    return "ada";
  }

 private:
  Gate& gate_;
};

TEST(SlowSource, isNotShownAsAFactBeforeItHasAnswered) {
  const QuietLog log;
  PoolScheduler pool;
  SimulatedScheduler unused;
  FakePlatform fakes(unused);
  Gate gate;
  Platform platform = fakes.platform();
  platform.scheduler = &pool;
  platform.loginSessions = std::make_shared<HangingLoginSessions>(gate);
  HostCoreConfig config = HostCoreConfig::menuBar;
  config.enableBackgroundServices = false;
  config.multiUserPortHandoff = false;
  config.enableRelay = false;
  const auto runtime = HostRuntime::make(config, platform);
  ASSERT_TRUE(runtime->start());
  const auto surface = std::make_shared<CountingSurface>();
  const auto menu = MenuService::make(pool,
                                      {.port = config.port,
                                       .server = runtime->server(),
                                       .trustStore = runtime->trustStore(),
                                       .pairing = runtime->pairing(),
                                       .permissions = platform.permissions,
                                       .machine = platform.machine,
                                       .loginItem = nullptr,
                                       .network = nullptr},
                                      {.surface = surface, .notifier = nullptr, .quit = [] {}});
  menu->start();
  surface->say(menuAction::PanelOpened{});
  gate.waitForReader();
  EXPECT_TRUE(eventually([&] { return surface->newest().has_value(); }, std::chrono::seconds(30)));
  EXPECT_EQ(surface->newest()->statusLine, "Waiting for a device…");
  gate.release();
  menu->stop();
  runtime->stop();
}

}  // namespace
}  // namespace quorl::test
