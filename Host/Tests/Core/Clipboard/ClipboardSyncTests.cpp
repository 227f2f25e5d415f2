// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Clipboard/ClipboardSync.h>

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakePasteboard.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

ClipboardPayload text(std::string value) {
  return {clipboardContent::Text{std::move(value)}};
}
ClipboardPayload image(Bytes png) {
  return {clipboardContent::Image{std::move(png)}};
}

class ClipboardSyncTest : public ::testing::Test {
 protected:
  ClipboardSyncTest() { pasteboard->copy({{PasteboardType::text, bytesOf("before")}}); }

  void start() {
    sync = std::make_shared<ClipboardSync>(scheduler, pasteboard, images);
    sync->setBroadcast([this](const ClipboardPayload& payload) { pushed.push_back(payload); });
    sync->start();
    scheduler.advance(milliseconds(1));
  }
  ClipboardSync::Payload current() {
    std::optional<ClipboardSync::Payload> answer;
    sync->currentPayload([&](ClipboardSync::Payload payload) { answer = std::move(payload); });
    scheduler.advance(milliseconds(1));
    EXPECT_TRUE(answer);
    return answer.value_or(std::nullopt);
  }

  SimulatedScheduler scheduler;
  std::shared_ptr<FakePasteboard> pasteboard = std::make_shared<FakePasteboard>();
  std::shared_ptr<FakeImageConverter> images = std::make_shared<FakeImageConverter>();
  std::shared_ptr<ClipboardSync> sync;
  std::vector<ClipboardPayload> pushed;
};

TEST_F(ClipboardSyncTest, contentFromBeforeTheStartIsNotPushedAndCanBeAskedFor) {
  start();
  scheduler.advance(seconds(5));
  EXPECT_TRUE(pushed.empty());
  EXPECT_EQ(current(), text("before"));
}

TEST_F(ClipboardSyncTest, aChangeIsPushedWithinASecond) {
  const LogRecorder log;
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("héllo")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, std::vector{text("héllo")});
  EXPECT_TRUE(log.has(LogLevel::info, "clipboard", "pushing local clipboard change #43"));
  scheduler.advance(seconds(5));
  EXPECT_EQ(pushed.size(), 1U);
}

TEST_F(ClipboardSyncTest, twoChangesWithinASecondArePushedOnceAsTheLatest) {
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("one")}});
  scheduler.advance(milliseconds(300));
  pasteboard->copy({{PasteboardType::text, bytesOf("two")}});
  scheduler.advance(seconds(2));
  EXPECT_EQ(pushed, std::vector{text("two")});
}

TEST_F(ClipboardSyncTest, textComesBeforeAnImage) {
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("t")}, {PasteboardType::png, bytesOf("png")}});
  EXPECT_EQ(current(), text("t"));
}

TEST_F(ClipboardSyncTest, anEmptyTextBesideAnImageGivesTheImage) {
  start();
  pasteboard->copy({{PasteboardType::text, {}}, {PasteboardType::png, bytesOf("png")}});
  EXPECT_EQ(current(), image(bytesOf("png")));
}

