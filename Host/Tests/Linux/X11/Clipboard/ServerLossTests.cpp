// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <mutex>

#include <Support/Eventually.h>

#include "ClipboardFixture.h"
#include "ScriptedOwner.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr ClipboardLimits quick{.reconnect = milliseconds(50)};

/// The name of a display that changes.
struct Display {
  std::mutex mutex;
  std::optional<std::string> name;

  void set(std::optional<std::string> value) {
    const std::lock_guard lock(mutex);
    name = std::move(value);
  }
  std::optional<std::string> get() {
    const std::lock_guard lock(mutex);
    return name;
  }
};

class ServerLossTest : public ::testing::Test {
 protected:
  void connect() {
    first.emplace();
    display.set(first->display());
    ASSERT_TRUE(eventually(
        [&] {
          replaceNow(pasteboard, PasteboardType::text, bytesOf("probe"));
          return first->run({"xsel", "-b", "-o"}) == "probe";
        },
        seconds(30)));
  }
  void restart() {
    first->kill();
    second.emplace();
    display.set(second->display());
  }
  static HelperProgram copy(const XServer& server, const std::string& text) {
    return server.start({"sh", "-c", "printf %s '" + text + "' | exec xsel -b -i --nodetach"});
  }

  Display display;
  std::optional<XServer> first;
  std::optional<XServer> second;
  X11Pasteboard pasteboard{[this] { return display.get(); }, quick};
};

TEST_F(ServerLossTest, withoutADisplayReadsFailAndContentOfOursIsKept) {
  EXPECT_EQ(readNow(pasteboard, PasteboardType::text), std::unexpected(PasteboardFailure::absent));
  const auto before = pasteboard.changeCount();
  EXPECT_EQ(replaceNow(pasteboard, PasteboardType::text, bytesOf("kept")), before + 1);
  EXPECT_EQ(textNow(pasteboard), "kept");
}

TEST_F(ServerLossTest, contentOfOursIsOfferedOnADisplayThatAppearsLater) {
  replaceNow(pasteboard, PasteboardType::text, bytesOf("waiting"));
  first.emplace();
  display.set(first->display());
  EXPECT_TRUE(eventually([&] { return first->run({"xsel", "-b", "-o"}) == "waiting"; }, seconds(30)));
}

TEST_F(ServerLossTest, contentOfADisplayThatAppearsLaterIsAChange) {
  EXPECT_EQ(pasteboard.changeCount(), 0);
  first.emplace();
  const auto xsel = copy(*first, "there");
  ASSERT_TRUE(eventually([&] { return first->run({"xsel", "-b", "-o"}) == "there"; }, seconds(30)));
  display.set(first->display());
  EXPECT_TRUE(eventually([&] { return pasteboard.changeCount() == 1; }, seconds(30)));
  EXPECT_EQ(textNow(pasteboard), "there");
}

TEST_F(ServerLossTest, contentOfOursIsOfferedAgainAfterTheServersRestart) {
  connect();
  replaceNow(pasteboard, PasteboardType::text, bytesOf("mine"));
  restart();
  EXPECT_TRUE(eventually([&] { return second->run({"xsel", "-b", "-o"}) == "mine"; }, seconds(30)));
}

TEST_F(ServerLossTest, whatAnotherProgramCopiesAfterTheRestartIsNotReplaced) {
  connect();
  replaceNow(pasteboard, PasteboardType::text, bytesOf("mine"));
  display.set(std::nullopt);
  first->kill();
  second.emplace();
  const auto xsel = copy(*second, "theirs");
  ASSERT_TRUE(eventually([&] { return second->run({"xsel", "-b", "-o"}) == "theirs"; }, seconds(30)));
  const auto before = pasteboard.changeCount();
  display.set(second->display());
  EXPECT_TRUE(eventually([&] { return pasteboard.changeCount() > before; }, seconds(30)));
  EXPECT_EQ(textNow(pasteboard), "theirs");
  EXPECT_EQ(second->run({"xsel", "-b", "-o"}), "theirs");
}

TEST_F(ServerLossTest, aServerThatDiesDuringAReadEndsIt) {
  connect();
  const auto before = pasteboard.changeCount();
  std::optional<ScriptedOwner> owner;
  owner.emplace(first->display(), ScriptedOwner::Script{{"UTF8_STRING", {.isSilent = true}}});
  // Until the change is noticed, a read returns the content offered before.
  ASSERT_TRUE(eventually([&] { return pasteboard.changeCount() > before; }, seconds(30)));
  std::atomic<bool> isUnreadable{false};
  pasteboard.read(PasteboardType::text, 100, [&](ReadResult result) {
    isUnreadable = result == ReadResult(std::unexpected(PasteboardFailure::unreadable));
  });
  ASSERT_TRUE(eventually([&] { return owner->requests() >= 2; }, seconds(30)));
  first->kill();
  EXPECT_TRUE(eventually([&] { return isUnreadable.load(); }, seconds(30)));
}

TEST_F(ServerLossTest, aReplacementIsAnsweredAlsoWhenTheServerDies) {
  connect();
  first->pause();
  std::atomic<int> answers{0};
  for (int i = 0; i < 3; ++i)
    pasteboard.replace(PasteboardType::text, bytesOf("x"), [&](std::int64_t) { ++answers; });
  first->kill();
  EXPECT_TRUE(eventually([&] { return answers == 3; }, seconds(30)));
}

TEST_F(ServerLossTest, serversThatDieAtAnyMomentLeaveItWorking) {
  constexpr int rounds = 20;
  for (int i = 0; i < rounds; ++i) {
    first.emplace();
    display.set(first->display());
    pasteboard.replace(PasteboardType::png, noise(400'000), [](std::int64_t) {});
    pasteboard.read(PasteboardType::text, 100, [](ReadResult) {});
    first->kill();
  }
  connect();
}

}  // namespace
}  // namespace quorl::test
