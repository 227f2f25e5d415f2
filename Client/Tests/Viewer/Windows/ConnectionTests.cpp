// SPDX-License-Identifier: GPL-3.0-or-later
#include <QAbstractButton>
#include <QLabel>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WindowConnectionTest : public WindowTest {
 protected:
  QString overlayTitle() const {
    const auto* label = window_->findChild<QLabel*>(QStringLiteral("overlayTitle"));
    return label != nullptr && label->isVisible() ? label->text() : QString();
  }
  QAbstractButton* visibleButton(const QString& name) const {
    for (auto* button : window_->findChildren<QAbstractButton*>())
      if (button->accessibleName() == name && button->isVisible()) return button;
    return nullptr;
  }
};

TEST_F(WindowConnectionTest, aStallDimsThePictureAndCounts) {
  open();
  ASSERT_TRUE(hasPicture());
  ASSERT_TRUE(spinUntil([&] { return overlayTitle().isEmpty(); }));
  const QColor before = colourAt(300, 30);
  host_->freeze(true);
  // Input makes the link ask after half a second.
  act({"key", "b"});
  ASSERT_TRUE(spinUntil([&] { return overlayTitle().startsWith("Fake host has not answered for 2 s"); }))
      << overlayTitle().toStdString();
  EXPECT_TRUE(spinUntil([&] { return overlayTitle().endsWith(" 3 s"); }));
  EXPECT_NE(visibleButton(QStringLiteral("Connect now")), nullptr);
  EXPECT_NE(visibleButton(QStringLiteral("Stop connecting")), nullptr);
  EXPECT_TRUE(window_->view().hasFocus()) << "a blank that is typed does not press a button";
  screenshot("stalled");
  EXPECT_LT(colourAt(300, 30).lightness(), before.lightness());
  host_->freeze(false);
  EXPECT_TRUE(spinUntil([&] { return overlayTitle().isEmpty(); }));
  EXPECT_TRUE(spinUntil([&] { return std::abs(colourAt(300, 30).lightness() - before.lightness()) <= 2; }));
}

TEST_F(WindowConnectionTest, aBreakIsShownAndNowConnectsAgainWithTheSameTargetAndWithoutSound) {
  open(ordinary(), {.target = streamTarget::Window{77}, .wanted = {}, .isMuted = true, .folder = {}});
  ASSERT_TRUE(hasPicture());
  const auto sounds = countOf<message::AudioControl>();
  host_->disconnectAll();
  QAbstractButton* now = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (now = visibleButton(QStringLiteral("Connect now"))) != nullptr; }));
  screenshot("lost");
  EXPECT_EQ(overlayTitle(), QStringLiteral("The connection to Fake host is lost"));
  EXPECT_TRUE(now->hasFocus()) << "it is reached without the pointer";
  now->click();
  bool isCancelFocused = false;
  ASSERT_TRUE(spinUntil([&] {
    const auto* cancel = visibleButton(QStringLiteral("Stop connecting"));
    isCancelFocused = isCancelFocused || (cancel != nullptr && cancel->hasFocus());
    return countOf<message::StartStream>() == 2;
  }));
  EXPECT_FALSE(isCancelFocused) << "a blank that is typed would press it";
  const auto starts = host_->messagesOf<message::StartStream>();
  EXPECT_EQ(starts[1]._0.target, starts[0]._0.target);
  EXPECT_EQ(starts[1]._0.target, StreamTarget(streamTarget::Window{77}));
  EXPECT_TRUE(spinUntil([&] { return overlayTitle().isEmpty(); }));
  EXPECT_TRUE(window_->view().hasFocus()) << "the keyboard is the host's again";
  EXPECT_EQ(countOf<message::AudioControl>(), sounds) << "it stays mute";
}

TEST_F(WindowConnectionTest, aTargetThatTheHostRefusesIsExplained) {
  auto behaviour = ordinary();
  behaviour.streamError = WireError{"stream.target", "no such window <b>here</b>"};
  open(behaviour);
  ASSERT_TRUE(spinUntil([&] { return overlayTitle() == "This target cannot be shown"; }))
      << overlayTitle().toStdString();
  screenshot("refused");
  const auto* text = window_->findChild<QLabel*>(QStringLiteral("overlayCounter"));
  EXPECT_TRUE(text->text().contains("no such window <b>here</b>")) << text->text().toStdString();
}

}  // namespace
}  // namespace quorl::viewer::test
