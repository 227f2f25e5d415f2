// SPDX-License-Identifier: GPL-3.0-or-later
#include <deque>
#include <functional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <quorl-viewer/Clipboard/ClipboardSync.h>

namespace quorl::viewer {
namespace {

using namespace clipboardAction;
using namespace std::chrono_literals;

template <class Kind>
std::size_t countOf(const ClipboardActions& actions) {
  std::size_t count = 0;
  for (const auto& action : actions) count += std::holds_alternative<Kind>(action) ? 1 : 0;
  return count;
}

class ClipboardSyncTest : public ::testing::Test {
 protected:
  void begin(ClipboardRules rules = {}) {
    sync = ClipboardSync(rules);
    sync.connected();
    sync.focusGained();
  }
  LocalChange change(Selection selection = Selection::clipboard) {
    return {.selection = selection, .serial = ++serial, .kind = ClipboardKind::text};
  }
  /// A copy here up to the actions that follow its read.
  ClipboardActions copy(const ClipboardItem& item, Selection selection = Selection::clipboard) {
    EXPECT_EQ(countOf<ReadLocal>(sync.localChanged(change(selection))), 1U);
    return sync.localRead(selection, serial, item);
  }

  ClipboardSync sync;
  std::uint64_t serial = 0;
  ClipboardSync::Time now{1h};
};

TEST_F(ClipboardSyncTest, sendsACopyOnceThoughAManagerTakesItOver) {
  begin();
  EXPECT_EQ(countOf<Send>(copy(textItem("a"))), 1U);
  EXPECT_TRUE(sync.sent(now).empty());
  EXPECT_TRUE(copy(textItem("a")).empty());
  EXPECT_TRUE(copy(textItem("a")).empty());
}

TEST_F(ClipboardSyncTest, setsTheHostsContentOnceThoughManagersTakeItOver) {
  begin();
  EXPECT_EQ(countOf<SetLocal>(sync.hostSent(textItem("a"), now)), 1U);
  EXPECT_TRUE(sync.hostSent(textItem("a"), now).empty());
  auto own = change();
  own.isOurs = true;
  EXPECT_TRUE(sync.localChanged(own).empty());
  EXPECT_TRUE(copy(textItem("a")).empty());
}

TEST_F(ClipboardSyncTest, ignoresTheEchoOfWhatItSent) {
  begin();
  copy(textItem("a"));
  EXPECT_TRUE(sync.hostSent(textItem("a"), now).empty());
  EXPECT_TRUE(sync.sent(now).empty());
  EXPECT_TRUE(sync.hostSent(textItem("a"), now + 5s).empty());
}

TEST_F(ClipboardSyncTest, doesNotCountLineEnds) {
  begin();
  sync.hostSent(textItem("a\nb\n"), now);
  EXPECT_TRUE(copy(textItem("a\r\nb\r\n")).empty());
  EXPECT_NE(textDigest("a\rb"), textDigest("a\nb"));
  EXPECT_EQ(textDigest("\r\n\r\n"), textDigest("\n\n"));
}

TEST_F(ClipboardSyncTest, sendsWhatWasCopiedElsewhereWhenTheFocusComes) {
  begin();
  sync.focusLost();
  EXPECT_TRUE(sync.localChanged(change()).empty());
  EXPECT_TRUE(sync.localChanged(change()).empty());
  const auto actions = sync.focusGained();
  ASSERT_EQ(countOf<ReadLocal>(actions), 1U);
  EXPECT_EQ(std::get<ReadLocal>(actions[0]).serial, serial);
  EXPECT_EQ(countOf<Send>(sync.localRead(Selection::clipboard, serial, textItem("b"))), 1U);
}

TEST_F(ClipboardSyncTest, forgetsACopyThatTheHostsContentHasReplaced) {
  begin();
  sync.focusLost();
  sync.localChanged(change());
  EXPECT_EQ(countOf<SetLocal>(sync.hostSent(textItem("host"), now)), 1U);
  EXPECT_TRUE(sync.focusGained().empty());
}

TEST_F(ClipboardSyncTest, sendsOnlyTheLastOfTheCopiesMadeWhileOneIsUnderWay) {
  begin();
  copy(textItem("a"));
  EXPECT_TRUE(sync.localChanged(change()).empty());
  EXPECT_TRUE(sync.localChanged(change()).empty());
  EXPECT_EQ(countOf<ReadLocal>(sync.sent(now)), 1U);
  EXPECT_TRUE(sync.localRead(Selection::clipboard, serial - 1, textItem("b")).empty());
  EXPECT_EQ(countOf<Send>(sync.localRead(Selection::clipboard, serial, textItem("c"))), 1U);
}

TEST_F(ClipboardSyncTest, asksTheHostAfterMessagesThatCrossed) {
  begin();
  copy(textItem("here"));
  const auto crossed = sync.hostSent(textItem("host"), now);
  EXPECT_EQ(countOf<SetLocal>(crossed), 1U);
  EXPECT_EQ(countOf<AskHost>(crossed), 0U);
  EXPECT_EQ(countOf<AskHost>(sync.sent(now)), 1U);
  EXPECT_EQ(countOf<SetLocal>(sync.hostSent(textItem("here"), now)), 1U);
}

TEST_F(ClipboardSyncTest, asksTheHostAboutContentThatComesJustAfterTheConfirmation) {
  begin();
  copy(textItem("here"));
  sync.sent(now);
  EXPECT_EQ(countOf<AskHost>(sync.hostSent(textItem("host"), now + 1s)), 1U);
  EXPECT_EQ(countOf<AskHost>(sync.hostSent(textItem("other"), now + 1s)), 0U);
}

TEST_F(ClipboardSyncTest, sendsAgainWhatABrokenConnectionMayHaveLost) {
  begin();
  copy(textItem("a"));
  sync.disconnected();
  const auto actions = sync.connected();
  EXPECT_EQ(countOf<AskHost>(actions), 0U);
  ASSERT_EQ(countOf<ReadLocal>(actions), 1U);
  EXPECT_EQ(countOf<Send>(sync.localRead(Selection::clipboard, serial, textItem("a"))), 1U);
}

TEST_F(ClipboardSyncTest, asksForTheHostsContentAtAConnectionWithoutANewCopyHere) {
  EXPECT_EQ(countOf<AskHost>(sync.connected()), 1U);
  sync.disconnected();
  sync.localChanged(change());
  EXPECT_EQ(countOf<AskHost>(sync.connected()), 0U);
  EXPECT_EQ(countOf<ReadLocal>(sync.focusGained()), 1U);
}

TEST_F(ClipboardSyncTest, keepsPrimaryApartAndOffByDefault) {
  begin();
  EXPECT_TRUE(sync.localChanged(change(Selection::primary)).empty());
  EXPECT_TRUE(sync.focusGained().empty());

  begin({.primary = true});
  copy(textItem("copied"));
  sync.sent(now);
  EXPECT_EQ(countOf<Send>(copy(textItem("marked"), Selection::primary)), 1U);
  sync.sent(now);
  // The manager takes the clipboard over, which is still the same.
  EXPECT_TRUE(copy(textItem("copied")).empty());
}

TEST_F(ClipboardSyncTest, sendsLargeContentByAConnectionOfItsOwnAndRefusesWhatIsTooLarge) {
  begin();
  const auto picture = [](std::size_t size, std::uint8_t name) {
    ClipboardItem item{ClipboardKind::image, shareBytes(Bytes(size)), {}};
    item.digest[0] = name;
    return item;
  };
  const auto small = copy(picture(ClipboardSync::largeSize, 1));
  EXPECT_EQ(std::get<Send>(small.at(0)).route, Route::session);
  sync.sent(now);
  const auto large = copy(picture(ClipboardSync::largeSize + 1, 2));
  EXPECT_EQ(std::get<Send>(large.at(0)).route, Route::ownConnection);
  sync.sent(now);
  EXPECT_EQ(countOf<ShowTooLarge>(copy(picture(ClipboardSync::maxImageSize + 1, 3))), 1U);
  auto known = change();
  known.size = ClipboardSync::maxTextSize + 1;
  const auto refused = sync.localChanged(known);
  EXPECT_EQ(countOf<ShowTooLarge>(refused), 1U);
  EXPECT_EQ(countOf<ReadLocal>(refused), 0U);
}

TEST_F(ClipboardSyncTest, obeysTheRules) {
  begin({.toHost = false, .fromHost = false});
  EXPECT_TRUE(sync.localChanged(change()).empty());
  EXPECT_TRUE(sync.hostSent(textItem("a"), now).empty());
  EXPECT_EQ(countOf<ReadLocal>(sync.setRules({})), 1U);
}

/// A desktop's clipboard with a manager that takes each content over some time after it was copied.
struct Desktop {
  std::string content;
  bool isOurs = false;
  std::uint64_t serial = 0;
  std::string takenOver;
  bool isManagerDue = false;

