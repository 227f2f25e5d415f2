// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/AttachmentOutput.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class RecordingTerminal final : public TerminalWriter {
 public:
  Outcome<void> write(ByteView bytes) override {
    written += textViewOf(bytes);
    return {};
  }
  std::optional<TerminalSize> size() const override { return TerminalSize{20, 5}; }
  void setRestoring(ByteView bytes) override { restoring = textOf(bytes); }

  std::string take() { return std::exchange(written, {}); }

  std::string written;
  std::string restoring;
};

class AttachmentOutputTest : public testing::Test {
 protected:
  std::string show(std::string_view text) {
    EXPECT_TRUE(output_.show(viewOf(text)));
    return terminal_.take();
  }

  RecordingTerminal terminal_;
  AttachmentOutput output_{AgentKind::pty, terminal_};
};

TEST_F(AttachmentOutputTest, writesLiveOutputAsItIs) {
  show("kept\r\n");
  output_.endReplay();
  EXPECT_EQ(show("\x1b[31mred\x1b[0m"), "\x1b[31mred\x1b[0m");
}

TEST_F(AttachmentOutputTest, holdsAnUnfinishedCharacterBackUntilItsRestComes) {
  show("kept\r\n");
  EXPECT_EQ(show("a\xE2\x82"), "a");
  EXPECT_EQ(show("\xAC"), "€");
}

TEST_F(AttachmentOutputTest, doesNotHoldAMalformedCharacterBack) {
  show("kept\r\n");
  EXPECT_EQ(show("a\xE0\x80"), "a\xE0\x80");  // overlong: no rest can make it valid
}

TEST_F(AttachmentOutputTest, continuesAReplayWhereTheLastOutputStopped) {
  show("one\r\ntwo\r\n");
  output_.endReplay();
  output_.beginSubscription();
  EXPECT_FALSE(output_.hasOutputOfSubscription());
  EXPECT_EQ(show("one\r\ntwo\r\nthree\r\n"), "three\r\n");
  EXPECT_TRUE(output_.hasOutputOfSubscription());
}

TEST_F(AttachmentOutputTest, clearsTheTerminalBeforeAReplayThatHasLostItsBeginning) {
  show("one\r\n");
  output_.beginSubscription();
  const std::string replay(SeenOutput::pieceLimit + 1, 'x');
  const std::string written = show(replay);
  EXPECT_THAT(written, HasSubstr("\x1b[2J"));
  EXPECT_THAT(written, EndsWith(replay));
}

TEST_F(AttachmentOutputTest, showsANoticeOnAScreenOfItsOwnCutToTheWidth) {
  show("half a line");
  output_.showNotice("[quorl: a long notice about the host]");
  const std::string notice = terminal_.take();
  EXPECT_THAT(notice, StartsWith("\x1b[?1049h"));
  EXPECT_THAT(notice, EndsWith("\x1b[2K[quorl: a long noti"));
  output_.clearNotice();
  EXPECT_EQ(terminal_.take(), "\x1b[?1049l");
  output_.clearNotice();
  EXPECT_EQ(terminal_.take(), "");
}

TEST_F(AttachmentOutputTest, undoesTheModesOfTheAgentAtTheEndAndInACrash) {
  show("\x1b[?25l");
  EXPECT_THAT(terminal_.restoring, HasSubstr("\x1b[?25h"));
  output_.end();
  EXPECT_THAT(terminal_.take(), HasSubstr("\x1b[?25h"));
}

TEST_F(AttachmentOutputTest, setsTheModesAgainAfterAStop) {
  show("\x1b[?2004h");
  output_.suspend();
  EXPECT_THAT(terminal_.take(), HasSubstr("\x1b[?2004l"));
  output_.resume();
  EXPECT_THAT(terminal_.take(), HasSubstr("\x1b[?2004h"));
}

TEST_F(AttachmentOutputTest, endsOnANewLine) {
  show("no line feed");
  output_.end();
  EXPECT_THAT(terminal_.take(), EndsWith("\r\n"));
}

}  // namespace
}  // namespace quorl::client
