// SPDX-License-Identifier: GPL-3.0-or-later
#include "WaylandFixture.h"

#include <cmath>
#include <cstdlib>
#include <set>

#include <QApplication>
#include <QScreen>
#include <QWindow>

#include <Support/Eventually.h>

#include "../../Support/SampleState.h"

namespace quorl::viewer::test {

namespace {

using namespace std::chrono_literals;

WaylandDesktop* theDesktop = nullptr;
const DeviceInfo device{"Test viewer", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000002")};

}  // namespace

void useDesktop(WaylandDesktop* desktop) {
  theDesktop = desktop;
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

Sway& WaylandTest::sway() {
  return theDesktop->sway;
}

VirtualInput& WaylandTest::input() {
  return theDesktop->input;
}

void WaylandTest::SetUp() {
  if (theDesktop == nullptr) GTEST_SKIP() << "sway is not installed; scripts/setup --tests installs it";
  sway().forgetBinding();
  static const auto video =
      client::test::SampleVideo::encode(VideoCodec::h264, "testsrc2=size=320x240:rate=30", 1);
  client::test::HostBehaviour behaviour;
  behaviour.video = &video;
  behaviour.pictureInterval = 1h;
  behaviour.hostState = client::test::sampleState();
  host_ = std::make_unique<FakeHost>(std::move(behaviour));
  window_ = std::make_unique<ViewerWindow>(host_->pairedHost(), device, ViewerWindow::Start{});
  window_->setAttribute(Qt::WA_DeleteOnClose, false);
  window_->show();
  ASSERT_TRUE(spinUntil([&] { return hasFocus() && window_->view().hasPicture(); }));
}

WaylandTest::~WaylandTest() {
  window_.reset();
  if (theDesktop != nullptr) QApplication::processEvents();
}

bool WaylandTest::hasFocus() const {
  return window_->isActiveWindow() && window_->view().hasFocus();
}

QAction* WaylandTest::action(const QString& text) const {
  for (auto* action : window_->findChildren<QAction*>())
    if (action->text() == text) return action;
  return nullptr;
}

bool WaylandTest::shows(const QString& text) const {
  for (const auto* widget : window_->findChildren<QWidget*>())
    if (const auto* banner = dynamic_cast<const Banner*>(widget))
      if (banner->isVisible() && banner->text().contains(text)) return true;
  return false;
}

void WaylandTest::pointAt(double remoteX, double remoteY) const {
  const auto& view = window_->view();
  const auto target = view.viewport().target();
  const auto picture = view.viewport().layout().picture;
  const double ratio = view.devicePixelRatioF();
  const QPointF origin = QPointF(view.mapTo(window_.get(), QPoint())) * ratio;
  const double x = origin.x() + target.x + (remoteX + 0.5) * target.width / picture.width;
  const double y = origin.y() + target.y + (remoteY + 0.5) * target.height / picture.height;
  constexpr double finer = 64;  // than a point of the layout
  const QSizeF layout = window_->screen()->virtualSize();
  input().move(static_cast<std::uint32_t>(x / ratio * finer), static_cast<std::uint32_t>(y / ratio * finer),
               static_cast<std::uint32_t>(layout.width() * finer),
               static_cast<std::uint32_t>(layout.height() * finer));
}

bool WaylandTest::hasPressed(std::uint16_t key) const {
  for (const auto& event : host_->inputs())
    if (const auto* pressed = std::get_if<inputEvent::Key>(&event.value))
      if (pressed->keyCode == key && pressed->down) return true;
  return false;
}

std::size_t WaylandTest::held() const {
  std::set<int> held;
  constexpr int buttons = 1'000;
  for (const auto& event : host_->inputs()) {
    if (const auto* key = std::get_if<inputEvent::Key>(&event.value)) {
      key->down ? void(held.insert(key->keyCode)) : void(held.erase(key->keyCode));
    } else if (const auto* pointer = std::get_if<inputEvent::Pointer>(&event.value)) {
      const int button = buttons + static_cast<int>(pointer->button);
      if (pointer->phase == PointerPhase::down) held.insert(button);
      if (pointer->phase == PointerPhase::up) held.erase(button);
    }
  }
  return held.size();
}

std::optional<inputEvent::Pointer> WaylandTest::lastPress() const {
  std::optional<inputEvent::Pointer> found;
  for (const auto& event : host_->inputs())
    if (const auto* pointer = std::get_if<inputEvent::Pointer>(&event.value))
      if (pointer->phase == PointerPhase::down) found = *pointer;
  return found;
}

void WaylandTest::screenshot(const std::string& name) {
  const char* folder = std::getenv("QUORL_PICTURES");
  if (folder == nullptr) return;
  spinUntil([] { return false; }, 300ms);
  sway().runClient({"grim", std::string(folder) + "/" + name + ".png"});
}

}  // namespace quorl::viewer::test
