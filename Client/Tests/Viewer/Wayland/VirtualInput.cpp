// SPDX-License-Identifier: GPL-3.0-or-later
#include "VirtualInput.h"

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <virtual-input-client.h>

namespace quorl::viewer::test {

namespace {

constexpr std::uint32_t firstKeycode = 8;  // of xkb, for evdev's 0

struct Globals {
  wl_seat* seat = nullptr;
  zwp_virtual_keyboard_manager_v1* keyboards = nullptr;
  zwlr_virtual_pointer_manager_v1* pointers = nullptr;
};

template <class Object>
void bind(wl_registry* registry, std::uint32_t name, std::string_view found, const wl_interface& wanted,
          Object*& result) {
  if (result == nullptr && found == wanted.name)
    result = static_cast<Object*>(wl_registry_bind(registry, name, &wanted, 1));
}

void found(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
  auto& globals = *static_cast<Globals*>(data);
  bind(registry, name, interface, wl_seat_interface, globals.seat);
  bind(registry, name, interface, zwp_virtual_keyboard_manager_v1_interface, globals.keyboards);
  bind(registry, name, interface, zwlr_virtual_pointer_manager_v1_interface, globals.pointers);
}
void removed(void*, wl_registry*, std::uint32_t) {}
constexpr wl_registry_listener registryListener{found, removed};

std::uint32_t now() {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

}  // namespace

struct VirtualInput::Parts {
  wl_display* display = nullptr;
  wl_registry* registry = nullptr;
  Globals globals;
  zwp_virtual_keyboard_v1* keyboard = nullptr;
  zwlr_virtual_pointer_v1* pointer = nullptr;
  xkb_context* context = nullptr;
  xkb_keymap* keymap = nullptr;
  xkb_state* state = nullptr;

  void sendKeymap() const {
    char* text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
    const std::size_t size = std::strlen(text) + 1;
    const int file = ::memfd_create("keymap", MFD_CLOEXEC);
    if (::write(file, text, size) != static_cast<ssize_t>(size)) throw std::runtime_error("no keymap");
    std::free(text);
    zwp_virtual_keyboard_v1_keymap(keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file,
                                   static_cast<std::uint32_t>(size));
    wl_display_flush(display);
    ::close(file);
  }
};

VirtualInput::VirtualInput(const std::string& display) : parts_(new Parts) {
  auto& parts = *parts_;
  parts.display = wl_display_connect(display.c_str());
  if (parts.display == nullptr) throw std::runtime_error("the compositor does not answer");
  parts.registry = wl_display_get_registry(parts.display);
  wl_registry_add_listener(parts.registry, &registryListener, &parts.globals);
  wl_display_roundtrip(parts.display);
  const auto& globals = parts.globals;
  if (globals.seat == nullptr || globals.keyboards == nullptr || globals.pointers == nullptr)
    throw std::runtime_error("the compositor takes no virtual input");
  parts.keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(globals.keyboards, globals.seat);
  parts.pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(globals.pointers, globals.seat);
  parts.context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
  parts.keymap = xkb_keymap_new_from_names(parts.context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  parts.state = xkb_state_new(parts.keymap);
  parts.sendKeymap();
  settle();
}

VirtualInput::~VirtualInput() {
  auto& parts = *parts_;
  zwp_virtual_keyboard_v1_destroy(parts.keyboard);
  zwlr_virtual_pointer_v1_destroy(parts.pointer);
  xkb_state_unref(parts.state);
  xkb_keymap_unref(parts.keymap);
  xkb_context_unref(parts.context);
  zwp_virtual_keyboard_manager_v1_destroy(parts.globals.keyboards);
  zwlr_virtual_pointer_manager_v1_destroy(parts.globals.pointers);
  wl_seat_destroy(parts.globals.seat);
  wl_registry_destroy(parts.registry);
  wl_display_disconnect(parts.display);
}

// The compositor leaves the modifiers to the keyboard.
void VirtualInput::key(std::uint32_t code, bool isDown) {
  auto& parts = *parts_;
  zwp_virtual_keyboard_v1_key(parts.keyboard, now(), code,
                              isDown ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
  xkb_state_update_key(parts.state, code + firstKeycode, isDown ? XKB_KEY_DOWN : XKB_KEY_UP);
  zwp_virtual_keyboard_v1_modifiers(parts.keyboard,
                                    xkb_state_serialize_mods(parts.state, XKB_STATE_MODS_DEPRESSED),
                                    xkb_state_serialize_mods(parts.state, XKB_STATE_MODS_LATCHED),
                                    xkb_state_serialize_mods(parts.state, XKB_STATE_MODS_LOCKED), 0);
  settle();
}

void VirtualInput::press(std::initializer_list<std::uint32_t> codes) {
  for (const auto code : codes) key(code, true);
  for (auto code = codes.end(); code != codes.begin();) key(*--code, false);
}

void VirtualInput::move(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
  zwlr_virtual_pointer_v1_motion_absolute(parts_->pointer, now(), x, y, width, height);
  zwlr_virtual_pointer_v1_frame(parts_->pointer);
  settle();
}

void VirtualInput::button(std::uint32_t code, bool isDown) {
  zwlr_virtual_pointer_v1_button(parts_->pointer, now(), code,
                                 isDown ? WL_POINTER_BUTTON_STATE_PRESSED : WL_POINTER_BUTTON_STATE_RELEASED);
  zwlr_virtual_pointer_v1_frame(parts_->pointer);
  settle();
}

void VirtualInput::click() {
  button(leftButton, true);
  button(leftButton, false);
}

void VirtualInput::settle() {
  if (wl_display_roundtrip(parts_->display) < 0)
    throw std::runtime_error("the compositor refuses virtual input");
}

}  // namespace quorl::viewer::test
