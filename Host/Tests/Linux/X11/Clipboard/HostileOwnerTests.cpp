// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/Eventually.h>

#include "ClipboardFixture.h"
#include "ScriptedOwner.h"

namespace quorl::test {
namespace {

using Reply = ScriptedOwner::Reply;
using std::chrono::milliseconds;
using std::chrono::seconds;

const auto absent = ReadResult(std::unexpected(PasteboardFailure::absent));
const auto tooLarge = ReadResult(std::unexpected(PasteboardFailure::tooLarge));
const auto unreadable = ReadResult(std::unexpected(PasteboardFailure::unreadable));

/// Time limits that fit a test. Every read of a bad owner must end by them.
constexpr ClipboardLimits quick{.readStep = milliseconds(300),
                                .readTotal = milliseconds(900),
                                .mostDiscarded = 1'000'000,
                                .mostAbandoned = 2};

class HostileOwnerTest : public ClipboardTest {
 protected:
  /// What a read of each type gives, from an owner with this script.
  ReadResult read(ScriptedOwner::Script script, PasteboardType type = PasteboardType::text,
                  std::size_t limit = 100'000) {
    owner.emplace(server.display(), std::move(script));
    return readNow(*reader, type, limit);
  }

  std::unique_ptr<X11Pasteboard> reader = makePasteboard(quick);
  std::optional<ScriptedOwner> owner;
};

TEST_F(HostileOwnerTest, everyFormOfTextIsRead) {
  const auto plain = [](const std::string& type, std::string_view text) {
    return ScriptedOwner::Script{{type, {.type = type, .bytes = bytesOf(text)}}};
  };
  EXPECT_EQ(read(plain("UTF8_STRING", "é")), bytesOf("é"));
  EXPECT_EQ(read(plain("text/plain;charset=utf-8", "é")), bytesOf("é"));
  EXPECT_EQ(read(plain("text/plain;charset=UTF-8", "é")), bytesOf("é"));
  EXPECT_EQ(read(plain("text/plain", "é")), bytesOf("é"));
  EXPECT_EQ(read(plain("STRING", "caf\xE9")), bytesOf("café"));
}

TEST_F(HostileOwnerTest, richTextIsReadAsItsPlainText) {
  EXPECT_EQ(read({{"text/html", {.type = "text/html", .bytes = bytesOf("<b>x</b>")}},
                  {"text/rtf", {.type = "text/rtf", .bytes = bytesOf("{\\rtf1 x}")}},
                  {"STRING", {.type = "STRING", .bytes = bytesOf("latin")}},
                  {"UTF8_STRING", {.type = "UTF8_STRING", .bytes = bytesOf("x")}}}),
            bytesOf("x"));
  EXPECT_EQ(owner->requests(), 2) << "the list of targets and one form";
}

TEST_F(HostileOwnerTest, anEmptyTextIsReadAsOneBesideItsPicture) {
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING"}},
                  {"image/png", {.type = "image/png", .bytes = bytesOf("png")}}}),
            Bytes());
  EXPECT_EQ(readNow(*reader, PasteboardType::png), bytesOf("png"));
  EXPECT_EQ(owner->requests(), 3) << "the targets are listed once";
}

TEST_F(HostileOwnerTest, onlyListedTargetsAreAskedFor) {
  EXPECT_EQ(read({{"TARGETS", {.type = "ATOM", .format = 32}},
                  {"UTF8_STRING", {.type = "UTF8_STRING", .bytes = bytesOf("x")}}}),
            absent);
  EXPECT_EQ(owner->requests(), 1);
}

TEST_F(HostileOwnerTest, anOwnerThatNeverAnswersIsGivenUp) {
  EXPECT_EQ(read({{"TARGETS", {.isSilent = true}}}), unreadable);
  EXPECT_EQ(read({{"UTF8_STRING", {.isSilent = true}}}), unreadable);
}

TEST_F(HostileOwnerTest, anOwnerThatRefusesHasNoContent) {
  EXPECT_EQ(read({{"TARGETS", {.isRefused = true}}}), absent);
  EXPECT_EQ(read({{"UTF8_STRING", {.isRefused = true}}}), absent);
}

TEST_F(HostileOwnerTest, aListOfTargetsThatIsNoneIsRefused) {
  EXPECT_EQ(read({{"TARGETS", {.type = "STRING", .bytes = bytesOf("UTF8_STRING")}}}), unreadable);
  EXPECT_EQ(read({{"TARGETS", {.type = "ATOM", .bytes = Bytes(64, 3), .format = 16}}}), unreadable);
}

TEST_F(HostileOwnerTest, aListOfAMillionTargetsIsCutOff) {
  EXPECT_EQ(read({{"TARGETS", {.type = "ATOM", .bytes = Bytes(4'000'000 / 8, 0xFF), .format = 32}}}), absent);
}

TEST_F(HostileOwnerTest, contentOfAnotherTypeThanAnnouncedIsRefused) {
  EXPECT_EQ(
      read({{"image/png", {.type = "UTF8_STRING", .bytes = bytesOf("no picture")}}}, PasteboardType::png),
      unreadable);
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "image/png", .bytes = bytesOf("no text")}}}), unreadable);
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = Bytes(16, 1), .format = 32}}}),
            unreadable);
}

