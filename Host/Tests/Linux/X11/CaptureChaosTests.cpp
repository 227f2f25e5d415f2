// SPDX-License-Identifier: GPL-3.0-or-later
// Windows and X servers that vanish at any moment under running streams.
#include <unistd.h>
#include <atomic>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <stop_token>
#include <thread>

#include <xcb/res.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

#include "WindowCaptureFixture.h"

namespace quorl::test {
namespace {

std::size_t countDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// A stream that asks for every picture and keeps none.
class Consumer {
 public:
  Consumer(CaptureHarness& harness, const CaptureFilter& filter, const CaptureSettings& settings) {
    auto opened =
        harness.capture.makeStream(filter, settings, harness.queue,
                                   {.picture = [state = state_](const CapturedPicture&) { state->request(); },
                                    .placed = {},
                                    .stopped =
                                        [state = state_](const PortError&) {
                                          EXPECT_TRUE(state->isStarted);
                                          EXPECT_FALSE(state->isEnded.exchange(true)) << "stopped twice";
                                        }});
    EXPECT_TRUE(opened.has_value());
    stream_ = std::move(*opened);
    state_->setStream(stream_.get());
    stream_->start([state = state_](auto result) {
      EXPECT_FALSE(state->isStarted);
      state->isStarted = result.has_value();
      if (!result) state->isEnded = true;
    });
  }
  ~Consumer() {
    stream_->stop();
    state_->setStream(nullptr);
  }
  Consumer(const Consumer&) = delete;
  Consumer& operator=(const Consumer&) = delete;

  /// The start failed, or the source has gone.
  bool isEnded() const { return state_->isEnded; }
  std::size_t pictures() const { return state_->pictures; }
  bool isStarted() const { return state_->isStarted; }

 private:
  struct State {
    std::mutex mutex;
    CaptureStream* stream = nullptr;
    std::atomic<bool> isStarted = false;
    std::atomic<bool> isEnded = false;
    std::atomic<std::size_t> pictures = 0;

    void setStream(CaptureStream* set) {
      const std::scoped_lock lock(mutex);
      stream = set;
    }
    void request() {
      ++pictures;
      const std::scoped_lock lock(mutex);
      if (stream != nullptr) stream->requestPicture();
    }
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::unique_ptr<CaptureStream> stream_;
};

/// Windows that come, change and go at random.
class WindowCrowd {
 public:
  WindowCrowd(TestClient& client, unsigned seed) : client_(client), random_(seed) {}

  int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }
  std::uint32_t any() {
    return windows_.at(static_cast<std::size_t>(below(static_cast<int>(windows_.size()))));
  }
  /// The ids of windows, some of which are gone.
  const std::vector<std::uint32_t>& windows() const { return windows_; }

  void add() {
    const auto window =
        client_.addWindow(anywhere(), below(2) == 0 ? TestClient::Managed::yes : TestClient::Managed::no);
    if (below(2) == 0) client_.setBackground(window, static_cast<std::uint32_t>(below(0x1000000)));
    if (!windows_.empty() && below(3) == 0) {
      client_.setNumbers(window, "WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, {any()});
    }
    windows_.push_back(window);
    if (windows_.size() > 8) windows_.erase(windows_.begin());
  }

  void changeOne() {
    if (windows_.empty()) return add();
    const std::uint32_t window = any();
    switch (below(12)) {
      case 0:
        return client_.unmap(window);
      case 1:
        return client_.map(window);
      case 2:
        return client_.raise(window);
      case 3:
        return client_.lower(window);
      case 4:
        return client_.setBorder(window, below(20), 0x808080);
      case 5:
        return client_.setShape(window, {below(50), below(50), 1 + below(100), 1 + below(100)});
      case 6:
        return client_.setNumbers(window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL,
                                  {static_cast<std::uint32_t>(below(60)), 3, 4, 5});
      case 7:
        return client_.reparent(window, any(), below(30), below(30));
      case 8:
        return client_.reparent(window, client_.root(), below(300), below(200));
      case 9:
        return client_.setBackground(window, static_cast<std::uint32_t>(below(0x1000000)));
      default:
        return client_.moveResize(window, anywhere());
    }
  }

 private:
  PixelRect anywhere() { return {below(400) - 100, below(300) - 100, 1 + below(300), 1 + below(200)}; }

  TestClient& client_;
  std::mt19937 random_;
  std::vector<std::uint32_t> windows_;
};

class CaptureChaos : public WindowCaptureFixture {
 protected:
  /// What the connections of this process hold on the server.
  std::map<std::string, std::uint32_t> resources() {
    std::map<std::string, std::uint32_t> counts;
    TestClient watcher(server.display());
    xcb_connection_t* xcb = watcher.xcb();
    const XcbReply<xcb_res_query_clients_reply_t> clients(
        xcb_res_query_clients_reply(xcb, xcb_res_query_clients(xcb), nullptr));
    for (auto each = xcb_res_query_clients_clients_iterator(clients.get()); each.rem > 0;
         xcb_res_client_next(&each)) {
      const XcbReply<xcb_res_query_client_resources_reply_t> held(xcb_res_query_client_resources_reply(
          xcb, xcb_res_query_client_resources(xcb, each.data->resource_base), nullptr));
      if (!held) continue;
      for (auto type = xcb_res_query_client_resources_types_iterator(held.get()); type.rem > 0;
           xcb_res_type_next(&type)) {
        const XcbReply<xcb_get_atom_name_reply_t> name(
            xcb_get_atom_name_reply(xcb, xcb_get_atom_name(xcb, type.data->resource_type), nullptr));
        if (!name) continue;
        const std::string text(xcb_get_atom_name_name(name.get()),
                               static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())));
        if (isOfCaptures(text)) counts[text] += type.data->count;
      }
    }
    return counts;
  }
  static bool isOfCaptures(const std::string& type) {
    return type == "PIXMAP" || type == "PICTURE" || type == "DamageExt" || type == "XFixesRegion" ||
           type == "ShmSeg" || type == "CompositeClientWindow" || type == "CompositeClientSubwindows";
  }

