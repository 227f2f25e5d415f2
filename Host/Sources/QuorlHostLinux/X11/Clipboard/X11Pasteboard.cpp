// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Clipboard/X11Pasteboard.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>
#include <vector>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QuorlHostLinux/X11/Clipboard/ClipboardAtoms.h>
#include <QuorlHostLinux/X11/Clipboard/SelectionOwner.h>
#include <QuorlHostLinux/X11/Clipboard/SelectionReader.h>
#include <QuorlHostLinux/X11/Connection/X11Loop.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

std::uint32_t makeWindow(const X11Connection& connection) {
  const std::uint32_t window = xcb_generate_id(connection.xcb());
  const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_create_window(connection.xcb(), 0, window, connection.root(), 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
  return window;
}

/// What lives as long as a connection.
struct Link {
  Link(X11Connection& server, const ClipboardLimits& limits)
      : connection(server),
        atoms(server),
        window(makeWindow(server)),
        reader(server, atoms, limits),
        owner(server, atoms, limits) {}

  std::uint32_t selectionOwner() const {
    const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection.xcb(), xcb_get_selection_owner(connection.xcb(), atoms.clipboard), nullptr));
    return reply ? reply->owner : static_cast<std::uint32_t>(XCB_NONE);
  }

  X11Connection& connection;
  const ClipboardAtoms atoms;
  const std::uint32_t window;  // owns the selection
  SelectionReader reader;
  SelectionOwner owner;
};

}  // namespace

class X11Pasteboard::Impl final : public X11Loop::Client {
 public:
  Impl(X11DisplayName displayName, const ClipboardLimits& limits) : limits_(limits) {
    loop_ = std::make_unique<X11Loop>(std::move(displayName), "quorl-clipboard", *this);
    loop_->post([this] {
      connectAt_ = std::chrono::steady_clock::now();
      reconnect();
    });
  }

  void setChangeHandler(ChangeHandler handler) {
    loop_->post([this, handler = std::move(handler)]() mutable { changed_ = std::move(handler); });
  }

  void read(PasteboardType type, std::size_t limit, ReadAnswer answer) {
    loop_->post([this, type, limit, answer = std::move(answer)]() mutable {
      if (own_) return answer(ownContent(type, limit));
      if (!link_) return answer(std::unexpected(PasteboardFailure::absent));
      link_->reader.read(type, limit, std::move(answer));
    });
  }

  void replace(PasteboardType type, Bytes content, CountAnswer answer) {
    loop_->post(
        [this, own = OwnContent{type, shareBytes(std::move(content))}, answer = std::move(answer)]() mutable {
          own_ = std::move(own);
          replacements_.push_back(std::move(answer));
          if (link_) return askForOwnership();
          noteChange();
          answerReplacements();
        });
  }

  std::int64_t count() const { return count_; }
  std::uint64_t wakeups() const { return loop_->wakeups(); }

