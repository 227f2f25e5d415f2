// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Clipboard/Latin1.h>

#include <algorithm>
#include <cstring>

#include <gmock/gmock.h>

#include <Support/Eventually.h>

#include "ClipboardFixture.h"
#include "Requestor.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::IsSupersetOf;

std::uint32_t numberIn(const Requestor::Value& value) {
  std::uint32_t number = 0;
  if (value.bytes.size() >= 4) std::memcpy(&number, value.bytes.data(), 4);
  return number;
}

class SelectionOwnerTest : public ClipboardTest {
 protected:
  Requestor requestor{server.display()};
};

TEST(Latin1, becomesUTF8AndBack) {
  EXPECT_EQ(utf8FromLatin1(bytesOf("a\xE9\xFF\x80")), bytesOf("aéÿ\xC2\x80"));
  EXPECT_EQ(latin1FromUTF8(bytesOf("aéÿ\xC2\x80")), bytesOf("a\xE9\xFF\x80"));
  EXPECT_EQ(latin1FromUTF8(bytesOf("世a👩\xFF\xC3")), bytesOf("?a???"));
  EXPECT_EQ(latin1FromUTF8(bytesOf("Ā")), bytesOf("?")) << "U+0100 is the first that is missing";
}

TEST_F(SelectionOwnerTest, textIsListedInItsForms) {
  replaceNow(*pasteboard, PasteboardType::text, bytesOf("é"));
  ASSERT_TRUE(requestor.convert("TARGETS"));
  const auto list = requestor.get();
  EXPECT_EQ(list.type, "ATOM");
  EXPECT_EQ(list.format, 32);
  EXPECT_THAT(requestor.atomsIn(list),
              IsSupersetOf({"TARGETS", "TIMESTAMP", "MULTIPLE", "UTF8_STRING", "text/plain;charset=utf-8",
                            "text/plain", "STRING", "TEXT"}));
  for (const std::string target : {"UTF8_STRING", "text/plain;charset=utf-8", "text/plain"}) {
    ASSERT_TRUE(requestor.convert(target));
    EXPECT_EQ(requestor.get(), (Requestor::Value{target, 8, bytesOf("é")}));
  }
  ASSERT_TRUE(requestor.convert("STRING"));
  EXPECT_EQ(requestor.get(), (Requestor::Value{"STRING", 8, bytesOf("\xE9")}));
  ASSERT_TRUE(requestor.convert("TEXT"));
  EXPECT_EQ(requestor.get(), (Requestor::Value{"UTF8_STRING", 8, bytesOf("é")}));
  EXPECT_FALSE(requestor.convert("image/png"));
  EXPECT_FALSE(requestor.convert("DELETE"));
}

TEST_F(SelectionOwnerTest, aPictureIsListedAsAPNGOnly) {
  replaceNow(*pasteboard, PasteboardType::png, bytesOf("png"));
  ASSERT_TRUE(requestor.convert("TARGETS"));
  EXPECT_EQ(requestor.atomsIn(requestor.get()),
            (std::vector<std::string>{"TARGETS", "TIMESTAMP", "MULTIPLE", "image/png"}));
  ASSERT_TRUE(requestor.convert("image/png"));
  EXPECT_EQ(requestor.get(), (Requestor::Value{"image/png", 8, bytesOf("png")}));
  EXPECT_FALSE(requestor.convert("UTF8_STRING"));
}

TEST_F(SelectionOwnerTest, anEmptyTextIsContent) {
  replaceNow(*pasteboard, PasteboardType::text, {});
  ASSERT_TRUE(requestor.convert("UTF8_STRING"));
  EXPECT_EQ(requestor.get(), (Requestor::Value{"UTF8_STRING", 8, {}}));
}

TEST_F(SelectionOwnerTest, aRequestOfBeforeTheOwnershipIsRefused) {
  replaceNow(*pasteboard, PasteboardType::text, bytesOf("x"));
  ASSERT_TRUE(requestor.convert("TIMESTAMP"));
  const auto time = requestor.get();
  EXPECT_EQ(time.type, "INTEGER");
  const std::uint32_t owned = numberIn(time);
  EXPECT_NE(owned, 0U);
  EXPECT_TRUE(requestor.convert("UTF8_STRING", "ANSWER", owned));
  EXPECT_FALSE(requestor.convert("UTF8_STRING", "ANSWER", owned - 1));
}

TEST_F(SelectionOwnerTest, aRequestWithoutAPropertyIsAnsweredUnderItsTarget) {
  replaceNow(*pasteboard, PasteboardType::text, bytesOf("x"));
  ASSERT_TRUE(requestor.convert("UTF8_STRING", ""));
  EXPECT_EQ(requestor.get("UTF8_STRING").bytes, bytesOf("x"));
  EXPECT_FALSE(requestor.convert("MULTIPLE", ""));
}

