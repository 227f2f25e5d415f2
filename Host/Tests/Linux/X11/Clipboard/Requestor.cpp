// SPDX-License-Identifier: GPL-3.0-or-later
#include "Requestor.h"

#include <poll.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>

#include <xcb/xcb.h>

namespace quorl::test {

namespace {

template <class T>
std::unique_ptr<T, void (*)(void*)> owned(T* reply) {
  return {reply, std::free};
}

using Event = std::unique_ptr<xcb_generic_event_t, void (*)(void*)>;

Event await(xcb_connection_t* xcb, const std::function<bool(const xcb_generic_event_t&)>& isWanted) {
  xcb_flush(xcb);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < end) {
    while (Event event = owned(xcb_poll_for_event(xcb)))
      if (isWanted(*event)) return event;
    pollfd descriptor{xcb_get_file_descriptor(xcb), POLLIN, 0};
    ::poll(&descriptor, 1, 100);
  }
  throw std::runtime_error("no answer for the requestor");
}

}  // namespace

Requestor::Requestor(const std::string& display) : xcb_(xcb_connect(display.c_str(), nullptr)) {
  if (xcb_connection_has_error(xcb_) != 0) throw std::runtime_error("no display for the requestor");
  const std::uint32_t root = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
  window_ = xcb_generate_id(xcb_);
  const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_create_window(xcb_, 0, window_, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0, XCB_CW_EVENT_MASK,
                    &events);
}

Requestor::~Requestor() {
  xcb_disconnect(xcb_);
}

bool Requestor::convert(const std::string& target, const std::string& property, std::uint32_t time) {
  const std::uint32_t name = property.empty() ? static_cast<std::uint32_t>(XCB_NONE) : atom(property);
  xcb_convert_selection(xcb_, window_, atom("CLIPBOARD"), atom(target), name, time);
  const auto event =
      await(xcb_, [](const auto& any) { return (any.response_type & 0x7F) == XCB_SELECTION_NOTIFY; });
  return reinterpret_cast<const xcb_selection_notify_event_t*>(event.get())->property != XCB_NONE;
}

Requestor::Value Requestor::get(const std::string& property) {
  const auto reply = owned(xcb_get_property_reply(
      xcb_, xcb_get_property(xcb_, 0, window_, atom(property), XCB_ATOM_ANY, 0, 1 << 24), nullptr));
  if (!reply || reply->type == XCB_NONE) return {};
  const auto name = owned(xcb_get_atom_name_reply(xcb_, xcb_get_atom_name(xcb_, reply->type), nullptr));
  const auto* first = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
  return {std::string(xcb_get_atom_name_name(name.get()),
                      static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get()))),
          reply->format, Bytes(first, first + xcb_get_property_value_length(reply.get()))};
}

void Requestor::set(const std::string& property, const std::string& type,
                    const std::vector<std::uint32_t>& values) {
  xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, window_, atom(property), atom(type), 32,
                      static_cast<std::uint32_t>(values.size()), values.data());
}

Requestor::Value Requestor::nextPart(const std::string& property) {
  const std::uint32_t name = atom(property);
  while (owned(xcb_poll_for_event(xcb_))) {
    // Of before the deletion.
  }
  erase(property);
  bool isDeleted = false;
  await(xcb_, [&](const auto& any) {
    if ((any.response_type & 0x7F) != XCB_PROPERTY_NOTIFY) return false;
    const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(any);
    if (change.atom != name) return false;
    if (change.state == XCB_PROPERTY_DELETE) isDeleted = true;
    return isDeleted && change.state == XCB_PROPERTY_NEW_VALUE;
  });
  return get(property);
}

Bytes Requestor::allParts(const std::string& property) {
  Bytes all;
  for (;;) {
    const Value part = nextPart(property);
    if (part.bytes.empty()) break;
    all.insert(all.end(), part.bytes.begin(), part.bytes.end());
  }
  erase(property);
  return all;
}

void Requestor::erase(const std::string& property) {
  xcb_delete_property(xcb_, window_, atom(property));
  xcb_flush(xcb_);
}

void Requestor::destroyWindow() {
  xcb_destroy_window(xcb_, window_);
  atom("CLIPBOARD");
}

void Requestor::takeSelection() {
  xcb_set_selection_owner(xcb_, window_, atom("CLIPBOARD"), XCB_CURRENT_TIME);
  atom("CLIPBOARD");
}

std::vector<std::string> Requestor::atomsIn(const Value& value) {
  std::vector<std::string> names;
  for (std::size_t at = 0; at + 4 <= value.bytes.size(); at += 4) {
    std::uint32_t number = 0;
    std::memcpy(&number, value.bytes.data() + at, 4);
    const auto name = owned(xcb_get_atom_name_reply(xcb_, xcb_get_atom_name(xcb_, number), nullptr));
    names.emplace_back(name ? std::string(xcb_get_atom_name_name(name.get()),
                                          static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())))
                            : "");
  }
  return names;
}

std::uint32_t Requestor::atom(const std::string& name) {
  const auto reply = owned(xcb_intern_atom_reply(
      xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
  return reply ? reply->atom : 0;
}

bool Requestor::isWatched() {
  const auto reply =
      owned(xcb_get_window_attributes_reply(xcb_, xcb_get_window_attributes(xcb_, window_), nullptr));
  return reply && (reply->all_event_masks & XCB_EVENT_MASK_STRUCTURE_NOTIFY) != 0;
}

}  // namespace quorl::test
