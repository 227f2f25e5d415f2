// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <csignal>

#include <QuorlHostCore/Clipboard/ClipboardSync.h>
#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <Support/Eventually.h>
#include <Support/FakePasteboard.h>

#include "ClipboardFixture.h"
#include "ScriptedOwner.h"

namespace quorl::test {
namespace {

using std::chrono::seconds;

constexpr std::size_t fiveMebibytes = 5'242'880;
const std::string unicode = "héllo 世界 👩‍👩‍👧 \xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D\n\ttabs";

class RealProgramTest : public ClipboardTest {};

TEST_F(RealProgramTest, unicodeTextArrivesFromXclip) {
  const auto xclip = copyTextWithXclip(unicode);
  EXPECT_EQ(textNow(*pasteboard), unicode);
}

TEST_F(RealProgramTest, unicodeTextArrivesFromXsel) {
  const auto file = writeFile("text", viewOf(unicode));
  const auto xsel = copyWith({"sh", "-c", "exec xsel -b -i --nodetach < " + file});
  EXPECT_EQ(textNow(*pasteboard), unicode);
}

TEST_F(RealProgramTest, unicodeTextGoesToXclipAndXsel) {
  replaceNow(*pasteboard, PasteboardType::text, bytesOf(unicode));
  EXPECT_EQ(server.run({"xclip", "-selection", "clipboard", "-o"}), unicode);
  EXPECT_EQ(server.run({"xsel", "-b", "-o"}), unicode);
}

TEST_F(RealProgramTest, largeTextGoesBothWaysInParts) {
  std::string large;
  while (large.size() < 3'000'000) large += std::to_string(large.size()) + " é世\n";
  replaceNow(*pasteboard, PasteboardType::text, bytesOf(large));
  EXPECT_TRUE(server.run({"xclip", "-selection", "clipboard", "-o"}) == large);
  EXPECT_TRUE(server.run({"xsel", "-b", "-o"}) == large);
  const auto xclip = copyTextWithXclip(large);
  EXPECT_TRUE(textNow(*pasteboard) == large);
}

TEST_F(RealProgramTest, aPictureOfFiveMebibytesArrivesFromXclipAndOneByteMoreDoesNot) {
  const Bytes picture = noise(fiveMebibytes);
  {
    const auto xclip = copyFileWithXclip("image/png", picture);
    const auto arrived = readNow(*pasteboard, PasteboardType::png, fiveMebibytes);
    ASSERT_TRUE(arrived);
    EXPECT_TRUE(*arrived == picture);
  }
  Bytes larger = picture;
  larger.push_back(7);
  const auto xclip = copyFileWithXclip("image/png", larger);
  EXPECT_EQ(readNow(*pasteboard, PasteboardType::png, fiveMebibytes),
            std::unexpected(PasteboardFailure::tooLarge));
  const auto pasted = server.run({"xclip", "-selection", "clipboard", "-t", "image/png", "-o"});
  EXPECT_TRUE(pasted == textViewOf(larger)) << "the owner survives a read that was too large";
}

// With xsel: xclip forgets who asks while it sends.
TEST_F(RealProgramTest, anOwnerSurvivesATransferThatIsGivenUp) {
  const auto impatient = makePasteboard({.readTotal = std::chrono::milliseconds(1)});
  const std::string large(fiveMebibytes, 'x');
  const auto file = writeFile("text", viewOf(large));
  const auto xsel = copyWith({"sh", "-c", "exec xsel -b -i --nodetach < " + file});
  ASSERT_TRUE(eventually([&] {
    return readNow(*impatient, PasteboardType::text) == std::unexpected(PasteboardFailure::unreadable);
  }));
  EXPECT_TRUE(server.run({"xsel", "-b", "-o"}) == large);
}

TEST_F(RealProgramTest, aPictureOfFiveMebibytesGoesToXclip) {
  const Bytes picture = noise(fiveMebibytes);
  replaceNow(*pasteboard, PasteboardType::png, picture);
  const auto pasted = server.run({"xclip", "-selection", "clipboard", "-t", "image/png", "-o"});
  EXPECT_TRUE(pasted == textViewOf(picture));
  EXPECT_EQ(server.run({"xclip", "-selection", "clipboard", "-o"}), "") << "a picture is no text";
}

TEST_F(RealProgramTest, twoRequestorsFetchAPictureAtTheSameTime) {
  const Bytes picture = noise(fiveMebibytes);
  replaceNow(*pasteboard, PasteboardType::png, picture);
  const auto path = writeFile("expected", picture);
  const std::string fetch = "xclip -selection clipboard -t image/png -o | cmp - " + path;
  const auto result = server.run(
      {"sh", "-c",
       "(" + fetch + " && echo one) & (" + fetch + " && echo two) & (" + fetch + " && echo three) & wait"});
  for (const std::string name : {"one", "two", "three"}) EXPECT_NE(result.find(name), std::string::npos);
}

TEST_F(RealProgramTest, aTIFFAloneIsReadAsATIFF) {
  const auto xclip = copyFileWithXclip("image/tiff", bytesOf("II*"));
  EXPECT_EQ(readNow(*pasteboard, PasteboardType::text), std::unexpected(PasteboardFailure::absent));
  EXPECT_EQ(readNow(*pasteboard, PasteboardType::png), std::unexpected(PasteboardFailure::absent));
  EXPECT_EQ(readNow(*pasteboard, PasteboardType::tiff), bytesOf("II*"));
}

TEST_F(RealProgramTest, eachCopyIsOneChangeAndIsNotified) {
  std::atomic<int> notified{0};
  pasteboard->setChangeHandler([&] { ++notified; });
  const auto before = pasteboard->changeCount();
  const auto first = copyTextWithXclip("one");
  EXPECT_EQ(pasteboard->changeCount(), before + 1);
  const auto second = copyTextWithXclip("one");
  EXPECT_EQ(pasteboard->changeCount(), before + 2);
  EXPECT_EQ(replaceNow(*pasteboard, PasteboardType::text, bytesOf("mine")), before + 3);
  EXPECT_EQ(pasteboard->changeCount(), before + 3);
  EXPECT_EQ(notified, 3);
  pasteboard->setChangeHandler({});
}

TEST_F(RealProgramTest, anEmptyClipboardHasNoContent) {
  for (const auto type : {PasteboardType::text, PasteboardType::png, PasteboardType::tiff})
    EXPECT_EQ(readNow(*pasteboard, type), std::unexpected(PasteboardFailure::absent));
  const auto xclip = copyTextWithXclip("copied");
  server.run({"xsel", "-bc"});
  EXPECT_TRUE(eventually([&] {
    return readNow(*pasteboard, PasteboardType::text) == std::unexpected(PasteboardFailure::absent);
  }));
}

TEST_F(RealProgramTest, contentOfBeforeTheStartIsReadAndNotCounted) {
  const auto xclip = copyTextWithXclip("before");
  const auto later = makePasteboard();
  EXPECT_EQ(later->changeCount(), 0);
  EXPECT_EQ(textNow(*later), "before");
}

TEST_F(RealProgramTest, whileAnOwnerHangsContentCanStillBeReplaced) {
  const auto xclip = copyTextWithXclip("never seen");
  ::kill(xclip.pid(), SIGSTOP);
  std::atomic<bool> isAnswered{false};
  std::atomic<int> failure{-1};
  pasteboard->read(PasteboardType::text, 100, [&](ReadResult result) {
    if (!result) failure = static_cast<int>(result.error());
    isAnswered = true;
  });
  replaceNow(*pasteboard, PasteboardType::text, bytesOf("mine"));
  EXPECT_TRUE(eventually([&] { return isAnswered.load(); }));
  EXPECT_EQ(failure, static_cast<int>(PasteboardFailure::unreadable));
  EXPECT_EQ(server.run({"xsel", "-b", "-o"}), "mine");
}

TEST_F(RealProgramTest, anOwnerThatHangsIsGivenUpAndIsReadWhenItWorksAgain) {
  const auto xclip = copyTextWithXclip("at last");
  ::kill(xclip.pid(), SIGSTOP);
  EXPECT_EQ(readNow(*pasteboard, PasteboardType::text), std::unexpected(PasteboardFailure::unreadable));
  ::kill(xclip.pid(), SIGCONT);
  EXPECT_EQ(textNow(*pasteboard), "at last");
}

TEST_F(RealProgramTest, anOwnerThatEndsLeavesNothing) {
  auto xclip = copyTextWithXclip("gone");
  const auto before = pasteboard->changeCount();
  xclip.kill();
  EXPECT_TRUE(eventually([&] { return pasteboard->changeCount() == before + 1; }, seconds(30)));
  EXPECT_EQ(readNow(*pasteboard, PasteboardType::text), std::unexpected(PasteboardFailure::absent));
}

TEST_F(RealProgramTest, anIdleClipboardWakesNoThread) {
  const auto xclip = copyTextWithXclip("quiet");
  EXPECT_EQ(textNow(*pasteboard), "quiet");
  // A round trip through the thread is one or two wake-ups; between two of them there are no others.
  const auto before = pasteboard->wakeups();
  EXPECT_FALSE(eventually([&] { return pasteboard->wakeups() > before + 2; }, std::chrono::seconds(3)));
}

// The whole way of an apply, with a manager that copies the content at once, as desktops have.
TEST_F(RealProgramTest, aManagerThatTakesOverWhatAClientSentCausesNoPush) {
  PoolScheduler scheduler;
  std::shared_ptr<X11Pasteboard> shared = makePasteboard();
  const auto sync =
      std::make_shared<ClipboardSync>(scheduler, shared, std::make_shared<FakeImageConverter>());
  std::atomic<int> pushes{0};
  std::atomic<bool> isOther{false};
  sync->setBroadcast([&](const ClipboardPayload& payload) {
    ++pushes;
    isOther = payload == ClipboardPayload{clipboardContent::Text{"other"}};
  });
  sync->start();
  sync->apply({clipboardContent::Text{"from the sofa"}});
  ASSERT_TRUE(eventually([&] { return textNow(*shared) == "from the sofa"; }, seconds(30)));
  const ScriptedOwner manager(server.display(),
                              {{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = bytesOf("from the sofa")}}});
  ASSERT_TRUE(eventually([&] { return manager.requests() >= 2; }, seconds(30))) << "it was not compared";
  const auto xclip = copyTextWithXclip("other");
  EXPECT_TRUE(eventually([&] { return pushes > 0; }, seconds(30)));
  EXPECT_EQ(pushes, 1);
  EXPECT_TRUE(isOther);
  sync->stop();
}

}  // namespace
}  // namespace quorl::test