  std::uint32_t display() { return harness.content().displays.at(0).displayID; }
};

TEST_F(CaptureChaos, windowsThatVanishLeaveNothingBehindAndStallNoOtherStream) {
  const std::uint32_t displayID = display();
  auto wholeSettings = settingsOf(800, 600);
  wholeSettings.queueDepth = 64;
  const auto whole = harness.start(DisplayFilter{displayID}, wholeSettings, deliveries);
  const auto resourcesBefore = resources();
  const auto descriptorsBefore = countDescriptors();
  std::vector<std::unique_ptr<Consumer>> streams;
  WindowCrowd crowd(client, 4711);
  // Destroys windows of the crowd at any moment of the capture's requests.
  std::mutex mutex;
  std::vector<std::uint32_t> victims;
  std::atomic<int> kills = 0;
  {
    const std::jthread killer([&](const std::stop_token& stop) {
      TestClient other(server.display());
      while (!stop.stop_requested()) {
        std::uint32_t victim = 0;
        {
          const std::scoped_lock lock(mutex);
          if (!victims.empty()) {
            victim = victims.back();
            victims.pop_back();
          }
        }
        if (victim == 0) {
          std::this_thread::yield();
          continue;
        }
        other.destroy(victim);
        ++kills;
      }
    });
    std::uint32_t color = 0;
    for (int round = 0; round < 600; ++round) {
      crowd.add();
      if (streams.size() >= 8) streams.erase(streams.begin() + crowd.below(8));
      const auto size = settingsOf(2 + 2 * crowd.below(200), 2 + 2 * crowd.below(150), crowd.below(2) == 0);
      CaptureFilter filter = WindowFilter{crowd.any()};
      if (crowd.below(8) == 0) filter = ApplicationFilter{displayID, ::getpid()};
      streams.push_back(std::make_unique<Consumer>(harness, filter, size));
      for (int i = crowd.below(6); i > 0; --i) crowd.changeOne();
      {
        const std::scoped_lock lock(mutex);
        victims.push_back(crowd.any());
      }
      if (round % 10 != 0) continue;
      deliveries.release();
      client.fillRoot({790, 590, 10, 10}, color += 0x0B0703);
      ASSERT_TRUE(deliveries.waitForColor(794, 594, color)) << round;
    }
    EXPECT_TRUE(eventually([&] { return kills == 600; }));
  }
  streams.clear();
  for (const auto window : crowd.windows()) client.destroy(window);
  EXPECT_TRUE(eventually([&] { return resources() == resourcesBefore; }, std::chrono::seconds(30)))
      << testing::PrintToString(resources()) << " before: " << testing::PrintToString(resourcesBefore);
  EXPECT_TRUE(eventually([&] { return countDescriptors() == descriptorsBefore; }));
}

TEST(CaptureRestarts, aServerThatIsKilledEndsEveryStreamOnceAndLeavesNothingBehind) {
  auto name = std::make_shared<std::optional<std::string>>();
  auto mutex = std::make_shared<std::mutex>();
  CaptureHarness harness([name, mutex] {
    const std::scoped_lock lock(*mutex);
    return *name;
  });
  std::mt19937 random(42);
  std::optional<std::size_t> descriptors;
  for (int round = 0; round < 200; ++round) {
    {
      XServer server{{.width = 320, .height = 240}};
      {
        const std::scoped_lock lock(*mutex);
        *name = server.display();
      }
      TestClient client(server.display());
      const auto window = client.makeWindow({20, 20, 100, 80});
      const auto hidden = client.makeWindow({40, 40, 100, 80});
      client.unmap(hidden);
      const auto content = harness.content();
      ASSERT_EQ(content.displays.size(), 1U) << round;
      const std::uint32_t displayID = content.displays[0].displayID;
      std::vector<std::unique_ptr<Consumer>> streams;
      for (const CaptureFilter& filter :
           {CaptureFilter(DisplayFilter{displayID}), CaptureFilter(WindowFilter{window}),
            CaptureFilter(WindowFilter{window}), CaptureFilter(WindowFilter{hidden}),
            CaptureFilter(ApplicationFilter{displayID, ::getpid()})}) {
        streams.push_back(std::make_unique<Consumer>(harness, filter, settingsOf(100, 80, round % 2 == 0)));
      }
      // The server dies at any moment from the first start on.
      for (int i = std::uniform_int_distribution(0, 20)(random); i > 0; --i) {
        client.fill(window, {0, 0, 100, 80}, random() & 0xFFFFFF);
      }
      server.kill();
      for (const auto& stream : streams) {
        EXPECT_TRUE(eventually([&] { return stream->isEnded(); }, std::chrono::seconds(30))) << round;
      }
    }
    // The first round starts what stays.
    if (round == 0) descriptors = countDescriptors();
  }
  EXPECT_TRUE(eventually([&] { return countDescriptors() <= *descriptors; }));
}

}  // namespace
}  // namespace quorl::test
