// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/FocusWatch.h>

#include <QCoreApplication>

#include <xcb/xcb.h>

namespace quorl::viewer {

FocusWatch::FocusWatch(QWidget& window, std::function<void()> lost)
    : window_(window), lost_(std::move(lost)) {
  qApp->installNativeEventFilter(this);
}

FocusWatch::~FocusWatch() {
  if (qApp != nullptr) qApp->removeNativeEventFilter(this);
}

bool FocusWatch::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
  if (type != "xcb_generic_event_t") return false;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  if ((event->response_type & 0x7F) != XCB_FOCUS_OUT) return false;
  const auto* out = reinterpret_cast<const xcb_focus_out_event_t*>(event);
  // That the pointer has left a window without the focus says nothing.
  const bool isReal = out->detail != XCB_NOTIFY_DETAIL_POINTER;
  if (isReal && window_.internalWinId() != 0 && out->event == window_.internalWinId()) lost_();
  return false;
}

}  // namespace quorl::viewer