TEST_F(SelectionOwnerTest, severalFormsAreConvertedAtOnce) {
  const std::string large(600'000, 'x');
  replaceNow(*pasteboard, PasteboardType::text, bytesOf(large));
  requestor.set("LIST", "ATOM_PAIR",
                {requestor.atom("TIMESTAMP"), requestor.atom("A"), requestor.atom("image/png"),
                 requestor.atom("B"), requestor.atom("UTF8_STRING"), requestor.atom("C"),
                 requestor.atom("MULTIPLE"), requestor.atom("D"), requestor.atom("STRING"), 0});
  ASSERT_TRUE(requestor.convert("MULTIPLE", "LIST"));
  EXPECT_EQ(requestor.atomsIn(requestor.get("LIST")),
            (std::vector<std::string>{"TIMESTAMP", "A", "image/png", "", "UTF8_STRING", "C", "MULTIPLE", "",
                                      "STRING", ""}));
  EXPECT_EQ(requestor.get("A").type, "INTEGER");
  EXPECT_EQ(requestor.get("C").type, "INCR");
  EXPECT_TRUE(requestor.allParts("C") == bytesOf(large));
}

TEST_F(SelectionOwnerTest, aListOfFormsThatIsNoneIsRefused) {
  replaceNow(*pasteboard, PasteboardType::text, bytesOf("x"));
  EXPECT_FALSE(requestor.convert("MULTIPLE", "ABSENT"));
  requestor.set("LIST", "ATOM_PAIR", std::vector<std::uint32_t>(1'000, requestor.atom("UTF8_STRING")));
  EXPECT_FALSE(requestor.convert("MULTIPLE", "LIST"));
}

TEST_F(SelectionOwnerTest, contentUpToAPartGoesWholeAndMoreGoesInParts) {
  replaceNow(*pasteboard, PasteboardType::png, noise(262'144));
  ASSERT_TRUE(requestor.convert("image/png"));
  EXPECT_EQ(requestor.get().type, "image/png");
  const Bytes larger = noise(262'145);
  replaceNow(*pasteboard, PasteboardType::png, larger);
  ASSERT_TRUE(requestor.convert("image/png"));
  EXPECT_EQ(requestor.get().type, "INCR");
  EXPECT_EQ(numberIn(requestor.get()), larger.size());
  EXPECT_EQ(requestor.nextPart().bytes.size(), 262'144U);
  EXPECT_EQ(requestor.nextPart().bytes, Bytes{larger.back()});
  EXPECT_EQ(requestor.nextPart(), (Requestor::Value{"image/png", 8, {}})) << "an empty part ends it";
  requestor.erase();
  EXPECT_TRUE(eventually([&] { return !requestor.isWatched(); }, seconds(30)));
}

TEST_F(SelectionOwnerTest, aTransferGoesOnAfterTheContentWasReplaced) {
  const Bytes picture = noise(1'000'000);
  replaceNow(*pasteboard, PasteboardType::png, picture);
  ASSERT_TRUE(requestor.convert("image/png"));
  Bytes received = requestor.nextPart().bytes;
  Requestor other(server.display());
  other.takeSelection();
  ASSERT_TRUE(eventually([&] { return readNow(*pasteboard, PasteboardType::png) != ReadResult(picture); },
                         seconds(30)));
  const Bytes rest = requestor.allParts();
  received.insert(received.end(), rest.begin(), rest.end());
  EXPECT_TRUE(received == picture);
}

TEST_F(SelectionOwnerTest, severalRequestorsFetchAtTheirOwnPace) {
  const Bytes picture = noise(1'000'000);
  replaceNow(*pasteboard, PasteboardType::png, picture);
  Requestor slow(server.display());
  ASSERT_TRUE(slow.convert("image/png"));
  EXPECT_EQ(slow.nextPart().bytes.size(), 262'144U);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(requestor.convert("image/png"));
    EXPECT_TRUE(requestor.allParts() == picture);
  }
  EXPECT_EQ(slow.nextPart().bytes.size(), 262'144U);
}

TEST_F(SelectionOwnerTest, aRequestorThatNeverFinishesIsDropped) {
  pasteboard = makePasteboard({.sendStep = milliseconds(300)});
  replaceNow(*pasteboard, PasteboardType::png, noise(1'000'000));
  ASSERT_TRUE(requestor.convert("image/png"));
  EXPECT_TRUE(requestor.isWatched());
  EXPECT_TRUE(eventually([&] { return !requestor.isWatched(); }, seconds(30)));
}

TEST_F(SelectionOwnerTest, aRequestorThatTricklesIsDroppedAtTheTotalLimit) {
  pasteboard = makePasteboard({.sendStep = seconds(60), .sendTotal = milliseconds(300)});
  replaceNow(*pasteboard, PasteboardType::png, noise(10'000'000));
  ASSERT_TRUE(requestor.convert("image/png"));
  EXPECT_TRUE(eventually(
      [&] {
        requestor.erase();
        return !requestor.isWatched();
      },
      seconds(30)));
  EXPECT_FALSE(requestor.get() == (Requestor::Value{"image/png", 8, {}})) << "it came to its end";
}

TEST_F(SelectionOwnerTest, transfersAreLimitedInNumberAndARequestorThatEndsMakesRoom) {
  pasteboard = makePasteboard({.mostTransfers = 2});
  replaceNow(*pasteboard, PasteboardType::png, noise(1'000'000));
  Requestor first(server.display());
  Requestor second(server.display());
  ASSERT_TRUE(first.convert("image/png"));
  ASSERT_TRUE(second.convert("image/png"));
  EXPECT_FALSE(requestor.convert("image/png"));
  EXPECT_TRUE(first.convert("image/png")) << "the same property again takes the place of the first";
  first.destroyWindow();
  EXPECT_TRUE(eventually([&] { return requestor.convert("image/png"); }, seconds(30)));
}

}  // namespace
}  // namespace quorl::test
