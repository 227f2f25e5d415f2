// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Terminal/TerminalModes.h>
#include <QuorlKit/Terminal/TerminalPreamble.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

std::string restoringAfter(std::string_view output, std::size_t size = 1U << 20) {
  TerminalModes modes;
  for (; !output.empty(); output.remove_prefix(std::min(size, output.size())))
    modes.follow(viewOf(output.substr(0, size)));
  return textOf(modes.restoring());
}

TEST(TerminalModes, needNothingForPlainOutput) {
  EXPECT_EQ(restoringAfter("hello\r\n\x1b[1;31mred\x1b[0m \x1b]0;title\x07\x1b[2K"), "\x1b[0m");
}

TEST(TerminalModes, undoesWhatAFullScreenProgramDoes) {
  EXPECT_EQ(restoringAfter("\x1b[?1049h\x1b[?25l\x1b[?1002;1006h\x1b[?2004h\x1b[?1h\x1b=text"),
            "\x1b[?1049l\x1b[?1l\x1b[?25h\x1b[?1002l\x1b[?1006l\x1b[?2004l\x1b>\x1b[0m");
}

TEST(TerminalModes, doesNotUndoWhatTheProgramUndid) {
  EXPECT_EQ(restoringAfter("\x1b[?1049h\x1b[?25l\x1b=\x1b[>4;2m\x1b[>1u\x1b[2;20r"
                           "\x1b[r\x1b[<u\x1b[>4;0m\x1b>\x1b[?25h\x1b[?1049l"),
            "\x1b[0m");
}

TEST(TerminalModes, undoesTheNewerModesToo) {
  EXPECT_EQ(restoringAfter("\x1b[>1u\x1b[>5u\x1b[>4;1m\x1b[4h\x1b[5 q\x1b(0"),
            "\x1b[<2u\x1b[>4m\x1b[4l\x1b[0 q\x1b(B\x0f\x1b[0m");
  EXPECT_EQ(restoringAfter("\x1b[5;10r"),
            "\x1b"
            "7\x1b[r\x1b"
            "8\x1b[0m");
}

TEST(TerminalModes, seesSequencesHoweverTheyAreCut) {
  const std::string output = "a\x1b[?1049;1000hb\x1b]8;;http://x\x1b\\c\x1bP$qm\x1b\\\x1b[?25l\x1b[?1000l";
  const auto whole = restoringAfter(output);
  EXPECT_EQ(whole, "\x1b[?1049l\x1b[?25h\x1b[0m");
  for (std::size_t size = 1; size < output.size(); ++size)
    EXPECT_EQ(restoringAfter(output, size), whole) << size;
}

TEST(TerminalModes, endsASequenceThatWasCut) {
  EXPECT_EQ(restoringAfter("text\x1b[?10"), "\x18\x1b[0m");
  EXPECT_EQ(restoringAfter("text\x1b]0;half a title"), "\x18\x1b[0m");
}

TEST(TerminalModes, areTheSameInAnotherValueThatFollowsTheRecreatingBytes) {
  const std::string output =
      "\x1b[?1049h\x1b[?7l\x1b[?25h\x1b[?2004h\x1b[2;20r\x1b[>1u\x1b[>5u\x1b[=3u\x1b[>4;2m\x1b[4h\x1b=\x1b[5 "
      "q"
      "\x1b(0\x1b)A\x0e\x1b]2;a title\x07\x1b[1;31m\x1b[4mtext\x1b[<1u\x1b]0;half a";
  const std::string later = " title\x07\x1b[<1u\x1b[?1049l";
  for (std::size_t size = 0; size <= output.size(); ++size) {
    TerminalModes modes;
    modes.follow(viewOf(std::string_view(output).substr(0, size)));
    TerminalModes same;
    same.follow(modes.recreating());
    for (const std::string& rest : {std::string(), output.substr(size) + later}) {
      modes.follow(viewOf(rest));
      same.follow(viewOf(rest));
      EXPECT_EQ(textOf(same.setting()), textOf(modes.setting())) << size;
      EXPECT_EQ(textOf(same.restoring()), textOf(modes.restoring())) << size;
      EXPECT_EQ(same.hasTitle(), modes.hasTitle()) << size;
      EXPECT_EQ(same.unfinishedSize(), modes.unfinishedSize()) << size;
    }
  }
}

TEST(TerminalModes, forgetsEverythingOnAReset) {
  EXPECT_EQ(restoringAfter("\x1b[?1049h\x1b[?25l\x1b"
                           "c"),
            "\x1b[0m");
  EXPECT_EQ(restoringAfter("\x1b[?25l\x1b[!p"), "\x1b[0m");
}

TEST(TerminalModes, recognisesTheAlternateScreen) {
  TerminalModes modes;
  EXPECT_FALSE(modes.isInAlternateScreen());
  modes.follow(viewOf("\x1b[?47h"));
  EXPECT_TRUE(modes.isInAlternateScreen());
  modes.follow(viewOf("\x1b[?47l"));
  EXPECT_FALSE(modes.isInAlternateScreen());
}

