// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Clipboard/SelectionOwner.h>

#include <algorithm>
#include <array>
#include <utility>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Clipboard/Latin1.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

/// Forms in one MULTIPLE request.
constexpr std::uint32_t mostPairs = 64;

SelectionOwner::Time now() {
  return std::chrono::steady_clock::now();
}

/// Server times wrap after 49.7 days.
bool isBefore(std::uint32_t time, std::uint32_t other) {
  return static_cast<std::int32_t>(time - other) < 0;
}

}  // namespace

SelectionOwner::SelectionOwner(X11Connection& connection, const ClipboardAtoms& atoms,
                               const ClipboardLimits& limits)
    : connection_(connection), atoms_(atoms), limits_(limits) {}

void SelectionOwner::own(OwnContent content, std::uint32_t time) {
  owned_ = Owned{std::move(content), time};
}

void SelectionOwner::disown() {
  owned_.reset();
}

void SelectionOwner::take(const void* event) {
  const auto& generic = *static_cast<const xcb_generic_event_t*>(event);
  switch (generic.response_type & 0x7F) {
    case XCB_SELECTION_REQUEST:
      return answer(*static_cast<const xcb_selection_request_event_t*>(event));
    case XCB_PROPERTY_NOTIFY: {
      const auto& change = *static_cast<const xcb_property_notify_event_t*>(event);
      if (change.state == XCB_PROPERTY_DELETE) sendPart(change.window, change.atom);
      return;
    }
    case XCB_DESTROY_NOTIFY:
      return dropTransfersTo(static_cast<const xcb_destroy_notify_event_t*>(event)->window);
    default:
      return;
  }
}

std::optional<SelectionOwner::Time> SelectionOwner::turn() {
  std::vector<std::uint32_t> late;
  std::erase_if(transfers_, [&, time = now()](const Transfer& transfer) {
    if (time < std::min(transfer.stepEnd, transfer.end)) return false;
    late.push_back(transfer.window);
    return true;
  });
  for (const auto window : late) unwatchIfUnused(window);
  std::optional<Time> next;
  for (const auto& transfer : transfers_) {
    const Time end = std::min(transfer.stepEnd, transfer.end);
    next = next ? std::min(*next, end) : end;
  }
  return next;
}

void SelectionOwner::answer(const xcb_selection_request_event_t& request) {
  // Requestors older than ICCCM 1.0 name no property: the target's name is used then (ICCCM 2.2).
  const std::uint32_t property = request.property == XCB_NONE ? request.target : request.property;
  const bool isOurs = owned_ && request.selection == atoms_.clipboard &&
                      (request.time == XCB_CURRENT_TIME || !isBefore(request.time, owned_->time));
  const bool isDone =
      isOurs && (request.target == atoms_.multiple
                     ? request.property != XCB_NONE && convertSeveral(request.requestor, property)
                     : convert(request.requestor, request.target, property));
  xcb_selection_notify_event_t notify{};
  notify.response_type = XCB_SELECTION_NOTIFY;
  notify.time = request.time;
  notify.requestor = request.requestor;
  notify.selection = request.selection;
  notify.target = request.target;
  notify.property = isDone ? property : static_cast<std::uint32_t>(XCB_NONE);
  xcb_send_event(connection_.xcb(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                 reinterpret_cast<const char*>(&notify));
}

bool SelectionOwner::convert(std::uint32_t requestor, std::uint32_t target, std::uint32_t property) {
  const OwnContent& content = owned_->content;
  const auto offered = atoms_.targetsOf(content.type);
  if (target == atoms_.targets) {
    std::vector<std::uint32_t> all{atoms_.targets, atoms_.timestamp, atoms_.multiple};
    all.insert(all.end(), offered.begin(), offered.end());
    put(requestor, property, XCB_ATOM_ATOM, all);
    return true;
  }
  if (target == atoms_.timestamp) {
    put(requestor, property, XCB_ATOM_INTEGER, std::array{owned_->time});
    return true;
  }
  if (std::ranges::find(offered, target) == offered.end()) return false;
  const SharedBytes bytes =
      target == atoms_.string ? shareBytes(latin1FromUTF8(*content.bytes)) : content.bytes;
  const std::uint32_t type = target == atoms_.anyText ? atoms_.utf8String : target;
  if (bytes->size() > partSize) return startTransfer(requestor, property, type, bytes);
  putBytes(requestor, property, type, *bytes);
  return true;
}

// The property lists pairs of a target and a property. A pair that cannot be converted is marked in it (ICCCM
// 2.6.2).
bool SelectionOwner::convertSeveral(std::uint32_t requestor, std::uint32_t property) {
  const auto cookie =
      xcb_get_property(connection_.xcb(), 0, requestor, property, atoms_.atomPair, 0, 2 * mostPairs);
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_.xcb(), cookie, nullptr));
  if (!reply || reply->format != 32 || reply->bytes_after != 0) return false;
  const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
  std::vector<std::uint32_t> pairs(first, first + xcb_get_property_value_length(reply.get()) / 4);
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    const bool isNested = pairs[i] == atoms_.multiple;
    if (isNested || pairs[i + 1] == XCB_NONE || !convert(requestor, pairs[i], pairs[i + 1]))
      pairs[i + 1] = XCB_NONE;
  }
  put(requestor, property, atoms_.atomPair, pairs);
  return true;
}

