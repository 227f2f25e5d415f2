// SPDX-License-Identifier: GPL-3.0-or-later
#include <QBackingStore>
#include <QEvent>
#include <QImage>

#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

// Notes how often a widget or one inside it is painted.
class PaintCount : public QObject {
 public:
  explicit PaintCount(QWidget& window) {
    window.installEventFilter(this);
    for (auto* widget : window.findChildren<QWidget*>()) widget->installEventFilter(this);
  }
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) {
      ++paints;
      last_ = Time::now();
    }
    return false;
  }
  bool isQuietFor(std::chrono::milliseconds time) const { return Time::now() - last_ >= time; }

  int paints = 0;

 private:
  using Time = std::chrono::steady_clock;
  Time::time_point last_ = Time::now();
};

// Ten grey pictures, each lighter than the one before.
const SampleVideo& greys() {
  static const SampleVideo video = SampleVideo::encode(
      VideoCodec::h264, "nullsrc=size=320x240:rate=30,geq=lum='16+N*20':cb=128:cr=128", 10);
  return video;
}

class WindowPictureTest : public WindowTest {
 protected:
  void push(const SampleVideo& video) const {
    const auto stream = host_->messagesOf<message::StartStream>().back()._0.streamID;
    host_->push(OutgoingFrame::video({stream, VideoPacketFlags::codecConfig, 0, shareBytes(video.config)}));
    for (const auto& picture : video.pictures)
      host_->push(
          OutgoingFrame::video({stream, picture.isKeyframe ? VideoPacketFlags::keyframe : VideoPacketFlags{},
                                picture.ptsMicros, shareBytes(picture.data)}));
  }
  bool shows(int grey) const { return std::abs(colourAt(160, 120).red() - grey) <= 2; }
};

TEST_F(WindowPictureTest, showsThePictureOfTheHost) {
  open();
  ASSERT_TRUE(hasPicture());
  const Bytes pixels = window_->view().picture()->rgb();
  const auto isShown = [&] {
    const QImage display = screenshot("picture");
    for (const auto& [x, y] : {std::pair{20, 200}, {130, 200}, {185, 40}, {300, 30}}) {
      const QColor seen = display.pixelColor(displayPointOf(x, y));
      const auto* wanted = &pixels[static_cast<std::size_t>(y * 320 + x) * 3];
      if (std::abs(seen.red() - wanted[0]) > 40 || std::abs(seen.blue() - wanted[2]) > 40) return false;
    }
    return true;
  };
  EXPECT_TRUE(spinUntil(isShown));
}

TEST_F(WindowPictureTest, showsTheNewestOfABurstWithOneRepaint) {
  auto behaviour = ordinary();
  behaviour.video = nullptr;
  open(behaviour);
  push(greys());
  // The window is busy meanwhile.
  const auto replaced = static_cast<std::size_t>(DropCause::replaced);
  ASSERT_TRUE(
      quorl::test::eventually([&] { return window_->session().pictureReport().drops[replaced] == 9; }));
  PaintCount count(window_->view());
  ASSERT_TRUE(spinUntil([&] { return count.paints > 0; }));
  EXPECT_TRUE(shows((196 - 16) * 255 / 219)) << colourAt(160, 120).red();
  EXPECT_LE(count.paints, 2) << "of the view and of the overlay that goes";
}

TEST_F(WindowPictureTest, aStaticPictureCausesNoRepaint) {
  open();
  ASSERT_TRUE(hasPicture());
  PaintCount count(*window_);
  ASSERT_TRUE(spinUntil([&] { return count.isQuietFor(300ms); })) << "the window comes to rest";
  count.paints = 0;
  EXPECT_FALSE(spinUntil([&] { return count.paints > 0; }, 3s));
}

TEST_F(WindowPictureTest, aPictureLikeTheOneBeforeCountsAsShownWithoutARepaint) {
  auto behaviour = ordinary();
  behaviour.pictureInterval = 20ms;
  open(behaviour);
  ASSERT_TRUE(hasPicture());
  PaintCount count(*window_);
  ASSERT_TRUE(spinUntil([&] { return count.isQuietFor(300ms); }));
  count.paints = 0;
  EXPECT_TRUE(spinUntil([&] { return window_->session().pictureReport().shownPerSecond > 20; }));
  EXPECT_EQ(count.paints, 0);
}

TEST_F(WindowPictureTest, twoChangesLeaveANoticeBetweenThemAsItIs) {
  open();
  ASSERT_TRUE(hasPicture());
  host_->push(ControlMessage(message::Error{{"test", "A notice over the picture"}}));
  ASSERT_TRUE(spinUntil([&] { return WindowTest::shows("A notice over the picture"); }));
  PaintCount count(*window_);
  ASSERT_TRUE(spinUntil([&] { return count.isQuietFor(300ms); }));
  const auto memory = [&] { return static_cast<QImage*>(window_->backingStore()->paintDevice())->copy(); };
  const QImage before = memory();
  auto& view = window_->view();
  count.paints = 0;
  view.update(QRect(0, 0, 10, 10));
  view.update(QRect(view.width() - 10, view.height() - 10, 10, 10));
  ASSERT_TRUE(spinUntil([&] { return count.paints > 0; }));
  EXPECT_EQ(memory(), before);
}

TEST_F(WindowPictureTest, aMinimisedWindowHidesTheStream) {
  auto behaviour = ordinary();
  behaviour.video = nullptr;
  open(behaviour);
  push(greys());
  ASSERT_TRUE(hasPicture());
  window_->showMinimized();
  ASSERT_TRUE(spinUntil([&] { return countOf<message::UpdateStream>() == 1; }));
  EXPECT_EQ(host_->messagesOf<message::UpdateStream>()[0]._0.config.maxFPS, 1);
  PaintCount count(window_->view());
  push(stillPicture());
  EXPECT_FALSE(spinUntil([&] { return count.paints > 0; }, 500ms));
  window_->showNormal();
  ASSERT_TRUE(spinUntil([&] { return countOf<message::UpdateStream>() == 2; }));
  EXPECT_EQ(host_->messagesOf<message::UpdateStream>()[1]._0.config.maxFPS, 60);
  push(stillPicture());
  EXPECT_TRUE(spinUntil([&] { return count.paints > 0; }));
}

TEST_F(WindowPictureTest, recordsWhatIsWatched) {
  open();
  ASSERT_TRUE(hasPicture());
  const auto path = folder_.path() / "screen.mp4";
  window_->session().startRecording(path);
  ASSERT_TRUE(spinUntil([&] { return countOf<message::RequestKeyframe>() > 0; }));
  push(greys());
  ASSERT_TRUE(spinUntil([&] { return shows((196 - 16) * 255 / 219); }));
  window_->session().stopRecording();
  ASSERT_TRUE(spinUntil([&] { return !window_->session().isRecording(); }));
  EXPECT_TRUE(WindowTest::shows(QStringLiteral("Recorded as ")));
  EXPECT_FALSE(action(QStringLiteral("Record"))->isChecked());
  const auto counted = client::test::outputOfTool(
      "ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 '" + path.string() +
      "'");
  EXPECT_EQ(std::stoul(counted), greys().pictures.size());
}

}  // namespace
}  // namespace quorl::viewer::test
