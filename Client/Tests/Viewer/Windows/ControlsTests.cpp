// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <set>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QLabel>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WindowControlsTest : public WindowTest {
 protected:
  const ViewerControls& controls() const { return part<ViewerControls>(); }
  std::set<QWidget*> visibleControls() const {
    std::set<QWidget*> found;
    for (auto* widget : controls().findChildren<QWidget*>())
      if (widget->isVisible() &&
          (qobject_cast<QAbstractButton*>(widget) != nullptr || qobject_cast<QComboBox*>(widget) != nullptr))
        found.insert(widget);
    return found;
  }
};

TEST_F(WindowControlsTest, everyControlIsReachedByTabAndHasAName) {
  open();
  const auto wanted = visibleControls();
  EXPECT_EQ(wanted.size(), 7U);
  act({"key", "ctrl+alt+shift+m"});
  ASSERT_TRUE(spinUntil([&] { return controls().isAncestorOf(QApplication::focusWidget()); }));
  std::set<QWidget*> reached{QApplication::focusWidget()};
  for (std::size_t step = 1; step < wanted.size(); ++step) {
    const auto* before = QApplication::focusWidget();
    act({"key", "Tab"});
    ASSERT_TRUE(spinUntil([&] { return QApplication::focusWidget() != before; }));
    reached.insert(QApplication::focusWidget());
  }
  EXPECT_EQ(reached, wanted);
  for (auto* widget : wanted) {
    auto* accessible = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
  }
  screenshot("focus");
  act({"key", "Escape"});
  EXPECT_TRUE(spinUntil([&] { return window_->view().hasFocus(); }));
  constexpr std::array ownKeys{std::uint16_t{46}, std::uint16_t{48}, std::uint16_t{53}};  // M, Tab, Escape
  for (const auto& input : host_->inputs()) {
    const auto* key = std::get_if<inputEvent::Key>(&input.value);
    EXPECT_TRUE(key == nullptr || std::ranges::count(ownKeys, key->keyCode) == 0);
  }
  EXPECT_EQ(heldAt(*host_), 0U);
}

TEST_F(WindowControlsTest, theViewHasANameForAccessibility) {
  open();
  auto* accessible = QAccessible::queryAccessibleInterface(&window_->view());
  ASSERT_NE(accessible, nullptr);
  EXPECT_EQ(accessible->text(QAccessible::Name), QStringLiteral("Screen of the host"));
}

TEST_F(WindowControlsTest, theTitleIsTheTargetsAndPlain) {
  auto behaviour = ordinary();
  behaviour.hostState->windows[0].title = "<b>bold</b> & co [*]\x1b[2J";
  open(behaviour, {.target = streamTarget::Window{77}, .wanted = {}, .folder = {}});
  const auto shown = [&] {
    return QString::fromStdString(
        desktop().run({"xprop", "-id", std::to_string(window_->winId()), "_NET_WM_NAME"}));
  };
  ASSERT_TRUE(spinUntil([&] { return window_->windowTitle().startsWith("<b>"); }));
  EXPECT_TRUE(spinUntil([&] { return shown().contains("<b>bold</b> & co [*]\\\\x1b[2J, Fake host"); }))
      << shown().toStdString();
  const auto& button = part<TargetButton>();
  EXPECT_EQ(button.text().left(21), QStringLiteral("<b>bold</b> && co [*]"));
  EXPECT_TRUE(button.accessibleDescription().startsWith("<b>bold</b> & co"));
}

TEST_F(WindowControlsTest, anErrorOfTheHostIsShownPlain) {
  open();
  host_->push(ControlMessage(message::Error{{"some.code", "<h1>large</h1>\x1b[31m & <img src=x>"}}));
  const Banner* banner = nullptr;
  ASSERT_TRUE(spinUntil([&] {
    for (const auto* label : parts<Banner>())
      if (label->isVisible() && label->text().contains("<h1>large</h1>\\x1b[31m")) banner = label;
    return banner != nullptr;
  }));
  EXPECT_EQ(banner->textFormat(), Qt::PlainText);
  screenshot("error");
}

TEST_F(WindowControlsTest, inFullScreenTheControlsComeWhenThePointerRestsAtTheEdge) {
  open(ordinary(), {.target = {}, .wanted = {}, .isFullScreen = true, .folder = {}});
  ASSERT_TRUE(spinUntil([&] { return window_->isFullScreen() && window_->width() == 1280; }));
  ASSERT_TRUE(hasPicture());
  EXPECT_FALSE(controls().isVisible());
  const auto size = window_->view().size();
  EXPECT_EQ(size, QSize(1280, 900));
  act({"mousemove", "600", "400"});
  EXPECT_FALSE(spinUntil([&] { return controls().isVisible(); }, 600ms));
  act({"mousemove", "600", "0"});
  ASSERT_TRUE(spinUntil([&] { return controls().isVisible(); }));
  EXPECT_EQ(window_->view().size(), size) << "the picture keeps its place";
  screenshot("edge");
  act({"mousemove", "600", "400"});
  EXPECT_TRUE(spinUntil([&] { return !controls().isVisible(); }));
  act({"key", "ctrl+alt+shift+f"});
  EXPECT_TRUE(spinUntil([&] { return !window_->isFullScreen() && controls().isVisible(); }));
}

TEST_F(WindowControlsTest, inFullScreenALargerPictureMovesToItsTopBeforeTheControlsCome) {
  open(ordinary(), {.target = {}, .wanted = {}, .isFullScreen = true, .folder = {}});
  ASSERT_TRUE(spinUntil([&] { return window_->isFullScreen() && window_->width() == 1280; }));
  ASSERT_TRUE(hasPicture());
  auto& view = window_->view();
  view.setScale(ScaleMode::fixed, 16);
  ASSERT_LT(view.viewport().target().y, 0);
  act({"mousemove", "600", "400"});
  act({"mousemove", "600", "0"});
  ASSERT_TRUE(spinUntil([&] { return view.viewport().target().y == 0; }));
  EXPECT_FALSE(controls().isVisible());
  act({"mousemove", "601", "0"});
  EXPECT_TRUE(spinUntil([&] { return controls().isVisible(); }));
}

TEST_F(WindowControlsTest, statisticsAreShownOverThePictureAndGoAgain) {
  auto behaviour = ordinary();
  behaviour.pictureInterval = 30ms;
  open(behaviour);
  ASSERT_TRUE(hasPicture());
  act({"key", "ctrl+alt+shift+s"});
  const auto* panel = &part<StatisticsPanel>();
  ASSERT_TRUE(spinUntil([&] { return panel->isVisible() && panel->text().contains("round trip"); }))
      << panel->text().toStdString();
  EXPECT_TRUE(panel->text().contains("320x240"));
  screenshot("statistics");
  act({"key", "ctrl+alt+shift+s"});
  EXPECT_TRUE(spinUntil([&] { return !panel->isVisible(); }));
}

}  // namespace
}  // namespace quorl::viewer::test