void SelectionOwner::put(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                         std::span<const std::uint32_t> values) {
  xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, window, property, type, 32,
                      static_cast<std::uint32_t>(values.size()), values.data());
}

void SelectionOwner::putBytes(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                              ByteView bytes) {
  xcb_change_property(connection_.xcb(), XCB_PROP_MODE_REPLACE, window, property, type, 8,
                      static_cast<std::uint32_t>(bytes.size()), bytes.data());
}

bool SelectionOwner::startTransfer(std::uint32_t window, std::uint32_t property, std::uint32_t type,
                                   SharedBytes bytes) {
  std::erase_if(transfers_, [&](const Transfer& transfer) {
    return transfer.window == window && transfer.property == property;
  });
  if (transfers_.size() >= limits_.mostTransfers) return false;
  watch(window);
  // The size is a lower bound of what follows (ICCCM 2.7.2).
  put(window, property, atoms_.incr, std::array{static_cast<std::uint32_t>(bytes->size())});
  transfers_.push_back({.window = window,
                        .property = property,
                        .type = type,
                        .bytes = std::move(bytes),
                        .stepEnd = now() + limits_.sendStep,
                        .end = now() + limits_.sendTotal});
  return true;
}

// The requestor has deleted the property: it asks for the next part. An empty part ends the transfer.
void SelectionOwner::sendPart(std::uint32_t window, std::uint32_t property) {
  const auto found = std::ranges::find_if(transfers_, [&](const Transfer& transfer) {
    return transfer.window == window && transfer.property == property;
  });
  if (found == transfers_.end()) return;
  if (found->isEndSent) {
    transfers_.erase(found);
    return unwatchIfUnused(window);
  }
  const ByteView rest = ByteView(*found->bytes).subspan(found->sent);
  const ByteView part = rest.first(std::min(rest.size(), partSize));
  putBytes(window, property, found->type, part);
  found->sent += part.size();
  found->isEndSent = part.empty();
  found->stepEnd = now() + limits_.sendStep;
}

void SelectionOwner::dropTransfersTo(std::uint32_t window) {
  std::erase_if(transfers_, [&](const Transfer& transfer) { return transfer.window == window; });
}

void SelectionOwner::watch(std::uint32_t window) {
  const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  xcb_change_window_attributes(connection_.xcb(), window, XCB_CW_EVENT_MASK, &events);
}

void SelectionOwner::unwatchIfUnused(std::uint32_t window) {
  if (std::ranges::find(transfers_, window, &Transfer::window) != transfers_.end()) return;
  const std::uint32_t none = 0;
  xcb_change_window_attributes(connection_.xcb(), window, XCB_CW_EVENT_MASK, &none);
}

}  // namespace quorl
