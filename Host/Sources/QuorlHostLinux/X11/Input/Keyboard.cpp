// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/Keyboard.h>

#include <algorithm>
#include <array>
#include <string>

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {

std::expected<std::unique_ptr<Keyboard>, PortError> Keyboard::read(X11Connection& connection,
                                                                   const std::set<std::uint8_t>& ours) {
  if (!connection.extensions().xkb.present) return std::unexpected(PortError{"the display has no XKB"});
  xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES);
  if (context == nullptr) return std::unexpected(PortError{"no keyboard context"});
  const std::int32_t device = xkb_x11_get_core_keyboard_device_id(connection.xcb());
  xkb_keymap* map = device < 0 ? nullptr
                               : xkb_x11_keymap_new_from_device(context, connection.xcb(), device,
                                                                XKB_KEYMAP_COMPILE_NO_FLAGS);
  xkb_context_unref(context);
  if (map == nullptr) return std::unexpected(PortError{"the keyboard map cannot be read"});
  std::unique_ptr<Keyboard> keyboard(new Keyboard(map));
  keyboard->findKeycodes();
  keyboard->findSpares(ours);
  keyboard->findNumLock(connection);
  return keyboard;
}

Keyboard::~Keyboard() {
  xkb_keymap_unref(map_);
}

void Keyboard::findKeycodes() {
  for (const auto& entry : keyCodeTable()) {
    const auto code = xkb_keymap_key_by_name(map_, std::string(entry.xkbName).c_str());
    if (code != XKB_KEYCODE_INVALID && code <= 0xFF) keycodes_[entry.code] = static_cast<std::uint8_t>(code);
  }
}

void Keyboard::findSpares(const std::set<std::uint8_t>& ours) {
  std::set<std::uint8_t> named;
  for (const auto& [wire, code] : keycodes_) named.insert(code);
  const auto last = std::min<xkb_keycode_t>(xkb_keymap_max_keycode(map_), 0xFF);
  for (auto code = xkb_keymap_min_keycode(map_); code <= last; ++code) {
    const auto keycode = static_cast<std::uint8_t>(code);
    if (named.contains(keycode)) continue;
    if (isBlank(keycode) || ours.contains(keycode)) spares_.push_back(keycode);
  }
}

void Keyboard::findNumLock(X11Connection& connection) {
  const auto code = xkb_keymap_key_by_name(map_, "NMLK");
  const XcbReply<xcb_get_modifier_mapping_reply_t> reply(
      xcb_get_modifier_mapping_reply(connection.xcb(), xcb_get_modifier_mapping(connection.xcb()), nullptr));
  if (!reply) return;
  const auto* codes = xcb_get_modifier_mapping_keycodes(reply.get());
  const int perModifier = reply->keycodes_per_modifier;
  for (int modifier = 0; modifier < 8; ++modifier) {
    for (int i = 0; i < perModifier; ++i) {
      if (codes[modifier * perModifier + i] == code) numLockMask_ = static_cast<std::uint8_t>(1 << modifier);
    }
  }
}

std::optional<std::uint8_t> Keyboard::keycodeOf(std::uint16_t wireCode) const {
  const auto found = keycodes_.find(wireCode);
  if (found == keycodes_.end()) return std::nullopt;
  return found->second;
}

bool Keyboard::isBlank(std::uint8_t keycode) const {
  const auto layouts = xkb_keymap_num_layouts_for_key(map_, keycode);
  for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
    const auto levels = xkb_keymap_num_levels_for_key(map_, keycode, layout);
    for (xkb_level_index_t level = 0; level < levels; ++level) {
      const xkb_keysym_t* symbols = nullptr;
      if (xkb_keymap_key_get_syms_by_level(map_, keycode, layout, level, &symbols) > 0) return false;
    }
  }
  return true;
}

std::uint32_t Keyboard::symbolOf(std::uint8_t keycode, std::uint32_t group, std::uint32_t level) const {
  const xkb_keysym_t* symbols = nullptr;
  if (xkb_keymap_key_get_syms_by_level(map_, keycode, group, level, &symbols) != 1) return XKB_KEY_NoSymbol;
  return symbols[0];
}

std::map<std::uint32_t, KeyStroke> Keyboard::strokesOf(std::uint8_t group) const {
  std::map<std::uint32_t, KeyStroke> strokes;
  const xkb_mod_mask_t shift = 1U << xkb_keymap_mod_get_index(map_, XKB_MOD_NAME_SHIFT);
  for (const xkb_level_index_t level : {0U, 1U}) {
    const xkb_mod_mask_t wanted = level == 0 ? 0 : shift;
    for (const auto& [wire, keycode] : keycodes_) {
      const auto layouts = xkb_keymap_num_layouts_for_key(map_, keycode);
      if (layouts == 0) continue;
      // For a key with fewer layouts, the group's number wraps around, as in the server.
      const xkb_layout_index_t layout = group % layouts;
      std::array<xkb_mod_mask_t, 16> masks{};
      const auto count =
          xkb_keymap_key_get_mods_for_level(map_, keycode, layout, level, masks.data(), masks.size());
      if (std::find(masks.begin(), masks.begin() + count, wanted) == masks.begin() + count) continue;
      const xkb_keysym_t* symbols = nullptr;
      if (xkb_keymap_key_get_syms_by_level(map_, keycode, layout, level, &symbols) != 1) continue;
      strokes.try_emplace(symbols[0], KeyStroke{.keycode = keycode, .shift = level == 1});
    }
  }
  return strokes;
}

std::optional<KeyStroke> Keyboard::strokeFor(std::uint32_t keysym, std::uint8_t group) const {
  auto known = strokes_.find(group);
  if (known == strokes_.end()) known = strokes_.emplace(group, strokesOf(group)).first;
  const auto found = known->second.find(keysym);
  if (found == known->second.end()) return std::nullopt;
  return found->second;
}

}  // namespace quorl
