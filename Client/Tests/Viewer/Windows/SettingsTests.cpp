// SPDX-License-Identifier: GPL-3.0-or-later
#include <QAction>
#include <QComboBox>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WindowSettingsTest : public WindowTest {
 protected:
  ViewerWindow::Start remembering() const {
    ViewerWindow::Start start;
    start.folder = folder_.path();
    return start;
  }
  HostSettings saved() const { return SettingsStore(folder_.path()).load(paired_.deviceID); }
  void save(const HostSettings& settings) const {
    ASSERT_TRUE(SettingsStore(folder_.path()).save(paired_.deviceID, settings));
  }
  StreamTarget lastTarget() const { return host_->messagesOf<message::StartStream>().back()._0.target; }
};

TEST_F(WindowSettingsTest, aChangeIsSavedSoonAndRestoredByTheNextWindow) {
  open(ordinary(), remembering());
  action("Mute")->trigger();
  action("Send text instead of keys")->trigger();
  action("While the window has the focus")->trigger();
  action("Send what is marked here")->trigger();
  auto* scale = window_->findChild<QComboBox*>();
  scale->setCurrentIndex(3);
  emit scale->activated(3);
  window_->watch(streamTarget::Window{77});
  ASSERT_TRUE(spinUntil([&] { return saved().target == "window/note%5Cx1b%5B2J"; })) << saved().target;
  const auto settings = saved();
  EXPECT_TRUE(settings.isMuted);
  EXPECT_EQ(settings.keyboard, KeyboardChoice::text);
  EXPECT_EQ(settings.grab, GrabChoice::whenFocused);
  EXPECT_TRUE(settings.sendsPrimary);
  EXPECT_EQ(settings.scale, ScaleChoice::fixed);
  EXPECT_EQ(settings.scaleFactor, 1.5);
  closeWindow();

  openWindow(remembering());
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 3; }));
  EXPECT_EQ(lastTarget(), StreamTarget(streamTarget::Window{77}));
  EXPECT_TRUE(action("Mute")->isChecked());
  EXPECT_TRUE(action("While the window has the focus")->isChecked());
  EXPECT_EQ(window_->findChild<QComboBox*>()->currentIndex(), 3);
  ASSERT_TRUE(hasPicture());
  EXPECT_EQ(window_->view().viewport().target().width, 480);
}

TEST_F(WindowSettingsTest, closingSavesWhatHasJustChanged) {
  open(ordinary(), remembering());
  action("Mute")->trigger();
  closeWindow();
  EXPECT_TRUE(saved().isMuted);
}

TEST_F(WindowSettingsTest, thePlaceOfTheWindowIsRemembered) {
  open(ordinary(), remembering());
  window_->setGeometry(200, 150, 700, 500);
  ASSERT_TRUE(spinUntil([&] { return saved().window && saved().window->size.width == 700; }));
  const auto place = window_->geometry();
  closeWindow();
  openWindow(remembering());
  EXPECT_EQ(window_->size(), place.size());
}

TEST_F(WindowSettingsTest, aNumberOfTheStartComesBeforeANameAndBothBeforeWhatIsRemembered) {
  open();
  auto remembered = HostSettings{};
  remembered.target = "display/4";
  save(remembered);
  closeWindow();
  auto start = remembering();
  openWindow(start);
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 2; }));
  EXPECT_EQ(lastTarget(), StreamTarget(streamTarget::Display{4}));
  closeWindow();
  start.wanted = viewTarget::Display{5};
  openWindow(start);
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 3; }));
  EXPECT_EQ(lastTarget(), StreamTarget(streamTarget::Display{5}));
  closeWindow();
  start.target = streamTarget::Display{6};
  openWindow(start);
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() == 4; }));
  EXPECT_EQ(lastTarget(), StreamTarget(streamTarget::Display{6}));
}

TEST_F(WindowSettingsTest, aMutedStartIsForOneWindowOnly) {
  auto start = remembering();
  start.isMuted = true;
  open(ordinary(), start);
  EXPECT_TRUE(action("Mute")->isChecked());
  action("Send what is marked here")->trigger();
  closeWindow();
  EXPECT_TRUE(saved().sendsPrimary);
  EXPECT_FALSE(saved().isMuted);
}

TEST_F(WindowSettingsTest, theHostsPointerIsDrawnOnRequestAndThenOnlyThatOne) {
  open();
  EXPECT_FALSE(host_->messagesOf<message::StartStream>()[0]._0.config.showsCursor);
  EXPECT_EQ(window_->view().cursor().shape(), Qt::ArrowCursor);
  action("Show the host's pointer")->trigger();
  ASSERT_TRUE(spinUntil([&] { return countOf<message::UpdateStream>() == 1; }));
  EXPECT_TRUE(host_->messagesOf<message::UpdateStream>()[0]._0.config.showsCursor);
  EXPECT_EQ(window_->view().cursor().shape(), Qt::BlankCursor);
}

TEST_F(WindowSettingsTest, mutingFromOutsideShowsInTheControls) {
  open();
  ASSERT_FALSE(action(QStringLiteral("Mute"))->isChecked());
  window_->setMuted(true);
  EXPECT_TRUE(action(QStringLiteral("Mute"))->isChecked());
}

}  // namespace
}  // namespace quorl::viewer::test
