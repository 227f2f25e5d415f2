// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/Outbox.h>

#include <utility>

namespace quorl::viewer {
namespace {

bool isMotion(const inputEvent::Pointer& event) {
  return event.phase == PointerPhase::moved || event.phase == PointerPhase::hover;
}

// Whether the later motion makes the earlier one superfluous.
bool replaces(const InputEvent& later, const InputEvent& earlier) {
  const auto* after = std::get_if<inputEvent::Pointer>(&later.value);
  const auto* before = std::get_if<inputEvent::Pointer>(&earlier.value);
  return after != nullptr && before != nullptr && isMotion(*after) && after->phase == before->phase &&
         after->streamID == before->streamID && after->button == before->button &&
         after->modifiers == before->modifiers;
}

}  // namespace

std::size_t Outbox::sizeOf(const Item& item) {
  const auto* frame = std::get_if<OutgoingFrame>(&item);
  return sizeof(Item) + (frame != nullptr ? frame->body().size() : 0);
}

bool Outbox::push(const InputEvent& event) {
  if (!items_.empty())
    if (auto* last = std::get_if<InputEvent>(&items_.back()); last != nullptr && replaces(event, *last)) {
      *last = event;
      return true;
    }
  if (bytes_ >= maxBytes) return false;
  items_.emplace_back(event);
  bytes_ += sizeOf(items_.back());
  return true;
}

bool Outbox::push(OutgoingFrame frame) {
  if (bytes_ >= maxBytes) return false;
  items_.emplace_back(std::move(frame));
  bytes_ += sizeOf(items_.back());
  return true;
}

std::optional<OutgoingFrame> Outbox::pop() {
  if (items_.empty()) return std::nullopt;
  Item item = std::move(items_.front());
  items_.pop_front();
  bytes_ -= sizeOf(item);
  if (const auto* event = std::get_if<InputEvent>(&item)) return OutgoingFrame::input(*event);
  return std::get<OutgoingFrame>(std::move(item));
}

void Outbox::clear() {
  items_.clear();
  bytes_ = 0;
}

}  // namespace quorl::viewer
