// SPDX-License-Identifier: GPL-3.0-or-later
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Agents/Terminals/PTYSession.h>
#include <QuorlHostCore/Display/StreamSession.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Session/HostHandshakeAuthority.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlHostCore/Users/UserSessionManager.h>
#include <Support/FakePlatform.h>
#include <Support/FakeWindowControl.h>
#include <Support/RecordingSink.h>

// Port calls that wait for a disk, another process or another thread run as blocking work, so that the pool
// replaces the thread.
namespace quorl::test {
namespace {

/// The simulation, with a record of the port calls that ran outside `blocking`.
class WatchedScheduler final : public Scheduler {
 public:
  explicit WatchedScheduler(SimulatedScheduler& simulation) : simulation_(simulation) {}

  MonotonicTime now() const override { return simulation_.now(); }
  Date date() const override { return simulation_.date(); }
  void execute(Work work) override { simulation_.execute(std::move(work)); }
  TimerID schedule(MonotonicTime when, Work work) override {
    return simulation_.schedule(when, std::move(work));
  }
  void cancel(TimerID timer) override { simulation_.cancel(timer); }
  void wait(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
            const std::function<bool()>& done) override {
    simulation_.wait(lock, condition, done);
  }
  void blocking(const std::function<void()>& work) override {
    ++depth_;
    work();
    --depth_;
  }

  void noteCall(const std::string& name) {
    ++calls;
    if (depth_ == 0) unannounced.push_back(name);
  }

  int calls = 0;
  std::vector<std::string> unannounced;

