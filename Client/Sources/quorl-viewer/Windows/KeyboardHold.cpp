// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/KeyboardHold.h>

#include <QGuiApplication>
#include <QWindow>

namespace quorl::viewer {

std::optional<KeyboardHold::Refusal> KeyboardHold::take() {
  if (window_.windowHandle() == nullptr) return Refusal{GrabRefusal::refused, "the window is not open yet"};
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 == nullptr) {
    if (window_.windowHandle()->setKeyboardGrabEnabled(true)) return std::nullopt;
    return Refusal{GrabRefusal::refused, "the desktop does not give it away"};
  }
  if (!x11_) x11_.emplace(x11->connection(), static_cast<std::uint32_t>(window_.winId()));
  const auto taken = x11_->take();
  if (taken) return std::nullopt;
  return Refusal{taken.error().isBusy ? GrabRefusal::busy : GrabRefusal::refused, taken.error().reason};
}

void KeyboardHold::letGo() {
  if (x11_)
    x11_.reset();
  else if (window_.windowHandle() != nullptr)
    window_.windowHandle()->setKeyboardGrabEnabled(false);
}

}  // namespace quorl::viewer
