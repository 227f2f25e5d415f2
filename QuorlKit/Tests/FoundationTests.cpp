// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <limits>
#include <memory>
#include <set>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Foundation/BufferPool.h>
#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Foundation/SecureRandom.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/URL.h>
#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {
namespace {

std::string hexOf(ByteView bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
  return text;
}

TEST(UUID, writesUpperCaseAndReadsEitherCase) {
  const auto id = UUID::parse("0f1e2d3c-4b5a-6978-8796-a5B4c3D2e1F0");
  ASSERT_TRUE(id);
  EXPECT_EQ(id->bytes[0], 0x0F);
  EXPECT_EQ(id->bytes[15], 0xF0);
  EXPECT_EQ(id->text(), "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0");
}

TEST(UUID, rejectsOtherText) {
  for (const std::string_view text :
       {"", "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F", "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F00",
        "0F1E2D3C4B5A-6978-8796-A5B4C3D2E1F0-", "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1G0",
        "{F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F}", "0F1E2D3C+4B5A-6978-8796-A5B4C3D2E1F0"})
    EXPECT_EQ(UUID::parse(text), std::nullopt) << text;
}

TEST(UUID, hasVersionFourIfRandom) {
  const UUID one = UUID::random();
  EXPECT_EQ(one.bytes[6] >> 4, 4);
  EXPECT_EQ(one.bytes[8] >> 6, 2);
  EXPECT_NE(one, UUID::random());
  EXPECT_EQ(UUID::parse(one.text()), one);
  EXPECT_EQ(std::hash<UUID>{}(one), std::hash<UUID>{}(UUID(one)));
}

// The vectors of RFC 4648, section 10.
TEST(Base64, matchesTheVectorsOfItsStandard) {
  const std::vector<std::pair<std::string_view, std::string_view>> vectors{{"", ""},
                                                                           {"f", "Zg=="},
                                                                           {"fo", "Zm8="},
                                                                           {"foo", "Zm9v"},
                                                                           {"foob", "Zm9vYg=="},
                                                                           {"fooba", "Zm9vYmE="},
                                                                           {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(base64Encoded(viewOf(plain)), encoded);
    EXPECT_EQ(base64Decoded(encoded), bytesOf(plain));
  }
}

TEST(Base64, keepsEveryByteAtEveryLength) {
  Bytes bytes;
  for (unsigned index = 0; index < 600; ++index) {
    EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes);
    bytes.push_back(static_cast<std::uint8_t>(index * 37));
  }
}

TEST(Base64, rejectsOtherText) {
  for (const std::string_view text : {"Zg", "Zg=", "Zg===", "=", "====", "Z===", "Zm9v Zm9v", "Zm9v\n",
                                      "Zm9_", "Zm9-", "Zh==", "Zm9=", "Zg==Zg==", "Z=g=",
                                      "\xC3\xA9"
                                      "aa"})
    EXPECT_EQ(base64Decoded(text), std::nullopt) << text;
}

TEST(Base64, hasAFormForURLs) {
  EXPECT_EQ(base64ForURL(base64Encoded(Bytes{0xFB, 0xEF, 0xFF, 0xFF})), "--___w");
}

TEST(BufferPool, usesABufferAgainWhenNobodyHoldsIt) {
  auto pool = std::make_shared<BufferPool>();
  auto first = pool->take(10);
  const auto second = pool->take(20);
  EXPECT_EQ(first->size(), 10U);
  EXPECT_NE(first, second);
  const Bytes* const freed = first.get();
  const auto other = first;
  first.reset();
  EXPECT_NE(pool->take(30).get(), freed) << "somebody holds it";
}

TEST(BufferPool, itsBuffersOutliveIt) {
  auto pool = std::make_shared<BufferPool>();
  const auto used = pool->take(10);
  const Bytes* const freed = pool->take(5).get();
  EXPECT_EQ(pool->take(30).get(), freed);
  pool.reset();
  EXPECT_EQ(used->size(), 10U);
}

TEST(UTF8, acceptsOnlyValidSequences) {
  for (const std::string_view valid : {"", "a", "é", "€", "\U0001F600", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF",
                                       "\xED\x9F\xBF", "\xEE\x80\x80", "long enough for eight at once é"})
    EXPECT_TRUE(isValidUTF8(valid)) << valid;
  for (const std::string_view invalid :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF",
        "\xF0\x9F\x98", "twelve chars\xFF"})
    EXPECT_FALSE(isValidUTF8(invalid)) << invalid;
}

