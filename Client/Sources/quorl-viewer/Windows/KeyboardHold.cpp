// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/KeyboardHold.h>

#include <utility>

#include <QGuiApplication>
#include <QWindow>

#include <quorl-viewer/Windows/WaylandWindow.h>

namespace quorl::viewer {

namespace {

constexpr auto notAllowed = "the desktop does not allow it";

}  // namespace

KeyboardHold::KeyboardHold(QWidget& window, Handlers handlers)
    : window_(window), handlers_(std::move(handlers)) {
  answerTimer_.setSingleShot(true);
  answerTimer_.setInterval(longestAnswer);
  QObject::connect(&answerTimer_, &QTimer::timeout, [this] {
    letGo();
    refuse(GrabRefusal::refused, notAllowed);
  });
}

void KeyboardHold::take() {
  if (window_.windowHandle() == nullptr) return refuse(GrabRefusal::refused, "the window is not open yet");
  if (qGuiApp->nativeInterface<QNativeInterface::QX11Application>() != nullptr) return takeOnX11();
  takeOnWayland();
}

void KeyboardHold::takeOnX11() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11_) x11_.emplace(x11->connection(), static_cast<std::uint32_t>(window_.winId()));
  const auto taken = x11_->take();
  if (taken) return handlers_.taken();
  refuse(taken.error().isBusy ? GrabRefusal::busy : GrabRefusal::refused, taken.error().reason);
}

void KeyboardHold::takeOnWayland() {
  const auto native = WaylandWindow::of(window_.windowHandle());
  if (!native.isComplete()) return refuse(GrabRefusal::refused, "the desktop does not give it away");
  if (!wayland_) wayland_.emplace(native.display);
  const auto changed = [this](bool isActive) { this->changed(isActive); };
  if (!wayland_->ask(native.seat, native.surface, changed))
    return refuse(GrabRefusal::refused, "the desktop does not offer it to programs");
  answerTimer_.start();
}

void KeyboardHold::changed(bool isActive) {
  const bool isAnswer = answerTimer_.isActive();
  answerTimer_.stop();
  if (isActive) return handlers_.taken();
  letGo();
  if (isAnswer) return refuse(GrabRefusal::refused, notAllowed);
  handlers_.lost();
}

void KeyboardHold::refuse(GrabRefusal kind, std::string reason) {
  handlers_.refused({kind, std::move(reason)});
}

void KeyboardHold::letGo() {
  answerTimer_.stop();
  x11_.reset();
  if (wayland_) wayland_->release();
}

}  // namespace quorl::viewer
