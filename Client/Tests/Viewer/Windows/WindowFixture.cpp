// SPDX-License-Identifier: GPL-3.0-or-later
#include "WindowFixture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

#include <QApplication>
#include <QScreen>
#include <QWindow>

#include <xcb/xcb.h>

namespace quorl::viewer::test {

namespace {

using namespace std::chrono_literals;

quorl::test::XServer* theDesktop = nullptr;
const DeviceInfo device{"Test viewer", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000002")};

}  // namespace

void useDesktop(quorl::test::XServer& desktop) {
  theDesktop = &desktop;
}

quorl::test::XServer& desktop() {
  return *theDesktop;
}

bool spinUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    QApplication::processEvents(QEventLoop::AllEvents, 5);
    quorl::test::eventually([] { return false; }, 1ms);
  }
  return true;
}

std::size_t heldAt(const FakeHost& host) {
  std::set<int> held;
  constexpr int buttons = 1'000;
  for (const auto& input : host.inputs()) {
    if (const auto* key = std::get_if<inputEvent::Key>(&input.value)) {
      if (key->down)
        held.insert(key->keyCode);
      else
        held.erase(key->keyCode);
    } else if (const auto* pointer = std::get_if<inputEvent::Pointer>(&input.value)) {
      const int button = buttons + static_cast<int>(pointer->button);
      if (pointer->phase == PointerPhase::down) held.insert(button);
      if (pointer->phase == PointerPhase::up) held.erase(button);
    }
  }
  return held.size();
}

const SampleVideo& stillPicture() {
  static const SampleVideo video = SampleVideo::encode(VideoCodec::h264, "testsrc2=size=320x240:rate=30", 1);
  return video;
}

WindowTest::~WindowTest() {
  window_.reset();
  QApplication::processEvents();
}

HostBehaviour WindowTest::ordinary() {
  HostBehaviour behaviour;
  behaviour.video = &stillPicture();
  behaviour.pictureInterval = 1h;
  behaviour.hostState = client::test::sampleState();
  return behaviour;
}

void WindowTest::open(HostBehaviour behaviour, ViewerWindow::Start start) {
  host_ = std::make_unique<FakeHost>(std::move(behaviour));
  paired_ = host_->pairedHost();
  openWindow(std::move(start));
  ASSERT_TRUE(activate());
  ASSERT_TRUE(spinUntil([&] { return countOf<message::StartStream>() > 0; }));
}

void WindowTest::openWindow(ViewerWindow::Start start) {
  window_ = std::make_unique<ViewerWindow>(paired_, device, start);
  window_->setAttribute(Qt::WA_DeleteOnClose, false);
  if (start.folder.empty() && window_->isHidden())
    window_->resize(QSize(800, 600) / window_->devicePixelRatioF());
  window_->show();
}

void WindowTest::closeWindow() {
  window_->close();
  window_.reset();
  QApplication::processEvents();
}

bool WindowTest::activate() {
  window_->activateWindow();
  return spinUntil([&] { return window_->isActiveWindow() && window_->view().hasFocus(); });
}

bool WindowTest::hasPicture() {
  return spinUntil([&] { return window_->view().hasPicture(); });
}

QAction* WindowTest::action(const QString& text) const {
  for (auto* action : window_->findChildren<QAction*>())
    if (action->text() == text) return action;
  return nullptr;
}

bool WindowTest::shows(const QString& text) const {
  return std::ranges::any_of(parts<Banner>(), [&](const Banner* banner) {
    return banner->isVisible() && banner->text().contains(text);
  });
}

void WindowTest::act(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "xdotool");
  desktop().run(arguments);
}

QPoint WindowTest::viewOrigin() const {
  xcb_connection_t* xcb = qApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root;
  const auto cookie = xcb_translate_coordinates(xcb, static_cast<xcb_window_t>(window_->winId()), root, 0, 0);
  auto* reply = xcb_translate_coordinates_reply(xcb, cookie, nullptr);
  const QPoint window(reply->dst_x, reply->dst_y);
  std::free(reply);
  const auto& view = window_->view();
  return window + (QPointF(view.mapTo(window_.get(), QPoint())) * view.devicePixelRatioF()).toPoint();
}

QPoint WindowTest::displayPointOf(double remoteX, double remoteY) const {
  const auto& viewport = window_->view().viewport();
  const auto target = viewport.target();
  const auto picture = viewport.layout().picture;
  return viewOrigin() + QPoint(static_cast<int>(target.x + (remoteX + 0.5) * target.width / picture.width),
                               static_cast<int>(target.y + (remoteY + 0.5) * target.height / picture.height));
}

void WindowTest::pointAt(double remoteX, double remoteY) const {
  const QPoint point = displayPointOf(remoteX, remoteY);
  act({"mousemove", std::to_string(point.x()), std::to_string(point.y())});
}

QImage WindowTest::screenshot(const std::string& name) {
  const QImage picture = qApp->primaryScreen()->grabWindow(0).toImage();
  const char* folder = std::getenv("QUORL_PICTURES");
  if (folder != nullptr && !name.empty()) picture.save(QString("%1/%2.png").arg(folder, name.c_str()));
  return picture;
}

QColor WindowTest::colourAt(double remoteX, double remoteY) const {
  return screenshot().pixelColor(displayPointOf(remoteX, remoteY));
}

}  // namespace quorl::viewer::test
