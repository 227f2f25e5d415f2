// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Grab/WaylandShortcutsInhibitor.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include <wayland-client.h>

#include <keyboard-shortcuts-inhibit-client.h>

namespace quorl::viewer {
namespace {

using Manager = zwp_keyboard_shortcuts_inhibit_manager_v1;
using Inhibitor = zwp_keyboard_shortcuts_inhibitor_v1;

void found(void* manager, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
  const auto& wanted = zwp_keyboard_shortcuts_inhibit_manager_v1_interface;
  auto& result = *static_cast<Manager**>(manager);
  if (result == nullptr && std::string_view(interface) == wanted.name)
    result = static_cast<Manager*>(wl_registry_bind(registry, name, &wanted, 1));
}
void removed(void*, wl_registry*, std::uint32_t) {}
constexpr wl_registry_listener registryListener{found, removed};

// On a queue of its own, so that no event of the toolkit is handled meanwhile.
Manager* managerOf(wl_display* display) {
  wl_event_queue* queue = wl_display_create_queue(display);
  auto* wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(display));
  wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), queue);
  wl_registry* registry = wl_display_get_registry(wrapper);
  wl_proxy_wrapper_destroy(wrapper);
  Manager* manager = nullptr;
  wl_registry_add_listener(registry, &registryListener, static_cast<void*>(&manager));
  wl_display_roundtrip_queue(display, queue);
  wl_registry_destroy(registry);
  // What the manager makes is dispatched with everything else. The manager itself has no events.
  if (manager != nullptr) wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(manager), nullptr);
  wl_event_queue_destroy(queue);
  return manager;
}

}  // namespace

struct WaylandShortcutsInhibitor::Parts {
  wl_display* display;
  bool isLookedUp = false;
  Manager* manager = nullptr;
  Inhibitor* inhibitor = nullptr;
  Changed changed;

  // A copy, because the handler may destroy this object.
  static void tell(void* parts, bool isActive) {
    const Changed changed = static_cast<Parts*>(parts)->changed;
    changed(isActive);
  }
  static void activated(void* parts, Inhibitor*) { tell(parts, true); }
  static void deactivated(void* parts, Inhibitor*) { tell(parts, false); }
};

WaylandShortcutsInhibitor::WaylandShortcutsInhibitor(wl_display* display) : parts_(new Parts{display}) {}

WaylandShortcutsInhibitor::~WaylandShortcutsInhibitor() {
  release();
  if (parts_->manager != nullptr) zwp_keyboard_shortcuts_inhibit_manager_v1_destroy(parts_->manager);
}

bool WaylandShortcutsInhibitor::ask(wl_seat* seat, wl_surface* surface, Changed changed) {
  static constexpr zwp_keyboard_shortcuts_inhibitor_v1_listener listener{Parts::activated,
                                                                         Parts::deactivated};
  release();
  if (!std::exchange(parts_->isLookedUp, true)) parts_->manager = managerOf(parts_->display);
  if (parts_->manager == nullptr) return false;
  parts_->changed = std::move(changed);
  parts_->inhibitor =
      zwp_keyboard_shortcuts_inhibit_manager_v1_inhibit_shortcuts(parts_->manager, surface, seat);
  zwp_keyboard_shortcuts_inhibitor_v1_add_listener(parts_->inhibitor, &listener, parts_.get());
  wl_display_flush(parts_->display);
  return true;
}

void WaylandShortcutsInhibitor::release() {
  if (parts_->inhibitor == nullptr) return;
  zwp_keyboard_shortcuts_inhibitor_v1_destroy(std::exchange(parts_->inhibitor, nullptr));
  wl_display_flush(parts_->display);
}

}  // namespace quorl::viewer
