// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/WaylandWindow.h>

#include <qpa/qplatformnativeinterface.h>
#include <QGuiApplication>

namespace quorl::viewer {

// Qt 6.4 has no public interface for these.
WaylandWindow WaylandWindow::of(QWindow* window) {
  if (window == nullptr || !QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) return {};
  auto* native = QGuiApplication::platformNativeInterface();
  if (native == nullptr) return {};
  return {static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display")),
          static_cast<wl_seat*>(native->nativeResourceForIntegration("wl_seat")),
          static_cast<wl_surface*>(native->nativeResourceForWindow("surface", window))};
}

}  // namespace quorl::viewer