  void set(std::string text, bool ours) {
    content = std::move(text);
    isOurs = ours;
    ++serial;
    isManagerDue = true;
  }
  /// True if the manager has become the owner.
  bool runManager() {
    if (!isManagerDue) return false;
    isManagerDue = false;
    isOurs = false;
    ++serial;
    return true;
  }
};

/// Both ends, with a link in each direction that keeps the order and takes its time.
class World {
 public:
  explicit World(unsigned seed) : random_(seed) {
    act(sync_.connected());
    act(sync_.focusGained());
  }

  void copyHere(const std::string& text) {
    here_.set(text, false);
    report();
  }
  void copyAtHost(const std::string& text) { host_.set(text, false); }
  /// Something happens, unless nothing is left to do.
  bool step() {
    std::vector<std::function<void()>> choices;
    if (!toHost_.empty()) choices.emplace_back([this] { deliver(toHost_); });
    if (!toViewer_.empty()) choices.emplace_back([this] { deliver(toViewer_); });
    if (!reads_.empty()) choices.emplace_back([this] { deliver(reads_); });
    if (!hostWork_.empty()) choices.emplace_back([this] { deliver(hostWork_); });
    if (here_.isManagerDue)
      choices.emplace_back([this] {
        if (here_.runManager()) report();
      });
    if (host_.isManagerDue) choices.emplace_back([this] { host_.runManager(); });
    if (polled_ != host_.serial && hostWork_.empty()) choices.emplace_back([this] { poll(); });
    now_ += 50ms;
    if (choices.empty()) return false;
    choices[random_() % choices.size()]();
    return true;
  }
  void settle() {
    int steps = 0;
    while (step()) ASSERT_LT(++steps, 1'000) << "it never settles";
  }
  void wait() { now_ += 10s; }

  const std::string& here() const { return here_.content; }
  const std::string& host() const { return host_.content; }
  int messagesToHost = 0;
  int messagesToViewer = 0;

 private:
  using Work = std::deque<std::function<void()>>;

  static void deliver(Work& work) {
    const auto next = std::move(work.front());
    work.pop_front();
    next();
  }
  void report() {
    act(sync_.localChanged({.serial = here_.serial, .kind = ClipboardKind::text, .isOurs = here_.isOurs}));
  }
  void poll() {
    polled_ = host_.serial;
    if (host_.content == shared_) return;
    shared_ = host_.content;
    send(host_.content);
  }
  void send(const std::string& text) {
    ++messagesToViewer;
    toViewer_.push_back([this, text] { act(sync_.hostSent(textItem(text), now_)); });
  }
  void act(const ClipboardActions& actions) {
    for (const auto& action : actions) {
      if (const auto* read = std::get_if<ReadLocal>(&action)) {
        reads_.push_back([this, serial = read->serial] {
          act(sync_.localRead(Selection::clipboard, serial, textItem(here_.content)));
        });
      } else if (const auto* set = std::get_if<SetLocal>(&action)) {
        here_.set(textOf(*set->item.bytes), true);
        report();
      } else if (const auto* item = std::get_if<Send>(&action)) {
        ++messagesToHost;
        toHost_.push_back([this, text = textOf(*item->item.bytes)] {
          // The host's clipboard works apart from its answers.
          hostWork_.push_back([this, text] {
            host_.set(text, true);
            shared_ = text;
            polled_ = host_.serial;
          });
        });
        toHost_.push_back([this] { toViewer_.push_back([this] { act(sync_.sent(now_)); }); });
      } else if (std::holds_alternative<AskHost>(action)) {
        toHost_.push_back([this] {
          hostWork_.push_back([this] {
            if (!host_.content.empty()) send(host_.content);
          });
        });
      }
    }
  }

  std::mt19937 random_;
  ClipboardSync sync_;
  ClipboardSync::Time now_{1h};
  Desktop here_;
  Desktop host_;
  std::string shared_;
  std::uint64_t polled_ = 0;
  Work toHost_;
  Work toViewer_;
  Work reads_;
  Work hostWork_;
};

TEST(ClipboardWorld, needsOneMessageACopyWithManagersAtBothEnds) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    World world(seed);
    world.settle();
    std::string newest;
    for (int copy = 0; copy < 10; ++copy) {
      const int toHost = world.messagesToHost;
      const int toViewer = world.messagesToViewer;
      newest = std::to_string(copy);
      const bool isHere = random() % 2 == 0;
      if (isHere) {
        world.copyHere(newest);
      } else {
        world.copyAtHost(newest);
      }
      world.settle();
      world.wait();
      EXPECT_EQ(world.messagesToHost - toHost, isHere ? 1 : 0) << seed;
      EXPECT_EQ(world.messagesToViewer - toViewer, isHere ? 0 : 1) << seed;
      ASSERT_EQ(world.here(), newest) << seed;
      ASSERT_EQ(world.host(), newest) << seed;
    }
  }
}

TEST(ClipboardWorld, settlesOnTheSameContentHoweverCopiesCross) {
  for (unsigned seed = 0; seed < 3'000; ++seed) {
    std::mt19937 random(seed);
    World world(seed);
    for (int copy = 0; copy < 8; ++copy) {
      const auto text = std::to_string(copy);
      if (random() % 2 == 0) {
        world.copyHere(text);
      } else {
        world.copyAtHost(text);
      }
      for (unsigned steps = random() % 5; steps > 0; --steps) world.step();
    }
    world.settle();
    ASSERT_EQ(world.here(), world.host()) << seed;
    // Once all is quiet, the newest copy is at both ends.
    world.wait();
    world.copyHere("last");
    world.settle();
    ASSERT_EQ(world.host(), "last") << seed;
    ASSERT_EQ(world.here(), "last") << seed;
  }
}

}  // namespace
}  // namespace quorl::viewer
