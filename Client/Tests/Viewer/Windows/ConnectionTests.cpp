// SPDX-License-Identifier: GPL-3.0-or-later
#include <QAbstractButton>
#include <QLabel>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WindowConnectionTest : public WindowTest {
 protected:
  void TearDown() override { act({"keyup", "b"}); }

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

TEST_F(WindowConnectionTest, anEndlessErrorIsCutAndTheNextOneIsWhole) {
  open();
  host_->push(ControlMessage(message::Error{{"agent.unknown", std::string(7'000'000, 'x')}}));
  ASSERT_TRUE(spinUntil([&] { return shows("xxx"); }));
  screenshot("endless-error");
  for (const auto* banner : parts<Banner>()) EXPECT_LE(banner->text().size(), 2'000);
  host_->push(ControlMessage(message::Error{{"agent.unknown", "No agent"}}));
  ASSERT_TRUE(spinUntil([&] { return shows("No agent"); }));
  for (const auto* banner : parts<Banner>())
    EXPECT_TRUE(banner->isHidden() || banner->width() < window_->width() / 2) << "as wide as its text";
}

TEST_F(WindowConnectionTest, aTargetThatTheHostRefusesIsExplained) {
  auto behaviour = ordinary();
  behaviour.streamError = WireError{"stream.target", "no such window <b>here</b>"};
  open(behaviour);
  ASSERT_TRUE(spinUntil([&] { return overlayTitle() == "This target cannot be shown"; }))
      << overlayTitle().toStdString();
  screenshot("refused");
  const auto* text = window_->findChild<QLabel*>(QStringLiteral("overlayCounter"));
  EXPECT_TRUE(text->text().contains("no such window <b>here</b>", Qt::CaseInsensitive))
      << text->text().toStdString();
}

TEST_F(WindowConnectionTest, aFailedDisplayIsTriedAgainByItself) {
  open();
  ASSERT_TRUE(hasPicture());
  const auto numberOf = [&] { return host_->messagesOf<message::StartStream>().back()._0.streamID; };
  const auto first = numberOf();
  act({"keydown", "b"});
  ASSERT_TRUE(spinUntil([&] { return heldAt(*host_) == 1; }));
  host_->push(ControlMessage(
      message::Error{{"stream.capture", "stream " + std::to_string(first) + ": the display is gone"}}));
  ASSERT_TRUE(spinUntil([&] { return overlayTitle() == "This target cannot be shown"; }));
  EXPECT_FALSE(window_->view().hasPicture()) << "an old picture would pass for the present one";
  EXPECT_TRUE(spinUntil([&] { return heldAt(*host_) == 0; }));
  EXPECT_NE(visibleButton(QStringLiteral("Try again now")), nullptr);
  screenshot("failed");
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 2; })) << "after two seconds";
  EXPECT_NE(numberOf(), first);
  ASSERT_TRUE(hasPicture());
  EXPECT_TRUE(overlayTitle().isEmpty());
  EXPECT_TRUE(window_->view().hasFocus());
}

TEST_F(WindowConnectionTest, aRefusedTargetIsTriedAgainOnRequestAndAfterAReconnection) {
  auto behaviour = ordinary();
  behaviour.streamError = WireError{"stream.target", "no such application"};
  open(behaviour, {.target = streamTarget::App{"org.example.gone"}, .wanted = {}, .folder = {}});
  QAbstractButton* now = nullptr;
  ASSERT_TRUE(spinUntil([&] { return (now = visibleButton(QStringLiteral("Try again now"))) != nullptr; }));
  now->click();
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 2; }));
  ASSERT_TRUE(spinUntil([&] { return visibleButton(QStringLiteral("Try again now")) != nullptr; }));
  host_->setBehaviour(ordinary());
  host_->disconnectAll();
  ASSERT_TRUE(hasPicture());
  EXPECT_EQ(host_->messagesOf<message::StartStream>().back()._0.target,
            StreamTarget(streamTarget::App{"org.example.gone"}));
  EXPECT_TRUE(spinUntil([&] { return overlayTitle().isEmpty(); }));
}

TEST_F(WindowConnectionTest, aRecordingEndsWithItsStream) {
  open();
  ASSERT_TRUE(hasPicture());
  window_->session().startRecording(folder_.path() / "picture.mp4");
  ASSERT_TRUE(window_->session().isRecording());
  const auto stream = host_->messagesOf<message::StartStream>().back()._0.streamID;
  host_->push(
      ControlMessage(message::Error{{"stream.capture", "stream " + std::to_string(stream) + ": gone"}}));
  EXPECT_TRUE(spinUntil([&] { return !window_->session().isRecording(); }));
}

}  // namespace
}  // namespace quorl::viewer::test