 private:
  void connected(X11Connection& connection) override {
    if (!connection.extensions().xfixes.present) return;
    link_.emplace(connection, limits_);
    xcb_xfixes_select_selection_input(connection.xcb(), link_->window, link_->atoms.clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const bool isOwned = link_->selectionOwner() != XCB_NONE;
    if (isOwned && !isFirstAttempt_) {
      // A program has copied since the display went away, or since we began to wait for it.
      own_.reset();
      noteChange();
    } else if (own_) {
      askForOwnership();
    }
  }

  void handle(const void* event) override {
    if (!link_) return;
    const auto& generic = *static_cast<const xcb_generic_event_t*>(event);
    const int type = generic.response_type & 0x7F;
    if (type == link_->connection.extensions().xfixes.firstEvent + XCB_XFIXES_SELECTION_NOTIFY) {
      const auto& change = *static_cast<const xcb_xfixes_selection_notify_event_t*>(event);
      if (change.selection == link_->atoms.clipboard) takeNewOwner(change.owner, change.selection_timestamp);
      return;
    }
    if (type == XCB_PROPERTY_NOTIFY && isAwaitingTime_) {
      const auto& change = *static_cast<const xcb_property_notify_event_t*>(event);
      if (change.window == link_->window && change.atom == link_->atoms.property) takeOwnership(change.time);
    }
    link_->reader.take(event);
    link_->owner.take(event);
  }

  std::optional<SteadyTime> turn() override {
    if (!link_) return reconnect();
    const auto reading = link_->reader.turn();
    const auto sending = link_->owner.turn();
    if (reading && sending) return std::min(*reading, *sending);
    return reading ? reading : sending;
  }

  void lost() override {
    isAwaitingTime_ = false;
    isOwning_ = false;
    link_.reset();
    answerReplacements();
    connectAt_ = std::chrono::steady_clock::now() + limits_.reconnect;
    loop_->post([] {});  // for the turn that connects again
  }

  std::optional<SteadyTime> reconnect() {
    if (!connectAt_) return std::nullopt;
    if (std::chrono::steady_clock::now() < *connectAt_) return connectAt_;
    connectAt_.reset();
    const auto connection = loop_->connection();
    isFirstAttempt_ = false;
    if (!connection) connectAt_ = std::chrono::steady_clock::now() + limits_.reconnect;
    return link_ ? turn() : connectAt_;
  }

  // Ownership begins at a time of the server (ICCCM 2.1). A property that changes, if only by nothing, gives
  // one.
  void askForOwnership() {
    isAwaitingTime_ = true;
    xcb_change_property(link_->connection.xcb(), XCB_PROP_MODE_APPEND, link_->window, link_->atoms.property,
                        XCB_ATOM_INTEGER, 32, 0, nullptr);
  }

  void takeOwnership(std::uint32_t time) {
    isAwaitingTime_ = false;
    isOwning_ = true;
    xcb_set_selection_owner(link_->connection.xcb(), link_->window, link_->atoms.clipboard, time);
    if (link_->selectionOwner() == link_->window) return;
    // A program has copied after our time.
    isOwning_ = false;
    own_.reset();
    answerReplacements();
  }

  void takeNewOwner(std::uint32_t owner, std::uint32_t time) {
    link_->reader.forgetOwner();
    noteChange();
    if (owner == link_->window) {
      isOwning_ = false;
      if (own_) link_->owner.own(*own_, time);
      answerReplacements();
      return;
    }
    link_->owner.disown();
    // Content that we are about to offer is newer than this owner's.
    if (!isAwaitingTime_ && !isOwning_) own_.reset();
  }

  std::expected<Bytes, PasteboardFailure> ownContent(PasteboardType type, std::size_t limit) const {
    if (own_->type != type) return std::unexpected(PasteboardFailure::absent);
    if (own_->bytes->size() > limit) return std::unexpected(PasteboardFailure::tooLarge);
    return *own_->bytes;
  }

  void noteChange() {
    ++count_;
    if (changed_) changed_();
  }

  void answerReplacements() {
    for (auto& answer : std::exchange(replacements_, {})) answer(count_);
  }

  const ClipboardLimits limits_;
  std::atomic<std::int64_t> count_{0};

  // On the loop's thread.
  ChangeHandler changed_;
  std::optional<Link> link_;
  std::optional<OwnContent> own_;  // that we offer or are about to offer
  std::vector<CountAnswer> replacements_;
  bool isAwaitingTime_ = false;  // for the ownership of `own_`
  bool isOwning_ = false;        // requested, not reported yet
  bool isFirstAttempt_ = true;
  std::optional<SteadyTime> connectAt_;
  std::unique_ptr<X11Loop> loop_;
};

X11Pasteboard::X11Pasteboard(X11DisplayName displayName, const ClipboardLimits& limits)
    : impl_(std::make_unique<Impl>(std::move(displayName), limits)) {}

X11Pasteboard::~X11Pasteboard() = default;

bool X11Pasteboard::setChangeHandler(ChangeHandler handler) {
  impl_->setChangeHandler(std::move(handler));
  return true;
}

std::int64_t X11Pasteboard::changeCount() {
  return impl_->count();
}

void X11Pasteboard::read(PasteboardType type, std::size_t limit, ReadAnswer answer) {
  impl_->read(type, limit, std::move(answer));
}

void X11Pasteboard::replace(PasteboardType type, Bytes content, CountAnswer answer) {
  impl_->replace(type, std::move(content), std::move(answer));
}

std::uint64_t X11Pasteboard::wakeups() const {
  return impl_->wakeups();
}

}  // namespace quorl
