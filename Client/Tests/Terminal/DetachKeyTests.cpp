// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/DetachKey.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

KeyFilter filterFor(std::string_view keys = "ctrl-]") {
  return KeyFilter(DetachKey::parse(keys).value());
}

const Clock::time_point now = Clock::time_point() + std::chrono::hours(1);
const Clock::time_point later = now + KeyFilter::again;

// After a while without keys.
KeyFilter::Result feedAndWait(KeyFilter& filter, std::string_view text) {
  auto result = filter.feed(viewOf(text), now);
  result.hasDetached = result.hasDetached || filter.hasDetached(later);
  return result;
}

// The output when the text arrives in reads of `size` bytes.
KeyFilter::Result feedIn(KeyFilter filter, std::string_view text, std::size_t size) {
  KeyFilter::Result all;
  while (!text.empty() && !all.hasDetached) {
    const auto part = filter.feed(viewOf(text.substr(0, size)), now);
    all.passed.insert(all.passed.end(), part.passed.begin(), part.passed.end());
    all.hasDetached = part.hasDetached;
    text.remove_prefix(std::min(size, text.size()));
  }
  all.hasDetached = all.hasDetached || filter.hasDetached(later);
  return all;
}

TEST(DetachKey, isParsedFromText) {
  EXPECT_EQ(DetachKey::parse("ctrl-]")->name, "Ctrl-]");
  EXPECT_EQ(DetachKey::parse("^]")->name, "Ctrl-]");
  EXPECT_EQ(DetachKey::parse("Ctrl-A d")->name, "Ctrl-a d");
  EXPECT_TRUE(DetachKey::parse("none")->keys.empty());
}

TEST(DetachKey, rejectsKeysThatCannotBePressedOrStartOtherKeys) {
  for (const std::string_view text :
       {"", " ", "ctrl-[", "^[", "ctrl-", "ctrl-ab", "esc", "ctrl-1", "\x1b", "ü"})
    EXPECT_FALSE(DetachKey::parse(text)) << text;
  EXPECT_EQ(DetachKey::parse("meta-x").error().code, ExitCode::usage);
}

TEST(KeyFilter, detachesAtTheKeyAndDropsLaterInput) {
  auto filter = filterFor();
  const auto result = filter.feed(viewOf("abc\x1d"
                                         "def"),
                                  now);
  EXPECT_TRUE(result.hasDetached);
  EXPECT_EQ(textOf(result.passed), "abc");
}

TEST(KeyFilter, sendsTheKeyOnceWhenItIsPressedTwice) {
  for (const std::string key : {"\x1d", "\x1b[93;5u"}) {
    auto filter = filterFor();
    std::string passed = textOf(filter.feed(viewOf("a" + key), now).passed);
    // The second press, however the reads cut it.
    for (const char& byte : key)
      passed += textOf(filter.feed(viewOf(std::string_view(&byte, 1)), now).passed);
    const auto last = filter.feed(viewOf("b"), now);
    EXPECT_EQ(passed + textOf(last.passed), "a" + key + "b");
    EXPECT_FALSE(last.hasDetached || filter.hasDetached(later));
    EXPECT_TRUE(feedIn(filterFor(), key + key + key, 100).hasDetached) << "a third press detaches";
  }
  const auto sequence = feedIn(filterFor("ctrl-a d"),
                               "\x01"
                               "d\x01"
                               "dx",
                               1);
  EXPECT_FALSE(sequence.hasDetached);
  EXPECT_EQ(textOf(sequence.passed),
            "\x01"
            "dx");
}

TEST(KeyFilter, detachesAfterOnePressAndAShortTime) {
  auto filter = filterFor();
  EXPECT_FALSE(filter.feed(viewOf("\x1d"), now).hasDetached);
  EXPECT_EQ(filter.due(), later);
  EXPECT_FALSE(filter.hasDetached(later - std::chrono::milliseconds(1)));
  EXPECT_TRUE(filter.hasDetached(later));
  const auto late = filter.feed(viewOf("\x1d"), later);
  EXPECT_TRUE(late.hasDetached) << "too late to be a second press";
  EXPECT_TRUE(late.passed.empty());
}

