// SPDX-License-Identifier: GPL-3.0-or-later
#include "ScriptedOwner.h"

#include <poll.h>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <xcb/xcb.h>

namespace quorl::test {

namespace {

template <class T>
std::unique_ptr<T, void (*)(void*)> owned(T* reply) {
  return {reply, std::free};
}

}  // namespace

ScriptedOwner::ScriptedOwner(const std::string& display, Script script)
    : xcb_(xcb_connect(display.c_str(), nullptr)), script_(std::move(script)) {
  if (xcb_connection_has_error(xcb_) != 0) throw std::runtime_error("no display for the owner");
  const std::uint32_t root = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
  window_ = xcb_generate_id(xcb_);
  xcb_create_window(xcb_, 0, window_, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0, 0, nullptr);
  xcb_set_selection_owner(xcb_, window_, atom("CLIPBOARD"), XCB_CURRENT_TIME);
  const auto owner =
      owned(xcb_get_selection_owner_reply(xcb_, xcb_get_selection_owner(xcb_, atom("CLIPBOARD")), nullptr));
  if (!owner || owner->owner != window_) throw std::runtime_error("the selection was not given");
  thread_ = std::thread([this] { run(); });
}

ScriptedOwner::~ScriptedOwner() {
  isEnding_ = true;
  thread_.join();
  if (xcb_ != nullptr) xcb_disconnect(xcb_);
}

void ScriptedOwner::run() {
  while (!isEnding_ && xcb_ != nullptr && xcb_connection_has_error(xcb_) == 0) {
    pollfd descriptor{xcb_get_file_descriptor(xcb_), POLLIN, 0};
    ::poll(&descriptor, 1, 5);
    while (const auto event = owned(xcb_poll_for_event(xcb_))) {
      const int type = event->response_type & 0x7F;
      if (type == XCB_SELECTION_REQUEST) {
        answer(*reinterpret_cast<xcb_selection_request_event_t*>(event.get()));
      } else if (type == XCB_SELECTION_CLEAR) {
        owns_ = false;
      } else if (type == XCB_PROPERTY_NOTIFY) {
        const auto& change = *reinterpret_cast<xcb_property_notify_event_t*>(event.get());
        if (change.state != XCB_PROPERTY_DELETE) continue;
        for (auto& transfer : transfers_)
          if (transfer.window == change.window && transfer.property == change.atom) sendPart(transfer);
      }
      if (xcb_ == nullptr) return;
    }
    xcb_flush(xcb_);
  }
}

void ScriptedOwner::answer(const xcb_selection_request_event_t& request) {
  ++requests_;
  xcb_selection_notify_event_t notify{};
  notify.response_type = XCB_SELECTION_NOTIFY;
  notify.requestor = request.requestor;
  notify.selection = request.selection;
  notify.target = request.target;
  notify.property = XCB_NONE;
  const std::uint32_t targets = atom("TARGETS");
  const Reply* reply = nullptr;
  for (const auto& [name, scripted] : script_)
    if (atom(name) == request.target) reply = &scripted;
  if (reply == nullptr && request.target == targets) {
    std::vector<std::uint32_t> list{targets};
    for (const auto& [name, unused] : script_) list.push_back(atom(name));
    xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, XCB_ATOM_ATOM, 32,
                        static_cast<std::uint32_t>(list.size()), list.data());
    notify.property = request.property;
  } else if (reply != nullptr && reply->isSilent) {
    return;
  } else if (reply != nullptr && !reply->parts.empty()) {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(xcb_, request.requestor, XCB_CW_EVENT_MASK, &events);
    xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, atom("INCR"), 32, 1,
                        &reply->announced);
    transfers_.push_back({request.requestor, request.property, *reply});
    notify.property = request.property;
  } else if (reply != nullptr && !reply->isRefused) {
    xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, atom(reply->type),
                        static_cast<std::uint8_t>(reply->format),
                        static_cast<std::uint32_t>(reply->bytes.size() * 8 / reply->format),
                        reply->bytes.data());
    notify.property = reply->isElsewhere ? atom("ELSEWHERE") : request.property;
  }
  xcb_send_event(xcb_, 0, request.requestor, 0, reinterpret_cast<const char*>(&notify));
}

void ScriptedOwner::sendPart(Transfer& transfer) {
  const Reply& reply = transfer.reply;
  if (transfer.sent >= reply.partsBeforeSilence) return;
  if (transfer.sent >= reply.partsBeforeDeath) {
    xcb_disconnect(xcb_);
    xcb_ = nullptr;
    return;
  }
  const std::size_t index = reply.isEndless ? std::min(transfer.sent, reply.parts.size() - 1) : transfer.sent;
  const Bytes part = index < reply.parts.size() ? reply.parts[index] : Bytes();
  const std::string& type = transfer.sent > 0 && !reply.laterType.empty() ? reply.laterType : reply.type;
  xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, transfer.window, transfer.property, atom(type), 8,
                      static_cast<std::uint32_t>(part.size()), part.data());
  ++transfer.sent;
  ++partsSent_;
}

std::uint32_t ScriptedOwner::atom(const std::string& name) {
  const auto reply = owned(xcb_intern_atom_reply(
      xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
  return reply ? reply->atom : 0;
}

}  // namespace quorl::test