TEST_F(ClipboardSyncTest, anImageOfFiveMebibytesIsSentAndOneByteMoreIsNot) {
  start();
  pasteboard->copy({{PasteboardType::png, Bytes(5'242'880, 7)}});
  scheduler.advance(seconds(1));
  ASSERT_EQ(pushed.size(), 1U);
  EXPECT_EQ(pushed[0], image(Bytes(5'242'880, 7)));
  pasteboard->copy({{PasteboardType::png, Bytes(5'242'881, 7)}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed.size(), 1U);
  EXPECT_EQ(current(), std::nullopt);
}

TEST_F(ClipboardSyncTest, aTIFFAloneBecomesAPNG) {
  start();
  images->png = bytesOf("converted");
  pasteboard->copy({{PasteboardType::tiff, bytesOf("tiff")}});
  EXPECT_EQ(current(), image(bytesOf("converted")));
  EXPECT_EQ(images->converted, bytesOf("tiff"));
  images->png.reset();
  EXPECT_EQ(current(), std::nullopt);
}

TEST_F(ClipboardSyncTest, contentThatCannotBeReadIsNotTriedAgain) {
  start();
  pasteboard->copy({{PasteboardType::tiff, bytesOf("broken")}});
  scheduler.advance(seconds(1));
  const int reads = pasteboard->reads;
  scheduler.advance(seconds(10));
  EXPECT_EQ(pasteboard->reads, reads);
  EXPECT_TRUE(pushed.empty());
}

TEST_F(ClipboardSyncTest, whatAClientSentIsAppliedAndNotSentBack) {
  const LogRecorder log;
  start();
  sync->apply(text("from the sofa"));
  scheduler.advance(seconds(5));
  EXPECT_EQ(pasteboard->content, (FakePasteboard::Content{{PasteboardType::text, bytesOf("from the sofa")}}));
  EXPECT_TRUE(pushed.empty());
  EXPECT_TRUE(log.has(LogLevel::info, "clipboard", "applied remote clipboard"));
  sync->apply(image(bytesOf("png")));
  scheduler.advance(seconds(5));
  EXPECT_EQ(pasteboard->content, (FakePasteboard::Content{{PasteboardType::png, bytesOf("png")}}));
  EXPECT_TRUE(pushed.empty());
}

TEST_F(ClipboardSyncTest, aManagerThatTakesOverWhatAClientSentCausesNoEcho) {
  start();
  sync->apply(text("mine"));
  scheduler.advance(milliseconds(10));
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(3));
  EXPECT_TRUE(pushed.empty());
  pasteboard->copy({{PasteboardType::text, bytesOf("other")}});
  scheduler.advance(seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, (std::vector{text("other"), text("mine")}));
}

TEST_F(ClipboardSyncTest, aLaterCopyOfWhatAClientSentIsPushed) {
  start();
  sync->apply(text("mine"));
  scheduler.advance(ClipboardSync::takeOverTime + seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, std::vector{text("mine")});
}

TEST_F(ClipboardSyncTest, aCopyOfWhatAClientSentIsPushedAfterContentThatCannotBeSent) {
  start();
  sync->apply(text("mine"));
  scheduler.advance(milliseconds(10));
  pasteboard->copy({{PasteboardType::png, Bytes(5'242'881, 7)}});
  scheduler.advance(seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, std::vector{text("mine")});
}

TEST_F(ClipboardSyncTest, aManagerThatTakesOverWhatWasPushedCausesNoSecondPush) {
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(2));
  EXPECT_EQ(pushed, std::vector{text("mine")});
  // Later it is a copy of its own, for clients that have other content now or are new.
  scheduler.advance(ClipboardSync::takeOverTime);
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed.size(), 2U);
}

TEST_F(ClipboardSyncTest, aCopyIsPushedAgainAfterAClientSentOtherContent) {
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  sync->apply(text("other"));
  scheduler.advance(milliseconds(10));
  pasteboard->copy({{PasteboardType::text, bytesOf("mine")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed.size(), 2U);
}

TEST_F(ClipboardSyncTest, textThatIsNoUTF8IsRepaired) {
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("a\xff")}});
  EXPECT_EQ(current(), text("a\xEF\xBF\xBD"));
}

