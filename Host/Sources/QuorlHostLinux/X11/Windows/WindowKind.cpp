// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowKind.h>

#include <array>

namespace quorl {

namespace {

struct KnownType {
  const char* name;
  WindowKind kind;
};

// Extended Window Manager Hints 1.5, "_NET_WM_WINDOW_TYPE".
constexpr std::array<KnownType, 14> knownTypes{{
    {"_NET_WM_WINDOW_TYPE_NORMAL", WindowKind::ordinary},
    {"_NET_WM_WINDOW_TYPE_DIALOG", WindowKind::ordinary},
    {"_NET_WM_WINDOW_TYPE_DESKTOP", WindowKind::desktop},
    {"_NET_WM_WINDOW_TYPE_DOCK", WindowKind::panel},
    {"_NET_WM_WINDOW_TYPE_UTILITY", WindowKind::utility},
    {"_NET_WM_WINDOW_TYPE_TOOLBAR", WindowKind::utility},
    {"_NET_WM_WINDOW_TYPE_SPLASH", WindowKind::utility},
    {"_NET_WM_WINDOW_TYPE_MENU", WindowKind::popup},
    {"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", WindowKind::popup},
    {"_NET_WM_WINDOW_TYPE_POPUP_MENU", WindowKind::popup},
    {"_NET_WM_WINDOW_TYPE_TOOLTIP", WindowKind::popup},
    {"_NET_WM_WINDOW_TYPE_NOTIFICATION", WindowKind::popup},
    {"_NET_WM_WINDOW_TYPE_COMBO", WindowKind::popup},
    {"_NET_WM_WINDOW_TYPE_DND", WindowKind::popup},
}};

}  // namespace

WindowKind windowKindOf(X11Connection& connection, const std::vector<std::uint32_t>& types) {
  for (const auto type : types) {
    if (type == 0) continue;
    for (const auto& known : knownTypes)
      if (type == connection.atom(known.name)) return known.kind;
  }
  return WindowKind::ordinary;
}

int layerOf(WindowKind kind) {
  switch (kind) {
    case WindowKind::ordinary:
      return 0;
    case WindowKind::utility:
      return 1;
    case WindowKind::panel:
      return 2;
    case WindowKind::popup:
      return 3;
    case WindowKind::desktop:
      return -1;
  }
  return 0;
}

}  // namespace quorl