 private:
  SimulatedScheduler& simulation_;
  int depth_ = 0;
};

class WatchedFiles final : public FakeFileStore {
 public:
  explicit WatchedFiles(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
  std::expected<Bytes, PortError> read(const std::string& path, std::size_t limit) override {
    scheduler_.noteCall("read " + path);
    return FakeFileStore::read(path, limit);
  }
  std::expected<void, PortError> writeAtomically(const std::string& path, ByteView bytes) override {
    scheduler_.noteCall("write " + path);
    return FakeFileStore::writeAtomically(path, bytes);
  }
  std::expected<void, PortError> createPrivateDirectory(const std::string& path) override {
    scheduler_.noteCall("create " + path);
    return FakeFileStore::createPrivateDirectory(path);
  }

 private:
  WatchedScheduler& scheduler_;
};

class WatchedLoginSessions final : public LoginSessions {
 public:
  explicit WatchedLoginSessions(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
  std::optional<std::string> consoleUser() override {
    scheduler_.noteCall("consoleUser");
    return "anna";
  }
  std::string ownUserName() override {
    scheduler_.noteCall("ownUserName");
    return "anna";
  }
  std::uint32_t ownUserID() override { return 501; }
  void observeConsoleUser(std::function<void()>) override { scheduler_.noteCall("observeConsoleUser"); }
  std::set<std::string> loggedInUsers() override {
    scheduler_.noteCall("loggedInUsers");
    return {};
  }
  SwitchOutcome switchTo(std::uint32_t) override {
    scheduler_.noteCall("switchTo");
    return switchOutcome::Switched{};
  }
  bool inputReaches(std::uint32_t) override { return true; }
  bool isScreenLocked() override {
    scheduler_.noteCall("isScreenLocked");
    return false;
  }
  bool secureInputActive() override {
    scheduler_.noteCall("secureInputActive");
    return false;
  }

 private:
  WatchedScheduler& scheduler_;
};

class WatchedMachine final : public MachineFacts {
 public:
  explicit WatchedMachine(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
  std::string computerName() override { return note("computerName"); }
  std::string hardwareModel() override { return note("hardwareModel"); }
  std::string operatingSystemVersion() override { return note("operatingSystemVersion"); }

 private:
  std::string note(const char* name) {
    scheduler_.noteCall(name);
    return name;
  }
  WatchedScheduler& scheduler_;
};

class WatchedPoster final : public EventPoster {
 public:
  explicit WatchedPoster(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
  void post(const SyntheticEvent&) override { scheduler_.noteCall("post"); }
  Duration finishText(std::u16string_view) override {
    scheduler_.noteCall("finishText");
    return Duration::zero();
  }

 private:
  WatchedScheduler& scheduler_;
};

class WatchedCompressors final : public VideoCompressorFactory {
 public:
  explicit WatchedCompressors(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
  std::expected<std::unique_ptr<VideoCompressor>, PortError> make(const CompressorSpecification&,
                                                                  VideoCompressor::Output) override {
    scheduler_.noteCall("make");
    return std::make_unique<Compressor>(scheduler_);
  }

 private:
  class Compressor final : public VideoCompressor {
   public:
    explicit Compressor(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
    void setRates(const CompressionRates&) override {}
    void prepare() override { scheduler_.noteCall("prepare"); }
    void encode(const CompressionRequest&) override {}
    void completeAndInvalidate() override { scheduler_.noteCall("completeAndInvalidate"); }

   private:
    WatchedScheduler& scheduler_;
  };
  WatchedScheduler& scheduler_;
};

class WatchedTerminals final : public PseudoTerminals {
 public:
  explicit WatchedTerminals(WatchedScheduler& scheduler) : scheduler_(scheduler) {}
  std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> spawn(
      const PseudoTerminalRequest& request) override {
    scheduler_.noteCall("spawn");
    return terminals_.spawn(request);
  }
  std::expected<std::unique_ptr<PseudoTerminal>, PortError> adopt(ReleasedTerminal released) override {
    return terminals_.adopt(std::move(released));
  }

 private:
  WatchedScheduler& scheduler_;
  FakePseudoTerminals terminals_;
};

class BlockingWorkTest : public testing::Test {
 protected:
  BlockingWorkTest() {
    platform_.scheduler = &watched_;
    platform_.files = files_;
  }
  /// Expects `count` calls, all of them as blocking work.
  void expectAnnounced(int count) {
    simulation_.runReady();
    EXPECT_EQ(watched_.unannounced, std::vector<std::string>());
    EXPECT_EQ(watched_.calls, count);
  }

  SimulatedScheduler simulation_;
  WatchedScheduler watched_{simulation_};
  FakePlatform fakes_{simulation_};
  Platform platform_ = fakes_.platform();
  std::shared_ptr<WatchedFiles> files_ = std::make_shared<WatchedFiles>(watched_);
};

TEST_F(BlockingWorkTest, usesTheDiskInTheTrustStore) {
  TrustStore store(platform_, std::nullopt);
  store.addDevice(UUID{}, "Tablet");
  store.setSettings({});
  expectAnnounced(5);  // the folder, two files read, two written
}

TEST_F(BlockingWorkTest, usesTheDiskInTheCatalog) {
  AgentCatalog catalog(watched_, files_, "/data/QuorlHost", "/home/ada");
  catalog.upsert({.id = UUID::random(*platform_.random), .name = "Mine"});
  expectAnnounced(3);  // one file read, the folder, one file written
}

TEST_F(BlockingWorkTest, usesTheDiskInTheExtras) {
  HostExtrasStore extras(watched_, files_, "/data/QuorlHost");
  extras.addService({});
  extras.setGUIAgentBundles({"org.example.agent"});
  expectAnnounced(6);  // two files read; twice the folder and one file written
}

TEST_F(BlockingWorkTest, readsTheConsoleUser) {
  const auto users = std::make_shared<UserSessionManager>(
      watched_, UserSessionManager::Ports{.sessions = std::make_shared<WatchedLoginSessions>(watched_)});
  EXPECT_EQ(users->consoleUser(), "anna");
  EXPECT_EQ(users->ownUserName(), "anna");
  users->observeConsoleUser([](const auto&) {});
  expectAnnounced(3);
}

TEST_F(BlockingWorkTest, asksForUsersAndSwitches) {
  const auto users = std::make_shared<UserSessionManager>(
      watched_, UserSessionManager::Ports{.sessions = std::make_shared<WatchedLoginSessions>(watched_),
                                          .directory = std::make_shared<FakeUserDirectory>()});
  users->isScreenLocked();
  users->secureInputActive();
  users->switchTo(502);
  users->accounts();
  expectAnnounced(5);  // also the console user and the logged-in users
}

TEST_F(BlockingWorkTest, readsTheFactsInAHandshake) {
  platform_.machine = std::make_shared<WatchedMachine>(watched_);
  const auto services = std::make_shared<HostServices>();
  services->platform = platform_;
  services->platform.files = fakes_.files;
  services->trustStore = std::make_shared<TrustStore>(services->platform, std::nullopt);
  EXPECT_EQ(HostHandshakeAuthority(services).hostDevice().name, "computerName");
  expectAnnounced(3);
}

TEST_F(BlockingWorkTest, typesText) {
  platform_.events = std::make_shared<WatchedPoster>(watched_);
  InputInjector injector(platform_, [] { return HostSettings(); });
  injector.insertText("a");
  expectAnnounced(3);  // down, up, the rest
}

TEST_F(BlockingWorkTest, createsAndEndsAnEncoder) {
  platform_.compressors = std::make_shared<WatchedCompressors>(watched_);
  const auto sink = std::make_shared<RecordingSink>();
  StartStream request;
  request.target = streamTarget::Unified{};
  const auto stream =
      std::make_shared<StreamSession>(request, sink, platform_, std::make_shared<OriginalFrames>());
  stream->start();
  simulation_.runReady();
  stream->stop();
  expectAnnounced(3);  // make, prepare, completeAndInvalidate
}

TEST_F(BlockingWorkTest, controlsWindows) {
  const auto windows = std::make_shared<FakeWindowControl>();
  FakeWindowControl::Entry entry;
  entry.windowID = 77;
  entry.pid = 42;
  entry.title = "Notes";
  entry.frame = {{100, 50}, {640, 480}};
  windows->entries.push_back(entry);
  windows->beforeCall = [this](const std::string& call) { watched_.noteCall(call); };
  platform_.windows = windows;
  for (const StreamTarget& target :
       {StreamTarget(streamTarget::Window{77}), StreamTarget(streamTarget::App{"notes"})}) {
    fakes_.screen->content->windows = {{.windowID = 77, .pid = 42, .title = "Notes", .frame = entry.frame}};
    fakes_.screen->content->applications = {{"notes", "Notes", 42}};
    StartStream request;
    request.target = target;
    request.clientPointWidth = 1500;
    request.clientPointHeight = 1000;
    const auto stream = std::make_shared<StreamSession>(request, std::make_shared<RecordingSink>(), platform_,
                                                        std::make_shared<OriginalFrames>());
    stream->start();
    simulation_.runReady();
    windows->entries[0].frame.size = {500, 400};  // does not settle
    stream->raiseForInput({});
    simulation_.advance(std::chrono::seconds(4));
    fakes_.mainThread->runPending();
    stream->stop();
    simulation_.runReady();
    windows->entries[0] = entry;
  }
  EXPECT_EQ(watched_.unannounced, std::vector<std::string>());
  for (const char* call : {"windowBounds", "windowList", "accessibleWindows", "screens", "setSize",
                           "setPosition", "setMinimized", "frontmostApplication", "activate"})
    EXPECT_FALSE(windows->callsOf(call).empty()) << call;
}

TEST_F(BlockingWorkTest, spawnsACommand) {
  WatchedTerminals terminals(watched_);
  const auto session = PTYSession::spawn({}, watched_, terminals, "/home/ada");
  ASSERT_TRUE(session);
  expectAnnounced(1);
}

}  // namespace
}  // namespace quorl::test