TEST_F(ClipboardSyncTest, anIdleClipboardWakesNobody) {
  start();
  scheduler.advance(seconds(2));
  const auto before = pasteboard->counts;
  scheduler.advance(std::chrono::hours(24));
  EXPECT_EQ(pasteboard->counts, before);
  EXPECT_EQ(pasteboard->reads, 0);
  pasteboard->copy({{PasteboardType::text, bytesOf("at last")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, std::vector{text("at last")});
}

TEST_F(ClipboardSyncTest, aThousandChangesInASecondAreReadOnce) {
  start();
  scheduler.advance(seconds(2));
  for (int i = 0; i < 1000; ++i) pasteboard->copy({{PasteboardType::text, bytesOf(std::to_string(i))}});
  scheduler.advance(seconds(3));
  EXPECT_EQ(pushed, std::vector{text("999")});
  EXPECT_EQ(pasteboard->reads, 1);
}

TEST_F(ClipboardSyncTest, aPlatformWithoutNotificationIsAskedEverySecond) {
  pasteboard->notifies = false;
  start();
  const auto before = pasteboard->counts;
  scheduler.advance(seconds(10));
  EXPECT_EQ(pasteboard->counts, before + 10);
  pasteboard->copy({{PasteboardType::text, bytesOf("one")}});
  scheduler.advance(milliseconds(300));
  pasteboard->copy({{PasteboardType::text, bytesOf("two")}});
  scheduler.advance(seconds(2));
  EXPECT_EQ(pushed, std::vector{text("two")});
}

TEST_F(ClipboardSyncTest, aChangeBetweenTheConstructionAndTheStartIsPushed) {
  sync = std::make_shared<ClipboardSync>(scheduler, pasteboard, images);
  sync->setBroadcast([this](const ClipboardPayload& payload) { pushed.push_back(payload); });
  pasteboard->copy({{PasteboardType::text, bytesOf("early")}});
  sync->start();
  scheduler.advance(milliseconds(1100));
  EXPECT_EQ(pushed, std::vector{text("early")});
}

TEST_F(ClipboardSyncTest, itStartsAgainAfterAStop) {
  start();
  pasteboard->copy({{PasteboardType::text, bytesOf("one")}});
  scheduler.advance(milliseconds(10));
  sync->stop();
  scheduler.advance(seconds(5));
  sync->start();
  scheduler.advance(seconds(2));
  pasteboard->copy({{PasteboardType::text, bytesOf("two")}});
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, (std::vector{text("one"), text("two")}));
}

TEST_F(ClipboardSyncTest, whileAnOwnerHangsAClientsContentIsAppliedAndGivenOut) {
  start();
  pasteboard->ownerHangs = true;
  pasteboard->copy({{PasteboardType::text, bytesOf("never")}});
  std::vector<ClipboardSync::Payload> answers;
  sync->currentPayload([&](ClipboardSync::Payload payload) { answers.push_back(std::move(payload)); });
  scheduler.advance(seconds(1));
  EXPECT_TRUE(answers.empty());
  sync->apply(text("from the sofa"));
  scheduler.advance(milliseconds(1));
  EXPECT_EQ(pasteboard->content, (FakePasteboard::Content{{PasteboardType::text, bytesOf("from the sofa")}}));
  pasteboard->ownerHangs = false;
  pasteboard->giveUp();
  scheduler.advance(seconds(5));
  EXPECT_EQ(answers, std::vector<ClipboardSync::Payload>{text("from the sofa")});
  EXPECT_TRUE(pushed.empty());
}

TEST_F(ClipboardSyncTest, anOwnerThatHangsIsAskedOnceForAllClientsAndForNoOtherForm) {
  start();
  pasteboard->ownerHangs = true;
  pasteboard->copy({{PasteboardType::text, bytesOf("never")}});
  std::vector<ClipboardSync::Payload> answers;
  for (int i = 0; i < 5; ++i)
    sync->currentPayload([&](ClipboardSync::Payload payload) { answers.push_back(std::move(payload)); });
  scheduler.advance(seconds(1));
  pasteboard->giveUp();
  scheduler.advance(seconds(1));
  EXPECT_EQ(answers, std::vector<ClipboardSync::Payload>(5));
  EXPECT_EQ(pasteboard->reads, 1);
  EXPECT_TRUE(pushed.empty());
}

TEST_F(ClipboardSyncTest, contentThatIsReplacedWhileItIsReadIsNotPushed) {
  start();
  pasteboard->ownerHangs = true;
  pasteboard->copy({{PasteboardType::text, bytesOf("slow")}});
  scheduler.advance(seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("new")}});
  pasteboard->ownerHangs = false;
  for (auto& answer : pasteboard->pending) answer(bytesOf("slow"));
  scheduler.advance(milliseconds(500));
  EXPECT_TRUE(pushed.empty());
  scheduler.advance(milliseconds(500));
  EXPECT_EQ(pushed, std::vector{text("new")});
}

