// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeyListener.h"

#include <poll.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <QuorlHostLinux/X11/Connection/XkbRequests.h>

namespace quorl::test {

namespace {

constexpr std::chrono::seconds patience{20};

template <class T>
std::unique_ptr<T, void (*)(void*)> owned(T* reply) {
  return {reply, std::free};
}

}  // namespace

KeyListener::KeyListener(const std::string& display)
    : xcb_(xcb_connect(display.c_str(), nullptr)), context_(xkb_context_new(XKB_CONTEXT_NO_FLAGS)) {
  if (xcb_connection_has_error(xcb_) != 0) throw std::runtime_error("no display for the listener");
  const bool hasXkb = xkb_x11_setup_xkb_extension(
                          xcb_, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                          XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &xkbEvent_, nullptr) == 1;
  if (!hasXkb) throw std::runtime_error("no XKB for the listener");
  // A client of XKB receives changes through XKB only.
  selectXkbMapEvents(xcb_);
  root_ = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
  const std::uint32_t window = xcb_generate_id(xcb_);
  const std::array<std::uint32_t, 2> values{1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                                   XCB_EVENT_MASK_BUTTON_PRESS |
                                                   XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_EXPOSURE};
  xcb_create_window(xcb_, XCB_COPY_FROM_PARENT, window, root_, 0, 0, 400, 300, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
  xcb_map_window(xcb_, window);
  xcb_set_input_focus(xcb_, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
  owned(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
  readMap();
}

KeyListener::~KeyListener() {
  xkb_keymap_unref(map_);
  xkb_context_unref(context_);
  xcb_disconnect(xcb_);
}

void KeyListener::readMap() {
  xkb_keymap_unref(map_);
  map_ = xkb_x11_keymap_new_from_device(context_, xcb_, xkb_x11_get_core_keyboard_device_id(xcb_),
                                        XKB_KEYMAP_COMPILE_NO_FLAGS);
}

void KeyListener::take(const void* event) {
  const int type = static_cast<const xcb_generic_event_t*>(event)->response_type & 0x7F;
  if (isXkbMapEvent(event, {.present = true, .firstEvent = xkbEvent_})) return readMap();
  if (type < XCB_KEY_PRESS || type > XCB_BUTTON_RELEASE) return;
  const auto& input = *static_cast<const xcb_key_press_event_t*>(event);
  Input noted{.kind = static_cast<Input::Kind>(type - XCB_KEY_PRESS),
              .detail = input.detail,
              .modifiers = input.state & 0xFFU};
  if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) {
    xkb_state* state = xkb_state_new(map_);
    xkb_state_update_mask(state, noted.modifiers, 0, 0, 0, 0, (input.state >> 13) & 3U);
    noted.keysym = xkb_state_key_get_one_sym(state, input.detail);
    xkb_state_unref(state);
  }
  inputs.push_back(noted);
}

bool KeyListener::listenUntil(const std::function<bool(const std::vector<Input>&)>& done) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!done(inputs)) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    if (const auto event = owned(xcb_poll_for_event(xcb_))) {
      take(event.get());
      continue;
    }
    pollfd descriptor{xcb_get_file_descriptor(xcb_), POLLIN, 0};
    ::poll(&descriptor, 1, static_cast<int>(left.count()));
  }
  return true;
}

std::optional<KeyListener::Input> KeyListener::nextKeyDown(std::uint32_t ignored) {
  inputs.clear();
  const auto isIt = [ignored](const Input& input) {
    return input.isKeyDown() && (ignored == 0 || input.keysym != ignored);
  };
  if (!listenUntil([&](const auto& all) { return std::ranges::any_of(all, isIt); })) return std::nullopt;
  return *std::ranges::find_if(inputs, isIt);
}

bool KeyListener::isAnythingDown() {
  const auto keys = owned(xcb_query_keymap_reply(xcb_, xcb_query_keymap(xcb_), nullptr));
  const auto pointer = owned(xcb_query_pointer_reply(xcb_, xcb_query_pointer(xcb_, root_), nullptr));
  constexpr unsigned buttons = 0x1F00;
  return std::ranges::any_of(keys->keys, [](auto byte) { return byte != 0; }) ||
         (pointer->mask & buttons) != 0;
}

unsigned KeyListener::lockedModifiers() {
  const auto pointer = owned(xcb_query_pointer_reply(xcb_, xcb_query_pointer(xcb_, root_), nullptr));
  return pointer->mask & 0xFFU;
}

unsigned KeyListener::group() {
  return readXkbState(xcb_)->group;
}

}  // namespace quorl::test
