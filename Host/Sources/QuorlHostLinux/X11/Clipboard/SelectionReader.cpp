// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Clipboard/SelectionReader.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Clipboard/Latin1.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

using Property = XcbReply<xcb_get_property_reply_t>;

/// Programs list some dozens. Later ones are not looked at.
constexpr std::size_t mostTargets = 1'024;

/// What discarding a part counts, so that many small ones come to an end too.
std::size_t costOf(std::size_t size) {
  return std::max(size, std::size_t{65'536});
}

SelectionReader::Time now() {
  return std::chrono::steady_clock::now();
}

}  // namespace

SelectionReader::SelectionReader(X11Connection& connection, const ClipboardAtoms& atoms,
                                 const ClipboardLimits& limits)
    : connection_(connection), atoms_(atoms), limits_(limits) {}

SelectionReader::~SelectionReader() {
  forgetOwner();
  for (auto& request : std::exchange(waiting_, {}))
    request.answer(std::unexpected(PasteboardFailure::unreadable));
}

void SelectionReader::read(PasteboardType type, std::size_t limit, Pasteboard::ReadAnswer answer) {
  waiting_.push_back({type, limit, std::move(answer)});
}

void SelectionReader::forgetOwner() {
  targets_.reset();
  tooLarge_.clear();
  if (running_) finish(std::unexpected(PasteboardFailure::unreadable), Ending::abandoned);
  destroyWindows();
}

std::optional<SelectionReader::Time> SelectionReader::turn() {
  if (running_ && now() >= std::min(running_->stepEnd, running_->end))
    finish(std::unexpected(PasteboardFailure::unreadable), Ending::abandoned);
  while (!running_ && !waiting_.empty()) {
    Request next = std::move(waiting_.front());
    waiting_.pop_front();
    start(std::move(next));
  }
  if (!running_) return std::nullopt;
  return std::min(running_->stepEnd, running_->end);
}

void SelectionReader::take(const void* event) {
  const auto& generic = *static_cast<const xcb_generic_event_t*>(event);
  if ((generic.response_type & 0x7F) == XCB_SELECTION_NOTIFY) {
    const auto& answer = *static_cast<const xcb_selection_notify_event_t*>(event);
    if (running_ && answer.requestor == window_ && answer.selection == atoms_.clipboard)
      takeAnswer(answer.target, answer.property);
  } else if ((generic.response_type & 0x7F) == XCB_PROPERTY_NOTIFY) {
    const auto& change = *static_cast<const xcb_property_notify_event_t*>(event);
    if (change.atom != atoms_.property || change.state != XCB_PROPERTY_NEW_VALUE) return;
    if (running_ && change.window == window_ && running_->phase == Phase::parts) return takePart();
    const auto late = std::ranges::find(abandoned_, change.window, &Abandoned::window);
    if (late != abandoned_.end()) discardPart(*late);
  }
}

void SelectionReader::start(Request request) {
  running_ = Running{.request = std::move(request), .end = now() + limits_.readTotal};
  if (abandoned_.size() >= limits_.mostAbandoned)
    return finish(std::unexpected(PasteboardFailure::unreadable), Ending::clean);
  if (targets_) return askForContent();
  convert(atoms_.targets, Phase::targets);
}

// With CurrentTime the owner of now answers. A time would have to lie within the ownership as the owner knows
// it, and the owner's change ends the read anyway.
void SelectionReader::convert(std::uint32_t target, Phase phase) {
  if (window_ == 0) {
    window_ = xcb_generate_id(connection_.xcb());
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection_.xcb(), 0, window_, connection_.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
  }
  running_->target = target;
  running_->phase = phase;
  extendStep();
  xcb_convert_selection(connection_.xcb(), window_, atoms_.clipboard, target, atoms_.property,
                        XCB_CURRENT_TIME);
}

void SelectionReader::askForContent() {
  const auto target = atoms_.targetFor(running_->request.type, *targets_);
  if (!target) return finish(std::unexpected(PasteboardFailure::absent), Ending::clean);
  if (const auto known = tooLarge_.find(*target);
      known != tooLarge_.end() && running_->request.limit <= known->second)
    return finish(std::unexpected(PasteboardFailure::tooLarge), Ending::clean);
  convert(*target, Phase::content);
}

void SelectionReader::takeAnswer(std::uint32_t target, std::uint32_t property) {
  if (target != running_->target || running_->phase == Phase::parts) return;
  if (property == XCB_NONE) {
    // Without an owner the server itself answers so.
    if (running_->phase == Phase::targets) targets_.emplace();
    return finish(std::unexpected(PasteboardFailure::absent), Ending::clean);
  }
  if (property != atoms_.property)
    return finish(std::unexpected(PasteboardFailure::unreadable), Ending::abandoned);
  if (running_->phase == Phase::targets) return takeTargets();
  takeContent();
}

void SelectionReader::takeTargets() {
  const Part part = measureProperty(window_);
  const bool isList = part.format == 32 && (part.type == XCB_ATOM_ATOM || part.type == atoms_.targets);
  if (!isList) return finish(std::unexpected(PasteboardFailure::unreadable), Ending::abandoned);
  const Bytes list = fetchProperty(std::min(part.size, mostTargets * sizeof(std::uint32_t)));
  deleteProperty(window_);
  targets_.emplace(list.size() / sizeof(std::uint32_t));
  if (!targets_->empty())
    std::memcpy(targets_->data(), list.data(), targets_->size() * sizeof(std::uint32_t));
  askForContent();
}

void SelectionReader::takeContent() {
  const Part part = measureProperty(window_);
  if (part.type == atoms_.incr) {
    // The announced size is a lower bound at best, so the parts are counted instead.
    running_->phase = Phase::parts;
    extendStep();
    deleteProperty(window_);  // asks for the first part
    return;
  }
  const bool isGood = addPart(part);
  deleteProperty(window_);
  if (!isGood) return finish(std::unexpected(PasteboardFailure::unreadable), Ending::clean);
  if (running_->discarded > 0) return finish(std::unexpected(PasteboardFailure::tooLarge), Ending::clean);
  finish(decoded(std::move(running_->received)), Ending::clean);
}

void SelectionReader::takePart() {
  const Part part = measureProperty(window_);
  if (part.type == XCB_NONE) return;  // of an event before our deletion
  if (part.size == 0) {
    deleteProperty(window_);
    if (running_->discarded > 0) return finish(std::unexpected(PasteboardFailure::tooLarge), Ending::clean);
    return finish(decoded(std::move(running_->received)), Ending::clean);
  }
  if (!addPart(part)) return finish(std::unexpected(PasteboardFailure::unreadable), Ending::abandoned);
  // What is too large is still fetched: the owner waits until it has sent the last part.
  if (running_->discarded > limits_.mostDiscarded)
    return finish(std::unexpected(PasteboardFailure::tooLarge), Ending::abandoned);
  extendStep();
  deleteProperty(window_);  // asks for the next part
}

// The deletion asks for the next part, until the limit.
void SelectionReader::discardPart(Abandoned& transfer) const {
  if (transfer.discarded > limits_.mostDiscarded) return;
  transfer.discarded += costOf(measureProperty(transfer.window).size);
  deleteProperty(transfer.window);
}

/// False for content of another type than the one asked for, or than the parts before.
bool SelectionReader::addPart(const Part& part) {
  const bool isExpected = part.type == running_->target || (isText(part.type) && isText(running_->target));
  if (part.format != 8 || !isExpected) return false;
  if (running_->type == XCB_NONE) running_->type = part.type;
  if (running_->type != part.type) return false;
  if (running_->discarded == 0 && running_->received.size() + part.size <= running_->request.limit) {
    const Bytes content = fetchProperty(part.size);
    running_->received.insert(running_->received.end(), content.begin(), content.end());
    return content.size() == part.size;
  }
  running_->discarded += running_->received.size() + costOf(part.size);
  Bytes().swap(running_->received);
  return true;
}

bool SelectionReader::isText(std::uint32_t type) const {
  const auto texts = atoms_.targetsOf(PasteboardType::text);
  return type == atoms_.utf8PlainCapital || std::ranges::find(texts, type) != texts.end();
}

SelectionReader::Result SelectionReader::decoded(Bytes content) const {
  if (running_->type != atoms_.string) return content;
  Bytes text = utf8FromLatin1(content);
  if (text.size() > running_->request.limit) return std::unexpected(PasteboardFailure::tooLarge);
  return text;
}

SelectionReader::Part SelectionReader::measureProperty(std::uint32_t window) const {
  const auto cookie = xcb_get_property(connection_.xcb(), 0, window, atoms_.property, XCB_ATOM_ANY, 0, 0);
  const Property reply(xcb_get_property_reply(connection_.xcb(), cookie, nullptr));
  if (!reply) return {};
  return {reply->type, reply->format, reply->bytes_after};
}

Bytes SelectionReader::fetchProperty(std::size_t size) const {
  const auto units = static_cast<std::uint32_t>((size + 3) / 4);
  const auto cookie =
      xcb_get_property(connection_.xcb(), 0, window_, atoms_.property, XCB_ATOM_ANY, 0, units);
  const Property reply(xcb_get_property_reply(connection_.xcb(), cookie, nullptr));
  if (!reply) return {};
  const auto* first = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
  return {first, first + xcb_get_property_value_length(reply.get())};
}

void SelectionReader::deleteProperty(std::uint32_t window) const {
  xcb_delete_property(connection_.xcb(), window, atoms_.property);
}

void SelectionReader::extendStep() {
  running_->stepEnd = now() + limits_.readStep;
}

void SelectionReader::finish(Result result, Ending ending) {
  Running finished = std::move(*running_);
  running_.reset();
  if (!result && result.error() == PasteboardFailure::tooLarge)
    tooLarge_[finished.target] = finished.request.limit;
  if (ending == Ending::abandoned && window_ != 0) {
    abandoned_.push_back({std::exchange(window_, 0), finished.discarded});
    // What was sent already causes no event any more.
    discardPart(abandoned_.back());
  }
  finished.request.answer(std::move(result));
}

void SelectionReader::destroyWindows() {
  if (window_ != 0) xcb_destroy_window(connection_.xcb(), std::exchange(window_, 0));
  for (const auto& transfer : abandoned_) xcb_destroy_window(connection_.xcb(), transfer.window);
  abandoned_.clear();
}

}  // namespace quorl