TEST_F(HostileOwnerTest, textOfAnotherEncodingThanAskedForIsRead) {
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "STRING", .bytes = bytesOf("caf\xE9")}}}), bytesOf("café"));
}

TEST_F(HostileOwnerTest, anAnswerInAnotherPropertyIsRefused) {
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = bytesOf("x"), .isElsewhere = true}}}),
            unreadable);
}

TEST_F(HostileOwnerTest, contentAboveTheLimitIsTooLargeWholeAndInParts) {
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = Bytes(100'001, 'x')}}}), tooLarge);
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = Bytes(100'000, 'x')}}}),
            Bytes(100'000, 'x'));
  const std::vector<Bytes> parts(4, Bytes(25'000, 'x'));
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .parts = parts}}}), Bytes(100'000, 'x'));
  std::vector<Bytes> more = parts;
  more.push_back(bytesOf("y"));
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .parts = more}}}), tooLarge);
  EXPECT_GE(owner->partsSent(), 6U) << "the owner is not left in the middle of its transfer";
  // Latin-1 grows as it becomes UTF-8.
  EXPECT_EQ(read({{"STRING", {.type = "STRING", .bytes = Bytes(50'001, 0xE9)}}}), tooLarge);
}

TEST_F(HostileOwnerTest, theSizeThatPartsAnnounceIsNotTrusted) {
  for (const std::uint32_t size : {0U, 1U, 0x7FFFFFFFU, 0xFFFFFFFFU})
    EXPECT_EQ(read({{"UTF8_STRING",
                     {.type = "UTF8_STRING", .parts = {bytesOf("ab"), bytesOf("cd")}, .announced = size}}}),
              bytesOf("abcd"));
}

TEST_F(HostileOwnerTest, partsOfDifferentTypesAreRefused) {
  EXPECT_EQ(
      read({{"UTF8_STRING",
             {.type = "UTF8_STRING", .parts = {bytesOf("ab"), bytesOf("cd")}, .laterType = "image/png"}}}),
      unreadable);
  EXPECT_EQ(read({{"UTF8_STRING",
                   {.type = "UTF8_STRING", .parts = {bytesOf("ab"), bytesOf("cd")}, .laterType = "STRING"}}}),
            unreadable);
}

TEST_F(HostileOwnerTest, anOwnerThatDiesInTheMiddleEndsTheRead) {
  const auto begin = std::chrono::steady_clock::now();
  const auto patient = makePasteboard({.readStep = seconds(60), .readTotal = seconds(60)});
  owner.emplace(server.display(), ScriptedOwner::Script{{"UTF8_STRING",
                                                         {.type = "UTF8_STRING",
                                                          .parts = std::vector<Bytes>(9, Bytes(1'000, 'x')),
                                                          .partsBeforeDeath = 3}}});
  EXPECT_EQ(readNow(*patient, PasteboardType::text), unreadable);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(50)) << "its end was not noticed";
}

TEST_F(HostileOwnerTest, anOwnerThatFallsSilentInTheMiddleIsGivenUp) {
  EXPECT_EQ(read({{"UTF8_STRING",
                   {.type = "UTF8_STRING",
                    .parts = std::vector<Bytes>(9, Bytes(1'000, 'x')),
                    .partsBeforeSilence = 3}}}),
            unreadable);
}

TEST_F(HostileOwnerTest, endlessPartsEndAtTheLimits) {
  // Large ones at the limit of bytes, small ones at the limit of time.
  EXPECT_EQ(
      read({{"UTF8_STRING", {.type = "UTF8_STRING", .parts = {Bytes(50'000, 'x')}, .isEndless = true}}}),
      tooLarge);
  EXPECT_LT(owner->partsSent(), 30U);
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .parts = {bytesOf("x")}, .isEndless = true}}},
                 PasteboardType::text, 1 << 30),
            unreadable);
}

TEST_F(HostileOwnerTest, anOwnerThatHangsIsAskedOnlySoOftenAndTheNextOwnerIsReadAtOnce) {
  owner.emplace(server.display(), ScriptedOwner::Script{{"UTF8_STRING", {.isSilent = true}}});
  for (int i = 0; i < 6; ++i) EXPECT_EQ(readNow(*reader, PasteboardType::text), unreadable);
  EXPECT_EQ(owner->requests(), 3) << "the list and two attempts";
  EXPECT_EQ(read({{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = bytesOf("new")}}}), bytesOf("new"));
}

TEST_F(HostileOwnerTest, anotherCopyEndsTheReadOfAnOwnerThatHangs) {
  const auto patient = makePasteboard({.readStep = seconds(60), .readTotal = seconds(60)});
  owner.emplace(server.display(), ScriptedOwner::Script{{"UTF8_STRING", {.isSilent = true}}});
  std::atomic<bool> isUnreadable{false};
  patient->read(PasteboardType::text, 100, [&](ReadResult result) { isUnreadable = result == unreadable; });
  ASSERT_TRUE(eventually([&] { return owner->requests() == 2; }, seconds(30)));
  const ScriptedOwner next(server.display(),
                           {{"UTF8_STRING", {.type = "UTF8_STRING", .bytes = bytesOf("next")}}});
  EXPECT_TRUE(eventually([&] { return isUnreadable.load(); }, seconds(30)));
  EXPECT_EQ(textNow(*patient), "next");
}

}  // namespace
}  // namespace quorl::test
