// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/XkbRequests.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include <xcb/xcb.h>
#define explicit explicitComponents
#include <xcb/xkb.h>
#undef explicit

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

constexpr std::uint16_t coreKeyboard = XCB_XKB_ID_USE_CORE_KBD;
constexpr std::uint8_t oneLevelType = 0;  // the canonical key types' places in the type list
constexpr std::uint8_t twoLevelType = 1;

/// KEYSYMMAP of the protocol: types of four groups, group count, width, count of keysyms, then these.
void appendKeySymMap(std::vector<std::uint8_t>& out, const KeySymbols& symbols) {
  const auto last = std::find_if(symbols.rbegin(), symbols.rend(), [](auto symbol) { return symbol != 0; });
  const std::size_t groups = static_cast<std::size_t>(symbols.rend() - last + 1) / 2;
  xcb_xkb_key_sym_map_t map{};
  // The width must be that of the widest type. Each group has that many places for symbols.
  std::uint8_t width = groups == 0 ? 0 : 1;
  for (std::size_t group = 0; group < groups; ++group) {
    const bool hasTwo = symbols[group * 2 + 1] != 0;
    map.kt_index[group] = hasTwo ? twoLevelType : oneLevelType;
    if (hasTwo) width = 2;
  }
  std::vector<std::uint32_t> body;
  for (std::size_t group = 0; group < groups; ++group)
    body.insert(body.end(), &symbols[group * 2], &symbols[group * 2] + width);
  map.groupInfo = static_cast<std::uint8_t>(groups);
  map.width = width;
  map.nSyms = static_cast<std::uint16_t>(body.size());
  const auto* head = reinterpret_cast<const std::uint8_t*>(&map);
  out.insert(out.end(), head, head + sizeof map);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(body.data());
  out.insert(out.end(), bytes, bytes + body.size() * sizeof(std::uint32_t));
}

/// The part of a map reply after its header: a list of KEYSYMMAP, since only keysyms are requested.
std::span<const std::uint8_t> bodyOf(const xcb_xkb_get_map_reply_t& reply) {
  const std::size_t total = 32 + std::size_t{reply.length} * 4;
  if (total < sizeof reply) return {};
  return {reinterpret_cast<const std::uint8_t*>(&reply) + sizeof reply, total - sizeof reply};
}

}  // namespace

X11Extension useXkb(xcb_connection_t* xcb) {
  const auto* data = xcb_get_extension_data(xcb, &xcb_xkb_id);
  if (data == nullptr || data->present == 0) return {};
  const XcbReply<xcb_xkb_use_extension_reply_t> reply(
      xcb_xkb_use_extension_reply(xcb, xcb_xkb_use_extension(xcb, 1, 0), nullptr));
  return {reply && reply->supported != 0, data->first_event, data->major_opcode};
}

std::optional<XkbState> readXkbState(xcb_connection_t* xcb) {
  const XcbReply<xcb_xkb_get_state_reply_t> reply(
      xcb_xkb_get_state_reply(xcb, xcb_xkb_get_state(xcb, coreKeyboard), nullptr));
  if (!reply) return std::nullopt;
  return XkbState{reply->lockedMods, reply->group, reply->lockedGroup};
}

void lockXkbModifiers(xcb_connection_t* xcb, std::uint8_t mask, std::uint8_t locked) {
  xcb_xkb_latch_lock_state(xcb, coreKeyboard, mask, locked, 0, 0, 0, 0, 0);
}

void lockXkbGroup(xcb_connection_t* xcb, std::uint8_t group) {
  xcb_xkb_latch_lock_state(xcb, coreKeyboard, 0, 0, 1, group, 0, 0, 0);
}

bool setKeySyms(xcb_connection_t* xcb, const std::map<std::uint8_t, KeySymbols>& keys) {
  if (keys.empty()) return true;
  const std::uint8_t first = keys.begin()->first;
  const auto count = static_cast<std::uint8_t>(keys.rbegin()->first - first + 1);
  const XcbReply<xcb_xkb_get_map_reply_t> now(
      xcb_xkb_get_map_reply(xcb,
                            xcb_xkb_get_map(xcb, coreKeyboard, 0, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, first,
                                            count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
                            nullptr));
  if (!now || now->firstKeySym != first || now->nKeySyms != count) return false;

  std::vector<std::uint8_t> values;
  unsigned total = 0;
  auto rest = bodyOf(*now);
  for (unsigned i = 0; i < count; ++i) {
    xcb_xkb_key_sym_map_t map{};
    if (rest.size() < sizeof map) return false;
    std::memcpy(&map, rest.data(), sizeof map);
    const std::size_t size = sizeof map + std::size_t{map.nSyms} * 4;
    if (rest.size() < size) return false;
    if (const auto change = keys.find(static_cast<std::uint8_t>(first + i)); change != keys.end()) {
      const std::size_t before = values.size();
      appendKeySymMap(values, change->second);
      total += static_cast<unsigned>((values.size() - before - sizeof map) / 4);
    } else {
      values.insert(values.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
      total += map.nSyms;
    }
    rest = rest.subspan(size);
  }
  const auto cookie = xcb_xkb_set_map_checked(
      xcb, coreKeyboard, XCB_XKB_MAP_PART_KEY_SYMS, 0, now->minKeyCode, now->maxKeyCode, 0, 0, first, count,
      static_cast<std::uint16_t>(total), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, values.data());
  const XcbReply<xcb_generic_error_t> error(xcb_request_check(xcb, cookie));
  return !error && xcb_connection_has_error(xcb) == 0;
}

void selectXkbMapEvents(xcb_connection_t* xcb) {
  constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  constexpr std::uint16_t mapParts = 0xFF;
  xcb_xkb_select_events(xcb, coreKeyboard, events, 0, events, mapParts, mapParts, nullptr);
}

bool isXkbMapEvent(const void* event, const X11Extension& xkb) {
  const auto& head = *static_cast<const xcb_xkb_map_notify_event_t*>(event);
  if (!xkb.present || (head.response_type & 0x7F) != xkb.firstEvent) return false;
  return head.xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || head.xkbType == XCB_XKB_MAP_NOTIFY;
}

}  // namespace quorl