TEST(KeyFilter, passesEveryOtherByteAtOnce) {
  auto filter = filterFor();
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0x1D) continue;
    const std::uint8_t typed = static_cast<std::uint8_t>(byte);
    const auto result = filter.feed({&typed, 1}, now);
    ASSERT_EQ(result.passed, Bytes{typed}) << byte;
    ASSERT_FALSE(result.hasDetached);
  }
}

TEST(KeyFilter, passesEscapeAndFunctionKeysWithoutWaiting) {
  auto filter = filterFor();
  EXPECT_EQ(textOf(filter.feed(viewOf("\x1b"), now).passed), "\x1b");
  EXPECT_EQ(textOf(filter.feed(viewOf("["), now).passed), "[");
  EXPECT_EQ(textOf(filter.feed(viewOf("A"), now).passed), "A");
  EXPECT_EQ(textOf(filter.feed(viewOf("\x1b[A\x1b[1;5C\x1b[93~"), now).passed), "\x1b[A\x1b[1;5C\x1b[93~");
}

TEST(KeyFilter, recognisesTheKeyAsANamedKey) {
  for (const std::string_view named : {"\x1b[93;5u", "\x1b[93;133u", "\x1b[27;5;93~"}) {
    auto filter = filterFor();
    const auto result = feedAndWait(filter, std::string("x") + std::string(named));
    EXPECT_TRUE(result.hasDetached) << named;
    EXPECT_EQ(textOf(result.passed), "x");
  }
}

TEST(KeyFilter, holdsTheBeginningOfANamedKeyBack) {
  auto filter = filterFor();
  EXPECT_TRUE(filter.feed(viewOf("\x1b[93"), now).passed.empty());
  EXPECT_TRUE(feedAndWait(filter, ";5u").hasDetached);
  auto other = filterFor();
  EXPECT_TRUE(other.feed(viewOf("\x1b[93"), now).passed.empty());
  EXPECT_EQ(textOf(other.feed(viewOf(";2u"), now).passed), "\x1b[93;2u");
}

TEST(KeyFilter, detachesAtASequenceHoweverItIsCut) {
  for (const std::size_t size : {1U, 2U, 3U, 100U}) {
    const auto result = feedIn(filterFor("ctrl-a d"),
                               "one\x01"
                               "dtwo",
                               size);
    EXPECT_TRUE(result.hasDetached);
    EXPECT_EQ(textOf(result.passed), "one");
  }
}

TEST(KeyFilter, passesABeginningThatTurnsIntoAnotherKey) {
  for (const std::size_t size : {1U, 2U, 100U}) {
    const auto result = feedIn(filterFor("ctrl-a d"),
                               "\x01\x01xd\x01"
                               "e",
                               size);
    EXPECT_FALSE(result.hasDetached);
    EXPECT_EQ(textOf(result.passed),
              "\x01\x01xd\x01"
              "e");
  }
  // The second of two beginnings counts.
  EXPECT_TRUE(feedIn(filterFor("ctrl-a d"),
                     "\x01\x01"
                     "d",
                     1)
                  .hasDetached);
}

TEST(KeyFilter, passesPastedTextWholeHoweverItIsCut) {
  const std::string pasted = "\x1b[200~a\x1d\x1b[93;5ub\x1b[201\x1b[201~";
  for (std::size_t size = 1; size <= pasted.size() + 4; ++size) {
    const auto result = feedIn(filterFor(), pasted + "c", size);
    EXPECT_FALSE(result.hasDetached) << size;
    EXPECT_EQ(textOf(result.passed), pasted + "c");
    EXPECT_TRUE(feedIn(filterFor(), pasted + "\x1d", size).hasDetached) << "the paste is over";
  }
}

TEST(KeyFilter, withoutAKeyPassesAll) {
  auto filter = filterFor("none");
  EXPECT_EQ(textOf(filter.feed(viewOf("\x1d\x01\x1b[93;5u"), now).passed), "\x1d\x01\x1b[93;5u");
}

}  // namespace
}  // namespace quorl::client