TEST(UTF8, repairsByteByByte) {
  EXPECT_EQ(repairedUTF8("a\xFF\xC3é"), "a\xEF\xBF\xBD\xEF\xBF\xBDé");
  EXPECT_EQ(repairedUTF8("whole"), "whole");
}

TEST(UTF8, writesCodePointsOfEveryLength) {
  std::string text;
  for (const char32_t codePoint : {U'a', U'é', U'€', U'\U0001F600'}) appendUTF8(text, codePoint);
  EXPECT_EQ(text, "aé€\U0001F600");
}

TEST(UTF8, findsTheUnfinishedSequenceAtTheEnd) {
  for (const auto& [text, length] :
       std::vector<std::pair<std::string_view, std::size_t>>{{"", 0},
                                                             {"whole €", 0},
                                                             {"a\xC3", 1},
                                                             {"a\xE2", 1},
                                                             {"a\xE2\x82", 2},
                                                             {"\xF0\x9F\x98", 3},
                                                             {"\x80\x80", 0},
                                                             {"\xE0\x80", 0},  // already wrong: overlong
                                                             {"\xFF", 0}})
    EXPECT_EQ(unfinishedUTF8Length(text), length) << text;
}

// FIPS 180-4, RFC 1321 and RFC 4231 (case 2).
TEST(Digest, matchesTheVectorsOfTheStandards) {
  EXPECT_EQ(hexOf(sha256(viewOf("abc"))), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hexOf(md5(viewOf("abc"))), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(hexOf(hmacSHA256(viewOf("Jefe"), viewOf("what do ya want for nothing?"))),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
}

TEST(Digest, takesEmptyKeysAndMessages) {
  EXPECT_EQ(hexOf(sha256({})), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(hexOf(hmacSHA256({}, {})), "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

TEST(SHA256, digestsPiecesLikeTheWholeAndCanBeReused) {
  SHA256 digest;
  digest.update(viewOf("a"));
  digest.update({});
  digest.update(viewOf("bc"));
  EXPECT_EQ(digest.finish(), sha256(viewOf("abc")));
  EXPECT_EQ(digest.finish(), sha256({}));
  digest.update(viewOf("x"));
  SHA256 moved = std::move(digest);
  moved.update(viewOf("y"));
  EXPECT_EQ(moved.finish(), sha256(viewOf("xy")));
}

TEST(SecureRandom, drawsExactlyTheValuesBelowTheBound) {
  std::set<std::uint32_t> seen;
  for (int draw = 0; draw < 2000; ++draw) seen.insert(SystemSecureRandom::shared().uniform(10));
  EXPECT_EQ(seen.size(), 10U);
  EXPECT_EQ(*seen.rbegin(), 9U);
  EXPECT_EQ(SystemSecureRandom::shared().uniform(1), 0U);
}

TEST(PointRect, reportsItsEdgesAndContainsPoints) {
  const PointRect rect{{10, 20}, {30, 40}};
  EXPECT_EQ(rect.maxX(), 40);
  EXPECT_EQ(rect.maxY(), 60);
  EXPECT_EQ(rect.midX(), 25);
  EXPECT_TRUE(rect.contains({10, 20}));
  EXPECT_FALSE(rect.contains({40, 20}));
  EXPECT_FALSE(rect.contains({10, 60}));
  EXPECT_TRUE((PointRect{{1, 1}, {0, 5}}.isEmpty()));
  EXPECT_TRUE((PointRect{{1, 1}, {5, -1}}.isEmpty()));
  EXPECT_TRUE((PointRect{{0, 0}, {std::numeric_limits<double>::quiet_NaN(), 1}}.isEmpty()));
}

TEST(PixelRect, joinsIntersectsAndContains) {
  const PixelRect left{0, 0, 10, 10};
  const PixelRect right{5, 5, 10, 10};
  EXPECT_EQ(left.unionWith(right), (PixelRect{0, 0, 15, 15}));
  EXPECT_EQ((PixelRect{3, 3, 0, 4}.unionWith(left)), left);
  EXPECT_EQ(left.unionWith({3, 3, 4, -1}), left);
  EXPECT_EQ(left.intersectionWith(right), (PixelRect{5, 5, 5, 5}));
  EXPECT_EQ(left.intersectionWith({10, 0, 5, 5}), PixelRect{});
  EXPECT_EQ((PixelRect{-5, 4, 30, 30}.intersectionWith(PixelRect::of({20, 10}))), (PixelRect{0, 4, 20, 6}));
  EXPECT_TRUE(left.contains(left));
  EXPECT_TRUE(left.contains({9, 9, 1, 1}));
  EXPECT_FALSE(left.contains({9, 9, 2, 1}));
  EXPECT_FALSE(left.contains({-1, 0, 2, 2}));
}

TEST(PointRect, joinsAndIntersects) {
  const PointRect left{{0, 0}, {10, 10}};
  const PointRect right{{5, 5}, {10, 10}};
  EXPECT_EQ(left.unionWith(right), (PointRect{{0, 0}, {15, 15}}));
  EXPECT_EQ(left.unionWith({}), left);
  EXPECT_EQ((PointRect{}.unionWith(left)), left);
  EXPECT_EQ(left.intersectionWith(right), (PointRect{{5, 5}, {5, 5}}));
  EXPECT_TRUE(left.intersectionWith({{20, 20}, {1, 1}}).isEmpty());
}

TEST(TextTools, trimUnicodeWhiteSpaceAtBothEnds) {
  EXPECT_EQ(trimmedWhiteSpace("\u00A0 a b\t\u2028\n"), "a b");
  EXPECT_EQ(trimmedWhiteSpace("\xFF x "), "\xFF x");
  EXPECT_EQ(trimmedWhiteSpace(""), "");
  EXPECT_EQ(trimmedBlanks("\t a\n "), "a\n");
}

TEST(TextTools, cutAtUserPerceivedCharacters) {
  EXPECT_EQ(firstCharacters("e\u0301e\u0301e", 2), "e\u0301e\u0301");
  EXPECT_EQ(firstCharacters("ab", 5), "ab");
  EXPECT_EQ(firstCharacters("ab", 0), "");
  EXPECT_EQ(firstCharacters("\r\n\r\nx", 1), "\r\n");
  EXPECT_EQ(firstCharacters("\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 1), "\U0001F1E9\U0001F1EA");
  EXPECT_EQ(firstCharacters("\xFF\xFE\xFD", 2), "\xFF\xFE");
}

TEST(TextTools, takeTheLastComponentOfAPath) {
  EXPECT_EQ(lastPathComponent("/a/b"), "b");
  EXPECT_EQ(lastPathComponent("/a/b//"), "b");
  EXPECT_EQ(lastPathComponent("b"), "b");
  EXPECT_EQ(lastPathComponent("/"), "/");
  EXPECT_EQ(lastPathComponent("///"), "/");
  EXPECT_EQ(lastPathComponent(""), "");
}

TEST(CheckDeathTest, printsTheFailedCondition) {
  EXPECT_DEATH(QUORL_CHECK(1 == 2, "one is two"), "one is two");
}

}  // namespace
}  // namespace quorl
