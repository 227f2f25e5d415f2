// SPDX-License-Identifier: GPL-3.0-or-later
// With real programs that own the clipboard and ask for it.
#include "WaylandFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WaylandClipboardTest : public WaylandTest {
 protected:
  void SetUp() override {
    WaylandTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    ASSERT_TRUE(spinUntil([&] { return host_->messagesOf<message::RequestClipboard>().size() == 1; }));
  }
  std::vector<ClipboardContent> sent() const {
    std::vector<ClipboardContent> contents;
    for (const auto& message : host_->messagesOf<message::Clipboard>())
      contents.push_back(message._0.content);
    return contents;
  }
  // What a program gets that pastes. The window answers meanwhile.
  static std::string paste() {
    const auto program = sway().startClient({"wl-paste", "--no-newline"});
    spinUntil([&] { return !program->isRunning(); });
    return program->output();
  }
};

TEST_F(WaylandClipboardTest, aCopyHereIsOneMessageToTheHost) {
  const auto before = sent().size();
  const auto program = sway().startClient({"wl-copy", "--foreground", "héllo 世界"});
  ASSERT_TRUE(spinUntil([&] { return sent().size() > before; }));
  EXPECT_EQ(sent().back(), ClipboardContent(clipboardContent::Text{"héllo 世界"}));
  EXPECT_FALSE(spinUntil([&] { return sent().size() > before + 1; }, 700ms));
}

TEST_F(WaylandClipboardTest, aCopyAtTheHostIsPastedHereAndSentBackNever) {
  const auto before = sent().size();
  host_->push(
      ControlMessage(message::Clipboard{{ClipboardContent(clipboardContent::Text{"from there: ß"})}}));
  EXPECT_TRUE(spinUntil([&] { return paste() == "from there: ß"; }));
  EXPECT_FALSE(spinUntil([&] { return sent().size() > before; }, 700ms));
}

}  // namespace
}  // namespace quorl::viewer::test
