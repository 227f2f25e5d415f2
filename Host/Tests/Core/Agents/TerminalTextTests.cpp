// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Text/TerminalText.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>

#include <QuorlHostCore/Text/RegularExpression.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {
namespace {

TEST(CleanedTerminalText, leavesOutSequencesAndControlsButTabAndLineFeed) {
  EXPECT_EQ(cleanedTerminalText("\x1b[1;31mred\x1b[0m"), "red");
  EXPECT_EQ(cleanedTerminalText("\x1b]0;title\x07"
                                "a\x1b]8;;u\x1b\\b"),
            "ab");
  EXPECT_EQ(cleanedTerminalText("a\tb\r\nc\x08\x0b\x0c\x7f"), "a\tb\nc\x7f");
  EXPECT_EQ(cleanedTerminalText("\x1b(Bx"), "(Bx");
  EXPECT_EQ(cleanedTerminalText("\x1b[?1;2 $pz"), "z");
}

TEST(CleanedTerminalText, keepsTheTextOfAnUnfinishedSequence) {
  EXPECT_EQ(cleanedTerminalText("\x1b[12"), "[12");
  EXPECT_EQ(cleanedTerminalText("\x1b]0;title"), "]0;title");
  EXPECT_EQ(cleanedTerminalText("\x1b]0;a\x1b[1mb"), "]0;ab");
  EXPECT_EQ(cleanedTerminalText("\x1b"), "");
}

// Texts of characters that matter to the expression, so that most of them contain whole, nested and truncated
// sequences.
std::string randomTerminalText(std::mt19937& random) {
  static const std::array<std::string, 24> pieces = {"\x1b",
                                                     "[",
                                                     "]",
                                                     "\x07",
                                                     "\\",
                                                     "\x1b[",
                                                     "\x1b]",
                                                     "\x1b\\",
                                                     "0",
                                                     "9",
                                                     ";",
                                                     "?",
                                                     " ",
                                                     "/",
                                                     "@",
                                                     "~",
                                                     "m",
                                                     "é",
                                                     "❯",
                                                     "\n",
                                                     "\t",
                                                     "\r",
                                                     std::string(1, '\0'),
                                                     "\x7f"};
  std::string text;
  const auto length = random() % 24;
  for (unsigned i = 0; i < length; ++i) {
    if (random() % 8 == 0) {
      text += static_cast<char>(random() % 256);
    } else {
      text += pieces[random() % pieces.size()];
    }
  }
  return repairedUTF8(text);
}

TEST(CleanedTerminalText, leavesOutExactlyWhatTheExpressionMatches) {
  const auto expression = RegularExpression::compile(terminalNoisePattern);
  ASSERT_TRUE(expression.has_value());
  std::mt19937 random(7);
  for (int i = 0; i < 60'000; ++i) {
    const std::string text = randomTerminalText(random);
    ASSERT_EQ(cleanedTerminalText(text), expression->removedFrom(text)) << "round " << i;
  }
}

TEST(CleanedTerminalText, agreesWithTheExpressionWhereverALongTextIsCut) {
  const auto expression = RegularExpression::compile(terminalNoisePattern);
  ASSERT_TRUE(expression.has_value());
  const std::string text =
      "a\x1b[38;5;12mb\x1b]0;t\x07"
      "c\x1b]8;;http://x\x1b\\d\x1b[?1049h\x1b[ qe\x1b[1;2!~f\x1b]x\x1b]y\x07";
  for (std::size_t from = 0; from <= text.size(); ++from)
    for (std::size_t to = from; to <= text.size(); ++to) {
      const std::string piece = text.substr(from, to - from);
      ASSERT_EQ(cleanedTerminalText(piece), expression->removedFrom(piece)) << from << " to " << to;
    }
}

TEST(CleanedTerminalText, staysLinearOnManyUnfinishedSequences) {
  std::string text;
  for (int i = 0; i < 200'000; ++i) text += "\x1b]";
  EXPECT_EQ(cleanedTerminalText(text), std::string(200'000, ']'));
}

TEST(LastNonEmptyLine, trimsAndSkipsEmptyLines) {
  EXPECT_EQ(lastNonEmptyLine("a\n b \t\n\t\n  "), "b");
  EXPECT_EQ(lastNonEmptyLine("only"), "only");
  EXPECT_EQ(lastNonEmptyLine(" \n\t"), std::nullopt);
  EXPECT_EQ(lastNonEmptyLine(""), std::nullopt);
}

TEST(TerminalPreviewLine, isTheLastLineOfTheLast4096Bytes) {
  EXPECT_EQ(terminalPreviewLine(viewOf("one\r\n\x1b[1mtwo\x1b[0m\r\n")), "two");
  EXPECT_EQ(terminalPreviewLine(viewOf("gone" + std::string(4096, '\n'))), std::nullopt);
  EXPECT_EQ(terminalPreviewLine(viewOf("gone" + std::string(4095, '\n'))), "e");
  EXPECT_EQ(terminalPreviewLine({}), std::nullopt);
}

TEST(TerminalPreviewLine, isNotShortened) {
  const std::string longLine(4000, 'x');
  EXPECT_EQ(terminalPreviewLine(viewOf(longLine)), longLine);
}

TEST(TerminalPreviewLine, readsBrokenUTF8AsLatin1) {
  EXPECT_EQ(terminalPreviewLine(viewOf("caf\xe9")), "café");
  EXPECT_EQ(terminalPreviewLine(viewOf("café\xff")), "cafÃ©ÿ");
}

TEST(AlternateScreenScanner, followsBothKindsOfSequences) {
  AlternateScreenScanner scanner;
  EXPECT_FALSE(scanner.isInAlternateScreen());
  scanner.update(viewOf("x\x1b[?1049hy"));
  EXPECT_TRUE(scanner.isInAlternateScreen());
  scanner.update(viewOf("nothing of note \x1b[?25l"));
  EXPECT_TRUE(scanner.isInAlternateScreen());
  scanner.update(viewOf("\x1b[?47l"));
  EXPECT_FALSE(scanner.isInAlternateScreen());
  scanner.update(viewOf("\x1b[?47h"));
  EXPECT_TRUE(scanner.isInAlternateScreen());
  scanner.update(viewOf("\x1b[?1049l"));
  EXPECT_FALSE(scanner.isInAlternateScreen());
}

TEST(AlternateScreenScanner, recognisesASequenceSplitBetweenTwoReads) {
  for (const bool enters : {true, false}) {
    const std::string sequence = enters ? "\x1b[?1049h" : "\x1b[?1049l";
    for (std::size_t cut = 0; cut <= sequence.size(); ++cut) {
      AlternateScreenScanner scanner;
      if (!enters) scanner.update(viewOf("\x1b[?47h"));
      scanner.update(viewOf("some text" + sequence.substr(0, cut)));
      scanner.update(viewOf(sequence.substr(cut) + "some more text"));
      EXPECT_EQ(scanner.isInAlternateScreen(), enters) << cut;
    }
  }
}

TEST(AlternateScreenScanner, recognisesASequenceThatArrivesByteByByte) {
  AlternateScreenScanner scanner;
  for (const char byte : std::string("abc\x1b[?1049h")) scanner.update(viewOf(std::string(1, byte)));
  EXPECT_TRUE(scanner.isInAlternateScreen());
  for (const char byte : std::string("x\x1b[?47l")) scanner.update(viewOf(std::string(1, byte)));
  EXPECT_FALSE(scanner.isInAlternateScreen());
  scanner.update(viewOf("y"));
  EXPECT_FALSE(scanner.isInAlternateScreen());
}

TEST(AlternateScreenScanner, isOutsideAfterEnterAndLeaveInOneRead) {
  AlternateScreenScanner scanner;
  scanner.update(viewOf("\x1b[?1049hscreen\x1b[?1049l"));
  EXPECT_FALSE(scanner.isInAlternateScreen());
  scanner.update(viewOf("\x1b[?1049l\x1b[?47h"));
  EXPECT_TRUE(scanner.isInAlternateScreen());
}

// A direct implementation of the rule: carry and read joined, the last of the four sequences.
class PlainScanner {
 public:
  void update(std::string_view bytes) {
    const std::string joined = carry_ + std::string(bytes);
    const auto last = [&](const char* a, const char* b) {
      const auto first = joined.rfind(a);
      const auto second = joined.rfind(b);
      const auto position = [](std::size_t at) {
        return at == std::string::npos ? -1L : static_cast<long>(at);
      };
      return std::max(position(first), position(second));
    };
    const long enter = last("\x1b[?1049h", "\x1b[?47h");
    const long leave = last("\x1b[?1049l", "\x1b[?47l");
    if (enter >= 0 || leave >= 0) inside = enter > leave;
    carry_ = joined.substr(joined.size() - std::min<std::size_t>(8, joined.size()));
  }
  bool inside = false;

 private:
  std::string carry_;
};

TEST(AlternateScreenScanner, agreesWithThePlainRuleOnRandomReads) {
  const std::array<std::string, 9> pieces = {"\x1b[?1049h", "\x1b[?47h", "\x1b[?1049l", "\x1b[?47l", "a",
                                             "\x1b",        "[?",        "1049",        "h"};
  std::mt19937 random(3);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (int i = 0; i < 12; ++i) text += pieces[random() % pieces.size()];
    AlternateScreenScanner scanner;
    PlainScanner plain;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t length = std::min<std::size_t>(text.size() - at, 1 + random() % 20);
      scanner.update(viewOf(text).subspan(at, length));
      plain.update(std::string_view(text).substr(at, length));
      ASSERT_EQ(scanner.isInAlternateScreen(), plain.inside) << "round " << round << " at " << at;
      at += length;
    }
  }
}

TEST(Scrollback, ofExactlyTheLimitIsNotTrimmedAndOneByteMoreTriggersTheTrim) {
  Scrollback scrollback;
  scrollback.append(Bytes(Scrollback::limit, 'x'));
  EXPECT_EQ(scrollback.contents().size(), 262'144U);
  scrollback.append(viewOf("x"));
  EXPECT_EQ(scrollback.contents().size(), 258'048U);
}

TEST(Scrollback, keepsExactlyTheLast258048BytesWhenNoBoundaryIsNear) {
  Scrollback scrollback;
  Bytes bytes(Scrollback::limit + 10, 'x');
  bytes[10 + 4096] = '\n';  // the first byte after the searched part
  bytes[9] = '\n';          // the last byte before it
  scrollback.append(bytes);
  EXPECT_EQ(scrollback.contents().size(), 258'048U);
  EXPECT_EQ(scrollback.contents().front(), '\n');
}

TEST(Scrollback, startsAtTheFirstLineFeedOrSequenceAfterTheCut) {
  for (const char boundary : {'\n', '\x1b'}) {
    Scrollback scrollback;
    Bytes bytes(Scrollback::limit + 100, 'x');
    bytes[150] = static_cast<std::uint8_t>(boundary);
    bytes[160] = '\n';
    scrollback.append(bytes);
    EXPECT_EQ(scrollback.contents().size(), Scrollback::limit - 50);
    EXPECT_EQ(scrollback.contents().front(), static_cast<std::uint8_t>(boundary));
  }
}

// A direct implementation of the rule, with a copy for every read.
void appendPlainly(Bytes& kept, ByteView output) {
  kept.insert(kept.end(), output.begin(), output.end());
  if (kept.size() <= Scrollback::limit) return;
  const std::size_t start = kept.size() - Scrollback::limit;
  std::size_t cut = start;
  while (cut < std::min(start + 4096, kept.size()) && kept[cut] != '\n' && kept[cut] != 0x1b) ++cut;
  kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(cut));
}

TEST(Scrollback, agreesWithThePlainRuleOnRandomReads) {
  std::mt19937 random(5);
  Scrollback scrollback;
  Bytes plain;
  for (int round = 0; round < 400; ++round) {
    Bytes output(random() % (round % 2 == 0 ? 65'537 : 7));
    const unsigned boundaryEvery = round / 50 % 2 == 0 ? 80 : 9000;
    for (auto& byte : output) byte = random() % boundaryEvery == 0 ? '\n' : 'a';
    scrollback.append(output);
    appendPlainly(plain, output);
    ASSERT_TRUE(std::ranges::equal(scrollback.contents(), plain)) << "round " << round;
    ASSERT_LE(scrollback.contents().size(), Scrollback::limit);
  }
}

TEST(Scrollback, returnsItsTail) {
  Scrollback scrollback;
  EXPECT_TRUE(scrollback.isEmpty());
  scrollback.append(viewOf("abcdef"));
  EXPECT_EQ(textViewOf(scrollback.tail(3)), "def");
  EXPECT_EQ(textViewOf(scrollback.tail(30)), "abcdef");
}

}  // namespace
}  // namespace quorl
