// SPDX-License-Identifier: GPL-3.0-or-later
// Events as the toolkit makes them: wheels, touchpads, input methods, and the size of the window.
#include <QApplication>
#include <QInputMethodEvent>
#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QWheelEvent>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WindowToolkitInputTest : public WindowTest {
 protected:
  void SetUp() override {
    open();
    ASSERT_TRUE(hasPicture());
  }
  template <class Kind>
  std::vector<Kind> sent() const {
    std::vector<Kind> found;
    for (const auto& input : host_->inputs())
      if (const auto* held = std::get_if<Kind>(&input.value)) found.push_back(*held);
    return found;
  }
  // The sums of both axes.
  std::pair<float, float> scrolled() const {
    std::pair<float, float> sum;
    for (const auto& scroll : sent<inputEvent::Scroll>()) {
      sum.first += scroll.deltaX;
      sum.second += scroll.deltaY;
    }
    return sum;
  }
  bool scrolls(std::pair<float, float> wanted) {
    return spinUntil([&] { return scrolled() == wanted; });
  }
  void turnWheel(QPoint units, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    const QPointF middle = window_->view().rect().center();
    QWheelEvent event(middle, window_->view().mapToGlobal(middle), {}, units, Qt::NoButton, modifiers,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&window_->view(), &event);
  }
  void pinch(Qt::NativeGestureType type, double step) {
    const QPointF middle = window_->view().rect().center();
    QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 2, middle,
                              window_->view().mapTo(window_.get(), middle),
                              window_->view().mapToGlobal(middle), step, {});
    QApplication::sendEvent(&window_->view(), &event);
  }
  void commit(const char* text) {
    QInputMethodEvent event;
    event.setCommitString(QString::fromUtf8(text));
    QApplication::sendEvent(&window_->view(), &event);
  }
  std::string inserted() const {
    std::string text;
    for (const auto& message : host_->messagesOf<message::InsertText>()) text += message._0;
    return text;
  }
};

TEST_F(WindowToolkitInputTest, aNotchOfTheWheelMovesOneAxisByOneNotch) {
  pointAt(100, 100);
  act({"click", "4"});
  EXPECT_TRUE(scrolls({0, 1})) << scrolled().first << " " << scrolled().second;
  act({"click", "--repeat", "3", "5"});
  EXPECT_TRUE(scrolls({0, -2})) << scrolled().first << " " << scrolled().second;
  act({"click", "6"});
  EXPECT_TRUE(scrolls({1, -2})) << scrolled().first << " " << scrolled().second;
  act({"click", "--repeat", "2", "7"});
  EXPECT_TRUE(scrolls({-1, -2})) << scrolled().first << " " << scrolled().second;
}

TEST_F(WindowToolkitInputTest, fineUnitsOfATouchpadAddUpToNotches) {
  for (int step = 0; step < 24; ++step) turnWheel({0, 15});
  EXPECT_TRUE(scrolls({0, 3})) << scrolled().first << " " << scrolled().second;
}

TEST_F(WindowToolkitInputTest, altDoesNotTurnTheWheelSideways) {
  // The toolkit exchanges the axes while Alt is held.
  turnWheel({120, 0}, Qt::AltModifier);
  EXPECT_TRUE(scrolls({0, 1})) << scrolled().first << " " << scrolled().second;
}

TEST_F(WindowToolkitInputTest, aPinchSendsItsSteps) {
  pinch(Qt::BeginNativeGesture, 0);
  pinch(Qt::ZoomNativeGesture, 0.25);
  pinch(Qt::ZoomNativeGesture, -0.125);
  pinch(Qt::EndNativeGesture, 0);
  ASSERT_TRUE(spinUntil([&] { return sent<inputEvent::Magnify>().size() >= 2; }));
  const auto steps = sent<inputEvent::Magnify>();
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_FLOAT_EQ(steps[0].magnification, 0.25F);
  EXPECT_FLOAT_EQ(steps[1].magnification, -0.125F);
  EXPECT_NEAR(steps[0].x, 0.5, 0.01);
}

TEST_F(WindowToolkitInputTest, anInputMethodsTextArrivesOnceInTextMode) {
  action("Send text instead of keys")->trigger();
  ASSERT_TRUE(spinUntil([&] { return window_->view().testAttribute(Qt::WA_InputMethodEnabled); }));
  for (const char* text : {"é", "ß", "漢"}) commit(text);
  EXPECT_TRUE(spinUntil([&] { return inserted() == "éß漢"; })) << inserted();
  act({"key", "ctrl+c"});
  EXPECT_TRUE(spinUntil([&] { return sent<inputEvent::Key>().size() == 4 && heldAt(*host_) == 0; }))
      << sent<inputEvent::Key>().size();
  EXPECT_EQ(inserted(), "éß漢") << "Ctrl and a letter is a key";
}

TEST_F(WindowToolkitInputTest, keyModeHasNoInputMethod) {
  EXPECT_FALSE(window_->view().testAttribute(Qt::WA_InputMethodEnabled));
  QInputMethodQueryEvent query(Qt::ImEnabled);
  QApplication::sendEvent(&window_->view(), &query);
  EXPECT_FALSE(query.value(Qt::ImEnabled).toBool());
}

TEST_F(WindowToolkitInputTest, theHostLearnsTheSizeOfTheWindowOnceItRests) {
  const auto sizes = [&] { return host_->messagesOf<message::ScreenInfo>(); };
  ASSERT_TRUE(spinUntil([&] { return !sizes().empty(); }));
  const auto before = sizes().size();
  const QSize first = window_->size();
  for (int step = 1; step <= 40; ++step) {
    window_->resize(first - QSize(3 * step, 2 * step));
    QApplication::processEvents();
  }
  const auto isKnown = [&] {
    return std::abs(sizes().back().pointsWide - window_->view().width()) < 1 &&
           std::abs(sizes().back().pointsHigh - window_->view().height()) < 1;
  };
  EXPECT_TRUE(spinUntil([&] { return window_->size() == first - QSize(120, 80) && isKnown(); }));
  EXPECT_LE(sizes().size(), before + 5) << "not for each step of a drag";
  window_->setFullScreen(true);
  EXPECT_TRUE(spinUntil([&] { return window_->view().size() == window_->screen()->size() && isKnown(); }));
}

}  // namespace
}  // namespace quorl::viewer::test
