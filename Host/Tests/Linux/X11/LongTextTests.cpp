// SPDX-License-Identifier: GPL-3.0-or-later
// A long text of characters that the keyboard lacks, typed on a
// real server during other input.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostLinux/X11/Input/XTestPoster.h>
#include <QuorlKit/Protocol/KeyCodes.h>
#include <Support/FakePermissions.h>
#include <Support/XServerFixture.h>

#include "KeyListener.h"
#include "TypedTexts.h"

namespace quorl::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Forwards events and records when pointer events are posted. Their y is their sequence number.
class WatchedPoster final : public EventPoster {
 public:
  explicit WatchedPoster(X11DisplayName name) : poster_(std::move(name)) {}

  void post(const SyntheticEvent& event) override {
    poster_.post(event);
    const std::scoped_lock lock(mutex_);
    if (const auto* mouse = std::get_if<MouseEvent>(&event)) posted_[mouse->location.y] = Clock::now();
    const auto* key = std::get_if<KeyboardEvent>(&event);
    if (key != nullptr && !key->unicode.empty()) ++texts_;
  }
  Duration finishText(std::u16string_view following) override { return poster_.finishText(following); }

  std::map<double, Clock::time_point> posted() {
    const std::scoped_lock lock(mutex_);
    return posted_;
  }
  int texts() {
    const std::scoped_lock lock(mutex_);
    return texts_;
  }

 private:
  XTestPoster poster_;
  std::mutex mutex_;
  std::map<double, Clock::time_point> posted_;
  int texts_ = 0;
};

class LongText : public testing::Test {
 protected:
  LongText() {
    platform.scheduler = &scheduler;
    platform.events = poster;
    platform.permissions = std::make_shared<FakePermissions>();
    injector = std::make_unique<InputInjector>(platform, [] { return HostSettings{}; });
  }
  ~LongText() override {
    // Waiting input ends with the injector. Nothing is posted afterwards.
    injector->drop(&ann);
    injector->queue().sync([] {});
  }

  static std::u16string ideographs(int count) {
    std::u16string text;
    for (int i = 0; i < count; ++i) text.push_back(static_cast<char16_t>(0x4E00 + i));
    return text;
  }
  std::vector<std::uint32_t> typed() const {
    std::vector<std::uint32_t> keysyms;
    for (const auto& input : listener.inputs) {
      if (input.isKeyDown() && input.keysym != XKB_KEY_Shift_L) keysyms.push_back(input.keysym);
    }
    return keysyms;
  }

  XServer server{{.width = 640, .height = 480}};
  KeyListener listener{server.display()};
  PoolScheduler scheduler;
  Platform platform;
  std::shared_ptr<WatchedPoster> poster =
      std::make_shared<WatchedPoster>([name = server.display()] { return name; });
  std::unique_ptr<InputInjector> injector;
  int ann = 0;
  int bob = 0;
};

TEST_F(LongText, isTypedAtFiveHundredCharactersASecondWhileThePointerOfAnotherMoves) {
  constexpr int count = 5'000;
  const auto text = ideographs(count);
  std::map<double, Clock::time_point> asked;
  std::mutex mutex;
  std::condition_variable_any never;
  const auto start = Clock::now();
  injector->insertText(utf8Of(text), &ann);
  injector->key(keyCode::escape, true, {}, &ann);
  injector->key(keyCode::escape, false, {}, &ann);
  std::jthread mover([&](std::stop_token stop) {
    std::unique_lock lock(mutex);
    for (double number = 0; !stop.stop_requested(); ++number) {
      asked[number] = Clock::now();
      injector->pointer(PointerPhase::hover, PointerButton::left, {1, number}, 0, 0, {}, &bob);
      never.wait_for(lock, stop, milliseconds(8), [] { return false; });
    }
  });
  const bool isDone = listener.listenUntil(
      [](const auto& all) { return !all.empty() && all.back().keysym == XKB_KEY_Escape; });
  const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
  mover.request_stop();
  mover.join();
  injector->queue().sync([] {});
  ASSERT_TRUE(isDone) << typed().size();

  auto expected = std::vector<std::uint32_t>();
  for (const char16_t c : text) expected.push_back(0x1000000U + c);
  expected.push_back(XKB_KEY_Escape);
  EXPECT_EQ(typed(), expected);
  EXPECT_FALSE(listener.isAnythingDown());
  EXPECT_EQ(listener.group(), 0U);
  EXPECT_GE(count / seconds, 500);

  std::vector<double> delays;
  const auto posted = poster->posted();
  for (const auto& [number, time] : asked)
    delays.push_back(std::chrono::duration<double, std::milli>(posted.at(number) - time).count());
  ASSERT_GE(delays.size(), 100U);
  std::ranges::sort(delays);
  EXPECT_LE(delays[delays.size() * 95 / 100], 20);
  RecordProperty("charactersPerSecond", static_cast<int>(count / seconds));
  RecordProperty("slowestMoveMilliseconds", static_cast<int>(delays.back()));
}

TEST_F(LongText, endsWhenItsSenderLeaves) {
  injector->insertText(utf8Of(ideographs(5'000)), &ann);
  ASSERT_TRUE(listener.listenUntil([](const auto& all) { return all.size() >= 100; }));
  injector->drop(&ann);
  injector->queue().sync([] {});
  const int texts = poster->texts();
  injector->key(keyCode::escape, true, {}, &bob);
  injector->key(keyCode::escape, false, {}, &bob);
  ASSERT_TRUE(listener.listenUntil(
      [](const auto& all) { return !all.empty() && all.back().keysym == XKB_KEY_Escape; }));
  EXPECT_LT(typed().size(), 1'000U);
  EXPECT_EQ(poster->texts(), texts);
}

}  // namespace
}  // namespace quorl::test