TEST_F(ClipboardSyncTest, aChangeAtATickDuringASlowReadIsPushedAfterwards) {
  start();
  pasteboard->ownerHangs = true;
  pasteboard->copy({{PasteboardType::text, bytesOf("slow")}});
  scheduler.advance(seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("new")}});
  scheduler.advance(seconds(2));
  pasteboard->ownerHangs = false;
  for (auto& answer : std::exchange(pasteboard->pending, {})) answer(bytesOf("slow"));
  scheduler.advance(seconds(1));
  EXPECT_EQ(pushed, std::vector{text("new")});
}

TEST_F(ClipboardSyncTest, aChangeDuringASlowReadIsPushedAndGivenToThoseWhoAskedBefore) {
  start();
  pasteboard->ownerHangs = true;
  pasteboard->copy({{PasteboardType::text, bytesOf("slow")}});
  std::vector<ClipboardSync::Payload> answers;
  sync->currentPayload([&](ClipboardSync::Payload payload) { answers.push_back(std::move(payload)); });
  scheduler.advance(seconds(1));
  pasteboard->copy({{PasteboardType::text, bytesOf("new")}});
  scheduler.advance(seconds(2));
  pasteboard->ownerHangs = false;
  for (auto& answer : std::exchange(pasteboard->pending, {})) answer(bytesOf("slow"));
  scheduler.advance(seconds(1));
  EXPECT_EQ(answers, std::vector<ClipboardSync::Payload>{text("new")});
  EXPECT_EQ(pushed, std::vector{text("new")});
}

TEST_F(ClipboardSyncTest, contentThatIsReadWhileAClientSendsNewerContentIsNotPushed) {
  start();
  pasteboard->ownerHangs = true;
  pasteboard->copy({{PasteboardType::text, bytesOf("older")}});
  scheduler.advance(seconds(1));
  pasteboard->serverHangs = true;
  sync->apply(text("newer"));
  scheduler.advance(milliseconds(1));
  pasteboard->ownerHangs = false;
  for (auto& answer : pasteboard->pending) answer(bytesOf("older"));
  scheduler.advance(seconds(2));
  EXPECT_TRUE(pushed.empty());
}

TEST_F(ClipboardSyncTest, aTickWhileContentIsAppliedIsMadeUpForAfterwards) {
  start();
  pasteboard->replaceIsSlow = true;
  sync->apply(text("mine"));
  scheduler.advance(seconds(3));
  EXPECT_TRUE(pushed.empty());
  EXPECT_EQ(pasteboard->reads, 0) << "the change may be our own";
  pasteboard->finishReplacing();
  scheduler.advance(seconds(3));
  EXPECT_EQ(pasteboard->reads, 0);
  sync->apply(text("mine again"));
  scheduler.advance(milliseconds(500));
  const std::int64_t own = pasteboard->count;
  pasteboard->copy({{PasteboardType::text, bytesOf("other")}});
  scheduler.advance(seconds(1));
  for (auto& answer : pasteboard->replaced) answer(own);
  scheduler.advance(milliseconds(1));
  EXPECT_EQ(pushed, std::vector{text("other")});
}

TEST_F(ClipboardSyncTest, aTooLargePNGIsNotReplacedByItsTIFF) {
  start();
  images->png = bytesOf("converted");
  pasteboard->copy({{PasteboardType::png, Bytes(5'242'881, 7)}, {PasteboardType::tiff, bytesOf("tiff")}});
  EXPECT_EQ(current(), std::nullopt);
}

TEST_F(ClipboardSyncTest, aTIFFWhosePNGIsTooLargeGivesNothing) {
  start();
  images->png = Bytes(5'242'881, 7);
  pasteboard->copy({{PasteboardType::tiff, bytesOf("tiff")}});
  EXPECT_EQ(current(), std::nullopt);
  images->png = Bytes(5'242'880, 7);
  EXPECT_EQ(current(), image(Bytes(5'242'880, 7)));
}

TEST_F(ClipboardSyncTest, nothingIsReadAfterTheStop) {
  start();
  sync->stop();
  pasteboard->copy({{PasteboardType::text, bytesOf("late")}});
  scheduler.advance(seconds(5));
  EXPECT_TRUE(pushed.empty());
  EXPECT_EQ(pasteboard->reads, 0);
}

}  // namespace
}  // namespace quorl::test
