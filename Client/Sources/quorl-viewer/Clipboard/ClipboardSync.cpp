// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Clipboard/ClipboardSync.h>

#include <utility>

namespace quorl::viewer {
namespace {

using namespace clipboardAction;

std::size_t limitOf(ClipboardKind kind) {
  return kind == ClipboardKind::text ? ClipboardSync::maxTextSize : ClipboardSync::maxImageSize;
}

}  // namespace

ClipboardActions ClipboardSync::setRules(ClipboardRules rules) {
  ClipboardActions actions;
  rules_ = rules;
  if (pending_ && pending_->selection == Selection::primary && !rules_.primary) pending_.reset();
  readIfDue(actions);
  return actions;
}

ClipboardActions ClipboardSync::connected() {
  ClipboardActions actions;
  isConnected_ = true;
  // Without a newer copy here the host's content counts. It may have changed since the last connection.
  if (!pending_) askHost(actions);
  readIfDue(actions);
  return actions;
}

void ClipboardSync::disconnected() {
  isConnected_ = false;
  asksWhenSent_ = false;
  sentAt_.reset();
  // What was under way may not have arrived.
  if (sending_) {
    if (!pending_) pending_ = sending_->change;
    handled_.erase(sending_->change.selection);
    sending_.reset();
    shared_.reset();
  }
  if (reading_ && !pending_) pending_ = reading_;
  reading_.reset();
}

ClipboardActions ClipboardSync::focusGained() {
  ClipboardActions actions;
  hasFocus_ = true;
  readIfDue(actions);
  return actions;
}

ClipboardActions ClipboardSync::localChanged(const LocalChange& change) {
  ClipboardActions actions;
  if (change.selection == Selection::primary && !rules_.primary) return actions;
  const auto isOfThis = [&](const auto& known) { return known && known->selection == change.selection; };
  if (isOfThis(pending_)) pending_.reset();
  if (isOfThis(reading_)) reading_.reset();
  if (change.isOurs) return actions;
  if (change.selection == Selection::clipboard) isClipboardKnown_ = false;
  if (!change.kind) return actions;
  if (change.size.value_or(0) > limitOf(*change.kind)) {
    if (hasFocus_ && rules_.toHost) actions.emplace_back(ShowTooLarge{*change.kind, *change.size});
    return actions;
  }
  pending_ = Change{change.selection, change.serial};
  readIfDue(actions);
  return actions;
}

void ClipboardSync::readIfDue(ClipboardActions& actions) {
  if (!pending_ || !isConnected_ || !hasFocus_ || !rules_.toHost || sending_) return;
  reading_ = std::exchange(pending_, std::nullopt);
  actions.emplace_back(ReadLocal{reading_->selection, reading_->serial});
}

ClipboardActions ClipboardSync::localRead(Selection selection, std::uint64_t serial,
                                          std::optional<ClipboardItem> item) {
  ClipboardActions actions;
  const Change change{selection, serial};
  if (reading_ != change) return actions;
  reading_.reset();
  if (!item || !item->bytes || item->bytes->empty()) return actions;
  const auto size = item->bytes->size();
  if (size > limitOf(item->kind)) {
    actions.emplace_back(ShowTooLarge{item->kind, size});
    return actions;
  }
  const auto known = handled_.find(selection);
  const bool isKnown = shared_ == item->digest || (known != handled_.end() && known->second == item->digest);
  handled_[selection] = item->digest;
  if (selection == Selection::clipboard) isClipboardKnown_ = true;
  if (isKnown) return actions;
  shared_ = item->digest;
  sending_ = Sending{change, item->digest};
  actions.emplace_back(Send{std::move(*item), size > largeSize ? Route::ownConnection : Route::session});
  return actions;
}

ClipboardActions ClipboardSync::hostSent(ClipboardItem item, Time now) {
  ClipboardActions actions;
  if (!rules_.fromHost || !item.bytes || item.bytes->empty()) return actions;
  const bool isNew = shared_ != item.digest;
  if (sending_) {
    asksWhenSent_ = asksWhenSent_ || sending_->digest != item.digest;
  } else if (isNew && sentAt_ && now - *sentAt_ <= doubtAfterSending) {
    askHost(actions);
  }
  const auto here = handled_.find(Selection::clipboard);
  const bool isHere = isClipboardKnown_ && here != handled_.end() && here->second == item.digest;
  shared_ = item.digest;
  if (isHere || (!isNew && (pending_ || reading_))) return actions;
  // It replaces what was copied here before.
  pending_.reset();
  reading_.reset();
  handled_[Selection::clipboard] = item.digest;
  isClipboardKnown_ = true;
  actions.emplace_back(SetLocal{std::move(item)});
  return actions;
}

ClipboardActions ClipboardSync::sent(Time now) {
  ClipboardActions actions;
  if (!sending_) return actions;
  sending_.reset();
  sentAt_ = now;
  if (std::exchange(asksWhenSent_, false)) askHost(actions);
  readIfDue(actions);
  return actions;
}

void ClipboardSync::askHost(ClipboardActions& actions) {
  sentAt_.reset();
  if (rules_.fromHost) actions.emplace_back(AskHost{});
}

}  // namespace quorl::viewer