TEST(TerminalModes, staysSmallForHostileOutput) {
  TerminalModes modes;
  std::string output;
  for (int mode = 0; mode < 10'000; ++mode) output += "\x1b[?" + std::to_string(mode) + "h";
  modes.follow(viewOf(output));
  modes.follow(viewOf("\x1b]" + std::string(1 << 20, 'x')));
  EXPECT_LT(modes.restoring().size(), 8000U);
}

TEST(Replay, leavesOutWhatATerminalWouldAnswer) {
  for (const std::string_view question :
       {"\x1b[6n", "\x1b[?6n", "\x1b[c", "\x1b[>c", "\x1b[=c", "\x1b[?2026$p", "\x1b[>q", "\x1b[?u",
        "\x1b[18t", "\x1b]11;?\x07", "\x1b]4;1;?\x1b\\", "\x1bP$qm\x1b\\", "\x1bP+q544e\x1b\\", "\x1bZ",
        "\x05", "\x1b_Gi=1,a=q;AAAA\x1b\\"})
    EXPECT_EQ(textOf(fitForReplay(viewOf("a" + std::string(question) + "b"))), "ab") << question.substr(1);
}

TEST(Replay, doesNotJoinTheRestToAQuery) {
  EXPECT_EQ(textOf(fitForReplay(viewOf("\x1b[\x1b[6n6n\x1b\x05[6n\x1b]\x1b[c11;?\x07"))), "6n[6n11;?");
  EXPECT_EQ(textOf(fitForReplay(viewOf("\x1b[12\x18"
                                       "A"))),
            "\x18"
            "A");
}

TEST(Replay, neitherRingsNorCopiesNorNotifiesAgain) {
  EXPECT_EQ(textOf(fitForReplay(viewOf("a\x07\x07\x1b]52;c;aGk=\x07"
                                       "b\x1b]9;done\x1b\\\x1b]777;notify;x\x07"))),
            "ab");
}

TEST(Replay, keepsEverythingElseAsItIs) {
  const std::string kept =
      "text "
      "\xc3\xa4\r\n\t\x1b[1;31m\x1b[2J\x1b[?25l\x1b[22;0t\x1b]0;title\x07\x1b]8;;http://"
      "x\x1b\\link\x1b(B\x1b=\x1b[q"
      "\x1b[2 q\x1b[u\x1b[>1u\x1b[?1049h\x1bPsixel\x1b\\\x1b[A";
  EXPECT_EQ(textOf(fitForReplay(viewOf(kept))), kept);
  EXPECT_EQ(textOf(fitForReplay(viewOf("a\x1b[12"))), "a\x1b[12") << "the rest comes live";
}

// Restoring a terminal and setting its modes again leads to the same state.
TEST(TerminalModes, restoreTheModesOnATerminalThatJoinsLater) {
  for (const std::string_view output :
       {"\x1b[?1049h\x1b[?25l\x1b[?1002;1006h\x1b[?2004h\x1b[?1h\x1b=text",
        "\x1b[>1u\x1b[>5u\x1b[>4;2m\x1b[4h\x1b[5 q\x1b(0", "\x1b[5;10r\x1b]0;theirs\x07\x1b[1;31mred",
        "\x1b)0\x0e line drawing", "plain \x1b[1mbold\x1b[0m \x0e\x0f"}) {
    TerminalModes first;
    first.follow(viewOf(output));
    TerminalModes second;
    second.follow(first.setting());
    EXPECT_EQ(textOf(second.setting()), textOf(first.setting())) << output;
  }
  TerminalModes plain;
  plain.follow(viewOf("plain \x1b[1mbold\x1b[0m\x1b[?25l\x1b[?25h"));
  EXPECT_TRUE(plain.setting().empty());
  TerminalModes colours;
  colours.follow(viewOf("\x1b[31m\x1b[1;44m"));
  EXPECT_EQ(textOf(colours.setting()), "\x1b[31;1;44m");
  colours.follow(viewOf("\x1b[0;4m"));
  EXPECT_EQ(textOf(colours.setting()), "\x1b[0;4m");
}

TEST(TerminalPreamble, isSeparatedFromTheOutput) {
  using Before = TerminalPreamble::Before;
  for (const Before before : {Before::history, Before::live}) {
    Bytes bytes = TerminalPreamble::with(before, viewOf("\x1b[?1049h"));
    const Bytes rest = bytesOf("text \x18 and on");
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    const auto preamble = TerminalPreamble::of(bytes);
    ASSERT_TRUE(preamble);
    EXPECT_EQ(preamble->before, before);
    EXPECT_EQ(textOf(preamble->modes), "\x1b[?1049h");
    EXPECT_EQ(textOf(preamble->rest), "text \x18 and on");
  }
  EXPECT_TRUE(TerminalPreamble::with(Before::live, {}).empty());
  for (const std::string_view other : {"", "text", "\x18", "\x18\x1b[0m", "\x18\x1b[0mno end",
                                       "\x18\x1b"
                                       "c"})
    EXPECT_FALSE(TerminalPreamble::of(viewOf(other))) << other;
}

}  // namespace
}  // namespace quorl::client
